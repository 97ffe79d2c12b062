// The serial ports of this machine, and who holds one.
#ifndef ZELLINE_PORT_PORTLIST_H
#define ZELLINE_PORT_PORTLIST_H

#include <string>
#include <vector>

namespace zelline {

struct ListedPort {
    std::string path;
    std::string description;
    std::string serial;  // of the USB adapter, and the socket that it is in; empty for other ports
    std::string socket;
    std::string holder;  // program and process id, empty when no other program has it open
};

// What the system lists as serial ports, in its order; without their holders, which take long to find, when they
// are not wanted. Any thread may call.
std::vector<ListedPort> ListPorts(bool withHolders = true);

// Another process that has the terminal device behind the open `descriptor` open, as "picocom (process 4711)";
// empty when there is none or it cannot be seen. The program at the master end of a pseudo terminal
// is the far end of the line and no holder, nor is what it has handed on to programs that it started.
std::string PortHolder(int descriptor);
std::string PortHolder(const std::string& path);

// Whether the device behind `descriptor` is a pseudo terminal.
bool IsPseudoTerminal(int descriptor);

}  // namespace zelline

#endif
