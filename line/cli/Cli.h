// The command line.
#ifndef ZELLINE_CLI_CLI_H
#define ZELLINE_CLI_CLI_H

#include <string>
#include <vector>

#include "tools/Session.h"

namespace zelline {

// Runs the tool with `arguments` (without the program's name) and returns its exit status. Nothing is written
// but to the console's streams and the files that the arguments name. `stop` says that the user wants it to end.
int RunCli(const std::vector<std::string>& arguments, Console console, const PortOpener& open, const Stop& stop);

}  // namespace zelline

#endif
