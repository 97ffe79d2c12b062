// Runs a plan.
#ifndef ZELLINE_PLAN_PLANRUN_H
#define ZELLINE_PLAN_PLANRUN_H

#include <functional>

#include "plan/Plan.h"

namespace zelline {

// `onStep` hears of each step when it is over; steps that are not run come too, in their place.
PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::function<void(const StepResult&)>& onStep, UploadProgress* progress = nullptr);

}  // namespace zelline

#endif
