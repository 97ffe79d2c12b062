// Finds the mistakes of a plan that its file's form does not show.
#ifndef ZELLINE_PLAN_PLANCHECK_H
#define ZELLINE_PLAN_PLANCHECK_H

#include <vector>

#include "plan/Plan.h"

namespace zelline {

// Looks at each step as far as it is known before the plan runs, and adds what is wrong to `problems`.
void CheckSteps(const Plan& plan, std::vector<PlanProblem>& problems);

}  // namespace zelline

#endif
