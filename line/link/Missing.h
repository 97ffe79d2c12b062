// What to say of an answer that did not come.
#ifndef ZELLINE_LINK_MISSING_H
#define ZELLINE_LINK_MISSING_H

#include <string>

#include "wire/Request.h"

namespace zelline {

// What arrived while an answer was missing.
struct Seen {
    bool ready = false;
    bool connected = false;  // the answer to a connect
    bool other = false;      // other answers
    bool noise = false;
};

// One sentence with what was seen instead, and what the reasons may be. `tries` were made, each `timeout` long.
std::string NoAnswerText(const Request& request, int tries, Millis timeout, const Seen& seen);

}  // namespace zelline

#endif
