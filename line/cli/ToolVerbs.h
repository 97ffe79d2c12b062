// The verbs that do more, or less, than ask the set for one thing.
#ifndef ZELLINE_CLI_TOOLVERBS_H
#define ZELLINE_CLI_TOOLVERBS_H

#include <string_view>
#include <vector>

#include "cli/Options.h"

namespace zelline {

// One such verb: what stands behind it, its help, and what carries it out.
struct ToolVerb {
    std::string_view name;
    // What must stand behind it: one word, none or one in brackets, or any number when it ends in "..."; empty for
    // nothing.
    std::string_view words;
    std::vector<const OptionInfo*> options;
    std::string_view help;  // one line
    std::string_view more;
    Exit (*run)(const Context& context);
    std::vector<std::string_view> forms = {};  // its forms when there are several, for the pages and completions
};

// All of them, in the order of the help page.
const std::vector<ToolVerb>& ToolVerbs();

}  // namespace zelline

#endif
