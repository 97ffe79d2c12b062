// Who is told of a plan's run as it goes on: what is shown, written and recorded of it comes from these calls.
#ifndef ZELLINE_RUN_RUNOBSERVER_H
#define ZELLINE_RUN_RUNOBSERVER_H

#include <cstddef>

#include "plan/Plan.h"

namespace zelline {

// All calls come from the thread that runs the plan, in this order: RunBegins; for each step of the plan in its
// order StepEnded, with a StepBegins some time before it when the step runs; RunEnded. `number` counts the plan's
// steps from 0. Steps that go out together begin together, before the first of them has ended.
class RunObserver {
  public:
    RunObserver() = default;
    RunObserver(const RunObserver&) = delete;
    RunObserver& operator=(const RunObserver&) = delete;
    virtual ~RunObserver() = default;

    // `planned` has every step of the run, none of which has run.
    virtual void RunBegins(const PlanResult& planned) { static_cast<void>(planned); }
    // What the step asks for is known, and it is about to be asked.
    virtual void StepBegins(std::size_t number, const Action& action) {
        static_cast<void>(number);
        static_cast<void>(action);
    }
    virtual void StepEnded(std::size_t number, const StepResult& result) {
        static_cast<void>(number);
        static_cast<void>(result);
    }
    virtual void RunEnded(const PlanResult& result) { static_cast<void>(result); }
};

}  // namespace zelline

#endif
