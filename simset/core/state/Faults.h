// Failures that were asked for: which call answers which status, and how often.
#ifndef SIMSET_STATE_FAULTS_H
#define SIMSET_STATE_FAULTS_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>

#include "simset/core/state/State.h"

namespace simset {

// Kept in the state, so that a fault can be arranged before the set has power. Not thread-safe.
class Faults {
  public:
    explicit Faults(State& state);

    // Calls of `area` ("model", "flash", …) on names that match `pattern` (a text with the shell's wildcards)
    // answer `status` at `step`, `times` times, or always when `times` is 0. Status 0 ends it. Throws StateError.
    void Arrange(const std::string& area, const std::string& pattern, const std::string& step, std::int32_t status,
                 std::uint32_t times);

    // What a call has to answer: 0, or the status of a fault, one use of which is then taken.
    std::int32_t Take(const std::string& area, const std::string& name, const std::string& step);
    // The same for steps that do not know a name yet: a fault of any name counts.
    std::int32_t TakeAny(const std::string& area, const std::string& step);

    // Whether a call of `area` has failed as asked since Forget: what follows may be its consequence.
    bool WasTaken(const std::string& area) const { return m_taken.count(area) != 0; }
    void Forget() { m_taken.clear(); }
    // The services of `area` were away: as if a call had failed.
    void Note(const std::string& area) { m_taken.insert(area); }

    // The faults of `area`: name, step, status, and times left for those that are counted.
    nlohmann::json List(const std::string& area) const;

  private:
    struct Fault {
        std::int32_t status;
        std::uint32_t left;  // 0: no end
    };
    using Place = std::tuple<std::string, std::string, std::string>;  // area, step, pattern

    template <typename Match>
    std::int32_t TakeFirst(const std::string& area, const std::string& step, const Match& match);
    void Keep(const Place& place, const Fault& fault);
    void Drop(const Place& place);

    State& m_state;
    std::map<Place, Fault> m_faults;
    std::set<std::string> m_taken;  // areas
};

}  // namespace simset

#endif
