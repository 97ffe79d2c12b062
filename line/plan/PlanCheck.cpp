#include "plan/PlanCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "wire/Error.h"

namespace zelline {

// Variables that have a value only once the plan runs stand for themselves while it is checked.
void CheckSteps(const Plan& plan, std::vector<PlanProblem>& problems) {
    Variables known = plan.variables;
    std::set<std::string> later;
    for (const Step& step : plan.steps) {
        const auto refersToLater = [&](const std::string& text) {
            return std::any_of(later.begin(), later.end(), [&](const std::string& name) {
                return text.find("${" + name + "}") != std::string::npos ||
                       text.find("${" + name + ":-") != std::string::npos;
            });
        };
        try {
            for (const auto& text :
                 {step.runIf, step.expect.equals.value_or(""), step.expect.matches.value_or("")}) {
                Expand(text, known);
            }
            const bool open = std::any_of(step.words.begin(), step.words.end(), refersToLater);
            if (open) {
                for (const std::string& word : step.words) {
                    Expand(word, known);
                }
                if (FindVerb(step.words[0]) == nullptr) {
                    Fail(Exit::Unusable, "'{}' is no verb that a plan can use", step.words[0]);
                }
            } else if (!step.words.empty()) {
                const Action action = StepAction(step, known);
                if (action.kind == Action::Kind::Upload) {
                    LoadFile(action.path);
                }
            }
        } catch (const Error& error) {
            problems.push_back({step.file, step.line, error.what()});
        }
        if (!step.save.empty()) {
            known.emplace(step.save, "");
            later.insert(step.save);
        }
        if (!step.id.empty()) {
            known.emplace("step." + step.id, "");
            later.insert("step." + step.id);
        }
    }
}

}  // namespace zelline
