// The command line.
#ifndef ZELLINE_LINE_CLI_H
#define ZELLINE_LINE_CLI_H

#include <string>
#include <vector>

#include "Console.h"

namespace zelline {

// Options that stand before or behind any verb.
struct Globals {
    std::string port;
    std::string trace;
    bool traceKeyBytes = false;
    bool json = false;
    Settings settings;
};

// Runs the tool with `arguments` (without the program's name) and returns its exit status. Nothing is written
// but to the console's streams and the files that the arguments name.
int RunCli(const std::vector<std::string>& arguments, Console console, const PortOpener& open);

}  // namespace zelline

#endif
