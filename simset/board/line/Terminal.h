// A pseudo terminal that stands for one end of a serial line.
#ifndef SIMSET_LINE_TERMINAL_H
#define SIMSET_LINE_TERMINAL_H

#include <string>

#include "simset/base/Descriptor.h"

namespace simset {

// Both ends of a pseudo terminal in raw mode. Holding the slave open keeps the terminal alive while nobody else
// has it open.
struct Terminal {
    Descriptor master;
    Descriptor slave;
    std::string path;  // the slave's device node

    // Throws std::system_error.
    static Terminal Open();

    // Takes echo and all translation away again, whatever a program left behind.
    void MakeRaw() const;

    // How many descriptors of other processes have the slave open
    int CountUsers() const;
};

}  // namespace simset

#endif
