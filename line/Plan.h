// Station plans: what they are, how they are read, how they run.
#ifndef ZELLINE_LINE_PLAN_H
#define ZELLINE_LINE_PLAN_H

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Console.h"
#include "Error.h"
#include "Link.h"
#include "Perform.h"
#include "Verbs.h"

namespace zelline {

using Variables = std::map<std::string, std::string>;

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
    Settings settings;
    bool stopOnFailure = true;
    std::string runIf;
    std::string save;  // variable that takes the value
    Millis wait{0};    // before the step
    bool teardown = false;
    std::string file;  // where it stands
    std::size_t line = 0;
};

struct Plan {
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

// Reads and checks a plan with everything that it inherits and includes; `given` are the user's variables, which
// outrank the plan's. Every mistake found is added to `problems`; the plan may run only when there is none.
Plan LoadPlan(const std::string& path, const Variables& given, std::vector<PlanProblem>& problems);

// Fills in ${name}, ${env.NAME} and either with a default as ${name:-text}. Throws Error with Exit::Unusable
// for a name that is not known, or a brace that is not closed.
std::string Expand(const std::string& text, const Variables& variables);

// Whether a run-if text holds: "A == B", "A != B", or "A", which holds unless it is empty, 0, no or false.
bool Holds(const std::string& condition, const Variables& variables);

// The action of a step, with the file names of key and config taken from the plan's folder.
Action StepAction(const Step& step, const Variables& variables);

enum class StepState { Passed, Failed, Skipped, NotRun };

const char* StateWord(StepState state);

struct StepResult {
    std::string name;
    std::string verb;
    bool teardown = false;
    StepState state = StepState::NotRun;
    Exit status = Exit::Success;
    std::string value;
    std::string words;
    int tries = 0;
    Millis elapsed{0};
};

struct PlanResult {
    std::string name;
    std::string plan;     // its file
    std::string started;  // UTC
    Millis elapsed{0};
    std::vector<StepResult> steps;
    Exit status = Exit::Success;
};

// Runs a plan. `onStep` hears of each step when it is over; steps that are not run come too, in their place.
PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::function<void(const StepResult&)>& onStep, UploadProgress* progress = nullptr);

struct RunOptions {
    std::string path;
    std::vector<std::string> variables;  // NAME=VALUE
    std::vector<std::string> reports;
    bool dryRun = false;
};

// The verbs. `connect` opens the port, and is called only when the plan and the reports are in order.
Exit RunPlan(const Console& console, const RunOptions& options, const Settings& settings,
             const std::function<Link&()>& connect);
Exit ValidatePlan(const Console& console, const RunOptions& options);

}  // namespace zelline

#endif
