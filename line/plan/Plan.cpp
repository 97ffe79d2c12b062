#include "plan/Plan.h"

#include <filesystem>

namespace zelline {

const char* StateWord(StepState state) {
    constexpr const char* kWords[] = {"passed", "failed", "skipped", "not run"};
    return kWords[static_cast<std::size_t>(state)];
}

Action StepAction(const Step& step, const Variables& variables) {
    Words words;
    for (const std::string& word : step.words) {
        words.push_back(Expand(word, variables));
    }
    Action action = MakeAction(words);
    if (action.kind == Action::Kind::Upload) {
        action.path = (std::filesystem::path(step.file).parent_path() / action.path).string();
    }
    return action;
}

Settings StepSettings(const Step& step, const Settings& general) {
    Settings merged = general;
    merged.timeout = step.settings.timeout ? step.settings.timeout : general.timeout;
    merged.retries = step.settings.retries ? step.settings.retries : general.retries;
    merged.pace = step.settings.pace.count() > 0 ? step.settings.pace : general.pace;
    return merged;
}

}  // namespace zelline
