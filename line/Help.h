// The help pages.
#ifndef ZELLINE_LINE_HELP_H
#define ZELLINE_LINE_HELP_H

#include <string>
#include <string_view>
#include <vector>

namespace zelline {

// A verb that works without asking the set for one thing.
struct ToolVerb {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    std::string_view more;
};

const std::vector<ToolVerb>& ToolVerbs();

// The page of the whole tool, or of one verb.
std::string HelpPage();
std::string HelpPage(std::string_view verb);

}  // namespace zelline

#endif
