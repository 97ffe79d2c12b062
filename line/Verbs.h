// The verbs that ask the set for something, as the command line and station plans write them.
#ifndef ZELLINE_LINE_VERBS_H
#define ZELLINE_LINE_VERBS_H

#include <string>
#include <string_view>
#include <vector>

#include "Keys.h"
#include "Link.h"

namespace zelline {

using Words = std::vector<std::string>;

// What a verb makes the line tool do.
struct Action {
    enum class Kind {
        Ask,     // one request, one answer
        Leave,   // a request that the set never answers
        Upload,  // a file in chunks
    };
    Kind kind = Kind::Ask;
    std::string verb;                // as written, words joined by blanks
    Request request;                 // Ask, Leave
    bool connect = true;             // Ask: may go out behind a connect
    const FileType* type = nullptr;  // Upload
    std::string path;                // Upload
};

struct VerbInfo {
    std::string_view name;
    std::string_view arguments;  // one form per line
    std::string_view help;       // one line
    std::string_view more;       // what a user should know beyond that, with an example
    Action (*make)(const Words& arguments);
};

// All of them, in the order of the help page.
const std::vector<VerbInfo>& Verbs();

// The action of a whole command, verb first. Throws Error with Exit::Unusable for anything that the set could
// never be asked that way.
Action MakeAction(const Words& words);

// Splits one line into words at blanks; quotes, single or double, keep blanks together. Throws Error with
// Exit::Unusable for a quote that is not closed.
Words SplitWords(std::string_view line);

}  // namespace zelline

#endif
