// The set's own network.
#ifndef SIMSET_INSIDE_SETNETWORK_H
#define SIMSET_INSIDE_SETNETWORK_H

namespace simset {

// Gives the set's own network namespace its loopback device, the address 192.168.1.1 that answers, and a way to
// the rest of 192.168.1.0/24 that nobody answers on. Throws std::system_error.
void SetUpNetwork();

}  // namespace simset

#endif
