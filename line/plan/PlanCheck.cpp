#include "plan/PlanCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <sstream>

#include "protocol/CommandCatalogue.h"
#include "wire/Answer.h"
#include "wire/Error.h"

namespace zelline {
namespace {

constexpr std::size_t kConfigurationLines = 7;

bool IsNumber(std::string_view text) {
    const std::size_t sign = text.substr(0, 1) == "-" ? 1 : 0;
    return text.size() > sign && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(sign), text.end(),
                                             [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Why the file is no configuration of a set; empty when it may be one.
std::string ConfigurationDoubt(const std::string& bytes) {
    std::istringstream lines(bytes);
    std::string line;
    for (std::size_t number = 1; number <= kConfigurationLines; ++number) {
        if (!std::getline(lines, line)) {
            return fmt::format("has {} lines of {}", number - 1, kConfigurationLines);
        }
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0) {
            line.pop_back();
        }
        if (std::any_of(line.begin(), line.end(), [](unsigned char c) { return c < ' ' && c != '\t'; })) {
            return fmt::format("has bytes in line {} that are no text", number);
        }
        const bool isText =
            number == 4 || number == kConfigurationLines;  // brand and model; the others are numbers
        if (!isText && !line.empty() && !IsNumber(line)) {
            return fmt::format("has '{}' in line {}, where a number belongs", line, number);
        }
    }
    return {};
}

// What the value of the action's answer is; nothing when the table does not tell.
std::optional<ValueType> ValueOf(const Action& action) {
    if (action.kind == Action::Kind::Upload) {
        return ValueType::Checksum;
    }
    if (IsForOperator(action)) {
        return action.kind == Action::Kind::Question ? ValueType::Text : ValueType::None;
    }
    const zel::CommandInfo* row = zel::FindCommand(action.request.id);
    if (row == nullptr) {
        return std::nullopt;
    }
    switch (row->answer) {
        case zel::AnswerForm::Text:
        case zel::AnswerForm::TextOrNothing:
        case zel::AnswerForm::TextOrUnreadable:
            return ValueType::Text;
        case zel::AnswerForm::Byte:
        case zel::AnswerForm::Bits32Little:
            return ValueType::Number;
        case zel::AnswerForm::Bits32Big:
            return ValueType::Checksum;
        default:
            return ValueType::None;
    }
}

bool IsChecksum(const std::string& text) {
    return text.size() == 8 && std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isdigit(c) != 0 || (c >= 'A' && c <= 'F');
           });
}

// Why the expectation can never be met, or never be missed, by an answer to the action.
void CheckExpectation(const Expectation& expect, const Action& action) {
    const auto type = ValueOf(action);
    const bool compares = expect.least || expect.most;
    const bool ofValue = expect.equals || expect.matches || compares;
    if (action.kind == Action::Kind::Leave && expect.status == Exit::Failure) {
        Fail(Exit::Unusable, "'status' cannot be \"failure\": the set does not answer '{}'", action.verb);
    }
    if (action.kind == Action::Kind::Question && expect.status == Exit::Failure) {
        Fail(Exit::Unusable, "'status' cannot be \"failure\": any answer to 'ask' is a value");
    }
    if (ofValue && expect.status == Exit::NoAnswer) {
        Fail(Exit::Unusable, "a missing answer has no value that 'expect' could look at");
    }
    if (ofValue && type == ValueType::None) {
        Fail(Exit::Unusable,
             "'{}' has success or failure for an answer and no value; only 'status' can be expected", action.verb);
    }
    if (compares && type == ValueType::Checksum) {
        Fail(Exit::Unusable, "'min' and 'max' do not apply to a checksum; use 'equals' or 'matches'");
    }
    if (expect.least && expect.most && *expect.least > *expect.most) {
        Fail(Exit::Unusable, "'min' is above 'max'");
    }
    if (!expect.equals || !ReferencesIn(*expect.equals).empty()) {
        return;
    }
    if (type == ValueType::Number && !IsNumber(*expect.equals)) {
        Fail(Exit::Unusable, "'{}' answers a number, which '{}' is not", action.verb, *expect.equals);
    }
    if (type == ValueType::Checksum && !IsChecksum(*expect.equals)) {
        Fail(Exit::Unusable, "'{}' is no checksum: write eight hexadecimal digits, such as 1F0E6D2B",
             *expect.equals);
    }
}

void CheckAction(const Action& action) {
    if (action.kind == Action::Kind::Upload && action.stock.empty()) {
        const std::string bytes = LoadFile(action.path);
        const std::string doubt =
            action.type->file == zel::KeyFile::Config ? ConfigurationDoubt(bytes) : std::string();
        if (!doubt.empty()) {
            Fail(Exit::Unusable, "{} is no configuration file: it {}", action.path, doubt);
        }
    }
    if (!action.doubt.empty()) {
        Fail(Exit::Unusable, "{}", action.doubt);
    }
}

// Goes through the steps in the order in which they run. What has a value only then stands for itself.
class Checker {
  public:
    explicit Checker(const Plan& plan) : m_plan(plan), m_known(plan.variables) {}

    void Check(const Step& step) {
        const Variables known = VariablesOf(step, m_known, m_later);
        Step copy = step;
        for (const std::string* text : TextsOf(copy)) {
            RefuseLaterSteps(step, *text);
            Expand(*text, known);
        }
        CheckRunIf(step.runIf);
        if (step.words.empty()) {
            return;  // told of when the file was read
        }
        if (std::none_of(step.words.begin(), step.words.end(), [&](const auto& word) { return IsOpen(word); })) {
            const Action action = StepAction(step, known);
            if (IsForOperator(action) && !IsOperatorStep(step)) {
                Fail(Exit::Unusable,
                     "'{}' comes from a variable: the verb of a step that asks the operator must be written out, "
                     "so "
                     "that it is known before the plan runs what he is asked",
                     step.words[0]);
            }
            CheckAction(action);
            CheckExpectation(step.expect, action);
            if (!action.stock.empty() && step.expect.status != Exit::Success) {
                Fail(Exit::Unusable, "a step that takes an item from the stock expects success");
            }
            const bool repeats = action.kind == Action::Kind::Question ||
                                 (action.kind == Action::Kind::Ask && MayRepeat(action.request.id));
            if (step.until && !repeats) {
                Fail(Exit::Unusable, "'until' does not apply: '{}' is not harmless to repeat", action.verb);
            }
        } else if (std::find(step.words.begin(), step.words.end(), kFromStock) != step.words.end()) {
            Fail(Exit::Unusable, "what the step takes from the stock must be known before the plan runs");
        } else if (FindPlanVerb(step.words[0]) == nullptr) {
            Fail(Exit::Unusable, "'{}' is no verb that a plan can use", step.words[0]);
        }
    }

    void Pass(const Step& step) {
        for (const std::string& name : {step.save, step.id.empty() ? "" : "step." + step.id}) {
            if (!name.empty()) {
                m_known.emplace(name, "");
                m_later.insert(name);
            }
        }
    }

  private:
    bool IsOpen(const std::string& text) const {
        const auto references = ReferencesIn(text);
        return std::any_of(references.begin(), references.end(),
                           [&](const Reference& r) { return m_later.count(r.name) != 0; });
    }

    void RefuseLaterSteps(const Step& step, const std::string& text) const {
        for (const Reference& reference : ReferencesIn(text)) {
            const auto named = std::find_if(m_plan.steps.begin(), m_plan.steps.end(), [&](const Step& other) {
                return (!other.id.empty() && reference.name == "step." + other.id) ||
                       (!reference.fallback && !other.save.empty() && reference.name == other.save);
            });
            if (named != m_plan.steps.end() && m_known.count(reference.name) == 0 &&
                step.own.count(reference.name) == 0) {
                Fail(Exit::Unusable,
                     "the step '{}' in {}{} does not come before this one, so ${{{}}} is not known",
                     named->id.empty() ? named->name : named->id,
                     named->file == step.file ? "line " : named->file + ":", named->line, reference.name);
            }
        }
    }

    // A word that no step ever comes to would skip the step each time, and nobody would see it.
    static void CheckRunIf(const std::string& text) {
        CheckCondition(text);
        const Condition condition = ConditionOf(text);
        const std::pair<const std::string&, const std::string&> sides[] = {{condition.left, condition.right},
                                                                           {condition.right, condition.left}};
        for (const auto& [state, word] : sides) {
            const auto references = ReferencesIn(state);
            const bool isState = references.size() == 1 &&
                                 references[0].end - references[0].begin == state.size() &&
                                 references[0].name.rfind("step.", 0) == 0;
            if (!isState || references[0].fallback || condition.sign.empty() || !ReferencesIn(word).empty()) {
                continue;
            }
            const StepState all[] = {StepState::Passed, StepState::Failed, StepState::Skipped, StepState::NotRun};
            const std::size_t some = references[0].name == kAllSteps ? 2 : std::size(all);
            if (std::none_of(all, all + some, [&, w = &word](StepState s) { return *w == StateWord(s); })) {
                Fail(Exit::Unusable, "{} is never '{}': write {}", state, word,
                     some == 2 ? "passed or failed" : "passed, failed, skipped or not run");
            }
        }
    }

    const Plan& m_plan;
    Variables m_known;
    std::set<std::string> m_later;  // those that have a value only once the plan runs
};

}  // namespace

void CheckSteps(const Plan& plan, std::vector<PlanProblem>& problems) {
    Checker checker(plan);
    for (const Step& step : plan.steps) {
        try {
            checker.Check(step);
        } catch (const Error& error) {
            problems.push_back({step.file, step.line, error.what()});
        }
        checker.Pass(step);
    }
}

}  // namespace zelline
