// What has to be done around the factory-ready action: what is writable before it, and read-only after it.
#ifndef SIMSET_RULES_FINISH_H
#define SIMSET_RULES_FINISH_H

#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>

#include "simset/core/rules/CallOrder.h"

namespace simset {

// Follows the rows of the trace: shell commands and mounts as they were asked for, whatever they came to, boot
// variables likewise, syncs. Thread-safe.
class FinishRules {
  public:
    void PowerOn();

    // Takes note of a row of the trace.
    void Follow(const nlohmann::json& row);
    // A process of the set called sync().
    void Sync();

    // What of the preparations the action was invoked without; nothing when all were made.
    std::optional<Broken> JudgeInvoke() const;

    // The set has confirmed: from here on the partitions are to be made read-only, and what was written saved.
    void Confirmed();
    // What of that has not been done; nothing when all was, or when nothing was confirmed.
    std::optional<Broken> JudgeFinish() const;

  private:
    void Command(const std::string& command);
    void Remount(const std::string& target, bool writable);
    const char* WritableOne() const;

    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_flash;  // what was last asked to be stored
    std::set<std::string> m_writable;
    bool m_confirmed = false;  // and what has to follow has not been done
};

}  // namespace simset

#endif
