// Station plans: what they are, and what came of one.
#ifndef ZELLINE_PLAN_PLAN_H
#define ZELLINE_PLAN_PLAN_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "plan/PlanText.h"
#include "verbs/Perform.h"

namespace zelline {

constexpr char kAllSteps[] = "step.all";  // the variable that is "passed" until a step has failed, then "failed"

// What a step's outcome must be like.
struct Expectation {
    Exit status = Exit::Success;         // success, failure or no answer
    std::optional<std::string> equals;   // of the value, after variables are filled in
    std::optional<std::string> matches;  // regular expression for the whole value
    std::optional<double> least;
    std::optional<double> most;
};

struct Step {
    std::string name;
    std::string id;  // for run-if of later steps; may be empty
    Words words;     // the verb, variables not filled in
    Expectation expect;
    std::optional<Millis> within;  // the outcome must be there by then
    std::optional<Millis> until;   // how long it is asked again for an answer that is not the expected one
    Settings settings;
    bool stopOnFailure = true;
    std::string runIf;
    std::string save;  // variable that takes the value
    Millis wait{0};    // before the step
    bool teardown = false;
    Variables own;  // of the file that it was included from; they hold for its own steps only
    // Content of the item that was reserved for the unit, where the words take one from the stock.
    std::optional<std::string> item;
    std::string file;  // where it stands
    std::size_t line = 0;
};

// The texts of a step in which variables are filled in.
std::vector<std::string*> TextsOf(Step& step);

// Whether the step's verb asks the operator.
bool IsOperatorStep(const Step& step);

// What has a value in a step: `variables` are the plan's and what was saved so far, under the names in `saved`.
Variables VariablesOf(const Step& step, const Variables& variables, const std::set<std::string>& saved);

// What has a value while a plan runs.
struct Values {
    Variables variables;
    std::set<std::string> saved;  // names among them that steps have saved
};

struct Plan {
    std::string file;  // as the user named it
    std::string text;  // of all its files, in the order in which they were read
    std::string run;   // the name of the run that it is for, and the serial number of its unit; may be empty
    std::string unit;
    std::string name;
    std::string description;
    std::vector<Step> steps;  // teardown steps last
    Variables variables;
};

struct PlanProblem {
    std::string file;
    std::size_t line = 0;  // 0: the file as a whole
    std::string words;
};

// The action of a step, with the file names of key and config taken from the plan's folder, and the step's item in
// its place.
Action StepAction(const Step& step, const Variables& variables);

// A plan's own settings outrank the command line's `general`, which hold for the steps that say nothing.
Settings StepSettings(const Step& step, const Settings& general);

enum class StepState { Passed, Failed, Skipped, NotRun };

const char* StateWord(StepState state);

struct StepResult {
    // Whether anything was asked, so that there is a status.
    bool HasRun() const { return state == StepState::Passed || state == StepState::Failed; }

    std::string name;
    std::string verb;
    bool teardown = false;
    StepState state = StepState::NotRun;
    Exit status = Exit::Success;
    std::string value;
    std::string words;
    int tries = 0;
    Millis elapsed{0};
    std::string id;         // of the step in the plan; may be empty
    bool isNumber = false;  // the value
    int burst = 0;          // the steps of one number went out together; 0: alone, or not at all
};

// "PASSED", "FAILED", or "ABORTED" when it was stopped before its end.
const char* Verdict(Exit status);

struct PlanResult {
    std::string name;
    std::string plan;     // its file
    std::string run;      // its name
    std::string unit;     // the serial number; may be empty
    std::string started;  // UTC
    Millis elapsed{0};
    std::vector<StepResult> steps;
    Exit status = Exit::Success;
};

}  // namespace zelline

#endif
