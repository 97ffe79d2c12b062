// The serial ports of this machine, and who holds one.
#ifndef ZELLINE_LINE_PORTLIST_H
#define ZELLINE_LINE_PORTLIST_H

#include <string>
#include <vector>

namespace zelline {

struct ListedPort {
    std::string path;
    std::string description;
    std::string holder;  // program and process id, empty when no other program has it open
};

// What the system lists as serial ports, in its order.
std::vector<ListedPort> ListPorts();

// Another process that has the terminal device behind the open `descriptor` open, as "picocom (process 4711)";
// empty when there is none or it cannot be seen. For a pseudo terminal the program at its master end, and what
// that program started, is the far end of the line and no holder.
std::string PortHolder(int descriptor);
std::string PortHolder(const std::string& path);

// Whether the device behind `descriptor` is a pseudo terminal.
bool IsPseudoTerminal(int descriptor);

}  // namespace zelline

#endif
