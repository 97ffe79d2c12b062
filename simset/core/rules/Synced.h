// What was written has to survive a power cut before anybody is told that it was done.
#ifndef SIMSET_RULES_SYNCED_H
#define SIMSET_RULES_SYNCED_H

#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simset/core/rules/CallOrder.h"

namespace simset {

// Thread-safe.
class SyncedRules {
  public:
    void PowerOn();

    // sync() was called. One that did not save, as it was asked for or for want of room on the PC, leaves behind
    // what the application cannot be blamed for: nothing is judged until one has saved.
    void Sync(bool saved);

    // Whether a row of the trace tells people at the set that what was asked for has been done: the LED.
    static bool IsResult(const nlohmann::json& row);

    // An answer or a result is about to go out, while `written` (partitions and sticks, by path) hold what the
    // application has written there and nobody has synced.
    std::optional<Broken> Judge(const std::vector<std::string>& written) const;

  private:
    mutable std::mutex m_mutex;
    bool m_excused = false;
};

}  // namespace simset

#endif
