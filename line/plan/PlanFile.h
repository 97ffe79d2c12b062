// Reads a plan's file with everything that it inherits and includes.
#ifndef ZELLINE_PLAN_PLANFILE_H
#define ZELLINE_PLAN_PLANFILE_H

#include <string>
#include <vector>

#include "plan/Plan.h"

namespace zelline {

// Reads and checks a plan; `given` are the user's variables, which outrank the plan's. `provided` outrank both,
// and the plan need not use them. Every mistake found is added to `problems`; the plan may run only when there is
// none.
Plan LoadPlan(const std::string& path, const Variables& given, std::vector<PlanProblem>& problems,
              const Variables& provided = {});

}  // namespace zelline

#endif
