// The help pages, made from the tables of verbs and options.
#ifndef ZELLINE_CLI_HELP_H
#define ZELLINE_CLI_HELP_H

#include <string>
#include <string_view>

#include "manual/Program.h"
#include "tools/Session.h"

namespace zelline {

// The tool as its tables tell of it: the verbs that ask the set, then those of the tool, with the options of all.
// The help pages, the man page and the completions are made from it.
const manual::Program& Description();

// The page of the whole tool, or of one verb.
std::string HelpPage();
std::string HelpPage(std::string_view verb);

// What carries out the verbs that print the man pages, what there is to tell of files, and the completions.
Exit ShowManual(const Context& context);
Exit ShowFormat(const Context& context);
Exit ShowCompletion(const Context& context);

}  // namespace zelline

#endif
