// Which parts of the set answer, and after how long.
#ifndef SIMSET_STATE_BEHAVIOURS_H
#define SIMSET_STATE_BEHAVIOURS_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simset/core/state/State.h"

namespace simset {

// Kept in the state. Not thread-safe.
class Behaviours {
  public:
    explicit Behaviours(State& state);

    static std::vector<std::string> Names();

    // Nothing when the behaviour is off. An unknown name throws std::out_of_range.
    std::optional<std::chrono::milliseconds> Delay(const std::string& name) const;

    // Whether the behaviour answers as one that failed.
    bool AnswersWrong(const std::string& name) const;

    // `setting` is "on" (the natural delay), "off", or a number of milliseconds from 0 to a day; of the supervisor
    // also "wrong". Returns false, with nothing changed, for another text; an unknown name
    // throws std::out_of_range. Throws StateError.
    bool Change(const std::string& name, const std::string& setting);

    // The setting as Change takes it.
    std::string Setting(const std::string& name) const;

  private:
    State& m_state;
    std::map<std::string, std::string> m_settings;
};

}  // namespace simset

#endif
