// Carries one action out on a set.
#ifndef ZELLINE_VERBS_PERFORM_H
#define ZELLINE_VERBS_PERFORM_H

#include <optional>
#include <string>

#include "link/Burst.h"
#include "link/Link.h"
#include "link/Uploader.h"
#include "verbs/Verbs.h"
#include "wire/Answer.h"
#include "wire/Error.h"
#include "wire/Json.h"

namespace zelline {

// What the user may say about every verb.
struct Settings {
    std::optional<Millis> timeout;  // for the answer; without it each command has its own
    std::optional<int> retries;
    bool connect = true;
    Millis pace{0};  // between the chunks of a file
};

struct Outcome {
    Exit status = Exit::Success;
    std::string words;  // one sentence for people
    std::string value;  // the text or number that was read; empty when the action reads none
    bool hasValue = false;
    bool isNumber = false;
    int tries = 0;
    Millis elapsed{0};
    Json json;  // all of it, an object of the kind that --json prints
};

// Not for actions of the operator. Throws Error with Exit::Unusable when a file cannot be sent, with Exit::Port or
// Exit::Interrupted as the transport does. A missing answer is an outcome and no exception.
Outcome Perform(Link& link, const Action& action, const Settings& settings, UploadProgress* progress = nullptr);

// An action of the kind Ask as part of a burst, and its outcome there.
BurstItem ItemOf(const Action& action, const Settings& settings);
Outcome OutcomeOf(const Action& action, const UartFrame& answer, int answers);

// A frame in one line: its bytes, and in words.
std::string FrameLine(const UartFrame& frame);

// What Perform would send first, in words, one line per frame; `inStep` when an earlier action of the same session
// was answered, which leaves out the connect in front.
std::vector<std::string> Preview(const Action& action, const Settings& settings, bool inStep);

}  // namespace zelline

#endif
