// The help pages, made from the tables of verbs and options.
#ifndef ZELLINE_CLI_HELP_H
#define ZELLINE_CLI_HELP_H

#include <string>
#include <string_view>

namespace zelline {

// The page of the whole tool, or of one verb.
std::string HelpPage();
std::string HelpPage(std::string_view verb);

}  // namespace zelline

#endif
