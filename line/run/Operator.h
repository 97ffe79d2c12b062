// The seam between a plan's run and the person at its set.
#ifndef ZELLINE_RUN_OPERATOR_H
#define ZELLINE_RUN_OPERATOR_H

#include <optional>
#include <string>

#include "plan/Plan.h"

namespace zelline {

// Why a question is put again.
enum class Doubt {
    None,     // it is put for the first time
    Empty,    // the answer was empty
    Neither,  // it was neither yes nor no
    Press,    // the key is to be pressed, and not answered
    Unfit     // it is not what the step expects
};

// "", "empty", "neither", "press" or "unfit".
const char* DoubtWord(Doubt doubt);

struct OperatorQuestion {
    Action::Kind kind = Action::Kind::Question;  // Question, Confirm or Press
    std::string step;                            // its id in the plan, or its name where it has none
    std::string words;                           // what is asked; empty for Press
    std::string key;                             // Press
    std::string note;                            // why it is put again, in words; empty the first time
    Doubt doubt = Doubt::None;                   // the same
    std::string said;                            // the answer that was none
};

// Whether the text is the answer yes or no, in English or Chinese; nothing when it is neither.
std::optional<bool> YesOrNo(std::string text);

// All calls come from the thread that runs the plan.
class Operator {
  public:
    Operator() = default;
    Operator(const Operator&) = delete;
    Operator& operator=(const Operator&) = delete;
    virtual ~Operator() = default;

    // Puts the question, in the place of one that is there already. Throws Error with Exit::Unusable when nobody
    // can answer it.
    virtual void Show(const OperatorQuestion& question) = 0;

    // What was answered since Show, if anything; does not wait. Throws Error with Exit::NoAnswer when nothing more
    // can come.
    virtual std::optional<std::string> Take() = 0;

    // The question needs no answer any more.
    virtual void Withdraw() = 0;
};

}  // namespace zelline

#endif
