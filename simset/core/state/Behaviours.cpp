#include "simset/core/state/Behaviours.h"

#include "simset/base/Numbers.h"

namespace simset {

namespace {

constexpr char kBehaviourSection[] = "behaviour";
constexpr char kOn[] = "on";
constexpr char kOff[] = "off";
constexpr char kWrong[] = "wrong";
constexpr char kSupervisor[] = "supervisor";
constexpr int kMaxMilliseconds = 24 * 60 * 60 * 1000;

// How long each takes by nature. A device search is asked after 2 s and 4 s: it has found something by the second.
const std::map<std::string, int> kNatural = {
    {"factory-ready", 300}, {"preset", 400}, {"bluetooth", 3000},
    {"wifi", 1500},         {"wired", 1000}, {"supervisor", 1000},
};

std::optional<int> ParseMilliseconds(const std::string& text) {
    return ParseNumber(text, 0, kMaxMilliseconds);
}

}  // namespace

Behaviours::Behaviours(State& state) : m_state(state) {
    const auto kept = state.Load(kBehaviourSection);
    for (const auto& [name, milliseconds] : kNatural) {
        (void)milliseconds;
        const auto found = kept.find(name);
        m_settings[name] = found == kept.end() ? kOn : found->second;
    }
}

std::vector<std::string> Behaviours::Names() {
    std::vector<std::string> names;
    for (const auto& [name, milliseconds] : kNatural) {
        (void)milliseconds;
        names.push_back(name);
    }
    return names;
}

std::optional<std::chrono::milliseconds> Behaviours::Delay(const std::string& name) const {
    const std::string& setting = m_settings.at(name);
    if (setting == kOff) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(ParseMilliseconds(setting).value_or(kNatural.at(name)));
}

bool Behaviours::Change(const std::string& name, const std::string& setting) {
    std::string& current = m_settings.at(name);
    const bool wrong = name == kSupervisor && setting == kWrong;
    if (setting != kOn && setting != kOff && !wrong && !ParseMilliseconds(setting)) {
        return false;
    }
    m_state.Put(kBehaviourSection, name, setting);
    current = setting;
    return true;
}

bool Behaviours::AnswersWrong(const std::string& name) const {
    return m_settings.at(name) == kWrong;
}

std::string Behaviours::Setting(const std::string& name) const {
    return m_settings.at(name);
}

}  // namespace simset
