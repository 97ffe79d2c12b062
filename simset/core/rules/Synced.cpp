#include "simset/core/rules/Synced.h"

namespace simset {

void SyncedRules::PowerOn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_excused = false;
}

void SyncedRules::Sync(bool saved) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_excused = !saved;
}

bool SyncedRules::IsResult(const nlohmann::json& row) {
    const auto is = [&row](const char* name, const char* text) {
        const auto found = row.find(name);
        return found != row.end() && *found == text;
    };
    return is("who", "model") && is("call", "set") && is("key", "tovix.sl2.system.ctrl.led.gpio");
}

std::optional<Broken> SyncedRules::Judge(const std::vector<std::string>& written) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_excused || written.empty()) {
        return std::nullopt;
    }
    std::string places;
    for (const std::string& path : written) {
        places += (places.empty() ? "" : ", ") + path;
    }
    return Broken{"synced-before-answer",
                  "sync() after the write to " + places + ", before it is told to be done"};
}

}  // namespace simset
