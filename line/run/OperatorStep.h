// Carries out the steps of a plan that ask the operator.
#ifndef ZELLINE_RUN_OPERATORSTEP_H
#define ZELLINE_RUN_OPERATORSTEP_H

#include <optional>
#include <string>

#include "link/Link.h"
#include "run/Operator.h"
#include "verbs/Perform.h"

namespace zelline {

// Puts the question of an action for the operator and waits for what it asks for, without `limit` as long as it
// takes. The line is watched meanwhile: the wait ends when the set restarts, with no answer. A missing answer is
// an outcome and no exception; throws what the transport and the operator do. `question` has the step, and why it
// is put again; what is asked comes from the action.
Outcome AskOperator(Link& link, Operator& person, const Action& action, OperatorQuestion question,
                    std::optional<Millis> limit);

}  // namespace zelline

#endif
