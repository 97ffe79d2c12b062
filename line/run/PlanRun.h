// Runs a plan.
#ifndef ZELLINE_RUN_PLANRUN_H
#define ZELLINE_RUN_PLANRUN_H

#include <vector>

#include "plan/Plan.h"
#include "run/Operator.h"
#include "run/RunObserver.h"

namespace zelline {

// What is said of the step in which it is seen.
constexpr char kSetRestarted[] =
    "the set has restarted: it sends ready frames again, which ended when it was connected";

// What is to be told of the plan's run before it has ended: no step has run, and the verdict is that it was
// stopped.
PlanResult NotYetRun(const Plan& plan);

// Steps go out together where they may (Segments.h), each alone with `oneByOne`. `observers` are told of all of
// it; `person` answers the steps that ask the operator. When the user wants to stop, the teardown steps still run;
// when that is said again, they do not.
PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::vector<RunObserver*>& observers, UploadProgress* progress = nullptr,
                       bool oneByOne = false, Operator* person = nullptr);

}  // namespace zelline

#endif
