#include <fmt/format.h>

#include <algorithm>

#include "protocol/ReportedKeys.h"
#include "verbs/Verbs.h"
#include "wire/Error.h"

namespace zelline {
namespace {

// The keys that a set reports by name.
const std::vector<std::string_view> kNamedKeys = NamesIn(zel::kReportedKeys, &zel::ReportedKey::word);

std::function<Action(const Words&)> PutQuestion(Action::Kind kind) {
    return [kind](const Words& words) {
        Action action;
        action.kind = kind;
        action.question = fmt::format("{}", fmt::join(words, " "));
        if (action.question.find_first_not_of(" \t\r\n") == std::string::npos) {
            Fail(Exit::Unusable, "there is no question for the operator");
        }
        return action;
    };
}

Action AwaitKey(const Words& words) {
    if (std::find(kNamedKeys.begin(), kNamedKeys.end(), words[0]) == kNamedKeys.end()) {
        Fail(Exit::Unusable, "the set reports no key '{}' by name; there are {}", words[0],
             fmt::join(kNamedKeys, ", "));
    }
    Action action;
    action.kind = Action::Kind::Press;
    action.key = words[0];
    return action;
}

}  // namespace

const std::vector<VerbInfo>& OperatorVerbs() {
    static const std::vector<VerbInfo> kVerbs = {
        {"ask",
         {{"TEXT [TEXT]", PutQuestion(Action::Kind::Question)}},
         "Ask the operator; what is typed or scanned is the step's value",
         ""},
        {"confirm",
         {{"TEXT [TEXT]", PutQuestion(Action::Kind::Confirm)}},
         "Ask the operator for yes or no; no is a bad unit",
         ""},
        {"await",
         {{"key NAME", AwaitKey}},
         "Have the operator press a key, and wait for the set's report of it",
         "",
         kNamedKeys},
    };
    return kVerbs;
}

const VerbInfo* FindPlanVerb(std::string_view name) {
    const auto verb = std::find_if(OperatorVerbs().begin(), OperatorVerbs().end(),
                                   [&](const VerbInfo& v) { return v.name == name; });
    return verb == OperatorVerbs().end() ? FindVerb(name) : &*verb;
}

bool IsForOperator(const Action& action) {
    return action.kind == Action::Kind::Question || action.kind == Action::Kind::Confirm ||
           action.kind == Action::Kind::Press;
}

}  // namespace zelline
