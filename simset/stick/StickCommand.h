// The command `simset stick`.
#ifndef SIMSET_STICK_STICKCOMMAND_H
#define SIMSET_STICK_STICKCOMMAND_H

#include <string>

#include "simset/stick/Maker.h"

namespace CLI {
class App;
}

namespace simset::stick {

// What `simset stick` was asked for.
struct StickOptions {
    bool make = false;  // else check
    std::string folder;
    Sample sample;
    bool json = false;
};

// Adds `make` and `check` to the command `stick`; parsing it fills `options`, which must outlive it.
void AddStickCommands(CLI::App& command, StickOptions& options);

// Carries out what was asked for, with words on standard output. Returns 0; 1 when the stick has problems or
// cannot be read or written; 2 for unusable arguments
int RunStick(const StickOptions& options);

}  // namespace simset::stick

#endif
