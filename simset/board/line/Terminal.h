// A pseudo terminal that stands for one end of a serial line.
#ifndef SIMSET_LINE_TERMINAL_H
#define SIMSET_LINE_TERMINAL_H

#include <optional>
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

    // Lets reads of the slave return at once with nothing, as those of a port whose line hung up do, and keeps
    // what they waited for before. To be repeated when a program may have changed that.
    void HangUp();

    // Lets reads wait again as they did before HangUp.
    void PickUp();

    // How many descriptors of other processes have the slave open
    int CountUsers() const;

  private:
    struct Waits {
        unsigned char least;   // bytes
        unsigned char tenths;  // of a second
    };
    std::optional<Waits> ChangeWaits(Waits wanted) const;

    std::optional<Waits> m_before;  // HangUp
};

}  // namespace simset

#endif
