#include "plan/Plan.h"

#include <filesystem>

namespace zelline {

const char* StateWord(StepState state) {
    constexpr const char* kWords[] = {"passed", "failed", "skipped", "not run"};
    return kWords[static_cast<std::size_t>(state)];
}

const char* Verdict(Exit status) {
    return status == Exit::Success ? "PASSED" : status == Exit::Interrupted ? "ABORTED" : "FAILED";
}

std::vector<std::string*> TextsOf(Step& step) {
    std::vector<std::string*> texts = {&step.name, &step.runIf};
    for (std::string& word : step.words) {
        texts.push_back(&word);
    }
    for (auto* text : {&step.expect.equals, &step.expect.matches}) {
        if (*text) {
            texts.push_back(&**text);
        }
    }
    return texts;
}

bool IsOperatorStep(const Step& step) {
    return !step.words.empty() && FindPlanVerb(step.words[0]) != FindVerb(step.words[0]);
}

Variables VariablesOf(const Step& step, const Variables& variables, const std::set<std::string>& saved) {
    Variables known = variables;
    for (const auto& [name, value] : step.own) {
        if (saved.count(name) == 0) {
            known[name] = value;
        }
    }
    return known;
}

Action StepAction(const Step& step, const Variables& variables) {
    Words words;
    for (const std::string& word : step.words) {
        words.push_back(Expand(word, variables));
    }
    Action action = MakeAction(words);
    if (step.item) {
        TakeItem(action, *step.item);
    }
    if (action.kind == Action::Kind::Upload && action.stock.empty()) {
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
