// What an application of another processor needs in the set's tree.
#ifndef SIMSET_INSIDE_EMULATION_H
#define SIMSET_INSIDE_EMULATION_H

#include <string>
#include <vector>

#include "simset/board/inside/Protocol.h"

namespace simset {

// Makes the emulator and its sysroot part of the set's tree, of which `root` is the root. The emulator looks there
// first for every file that the application opens, so there is nothing in it but libraries: those of the
// configuration's sysroot, the simulated set's and the shim, each under the very path that programs of the PC have
// theirs at. Both kinds so find their own by one environment. Throws std::system_error.
void BuildEmulation(const AgentConfig& config, const std::string& root);

// The words that start the application of that path in the set.
std::vector<std::string> CommandOf(const AgentConfig& config, const std::string& application);

}  // namespace simset

#endif
