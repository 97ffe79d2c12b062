// A pseudo terminal that stands for one end of a serial line.
#ifndef SIMSET_LINE_TERMINAL_H
#define SIMSET_LINE_TERMINAL_H

#include <optional>
#include <string>

#include "simset/base/Descriptor.h"
#include "simset/board/line/Framing.h"

namespace simset {

// What a terminal is set to.
struct PortSettings {
    Framing framing;
    bool raw = false;  // bytes pass as they are, without echo
};

// "115200 8N1 raw", "9600 8N1 cooked"
std::string Describe(const PortSettings& settings);

// Both ends of a pseudo terminal. Holding the slave open keeps the terminal alive while nobody else
// has it open.
struct Terminal {
    Descriptor master;
    Descriptor slave;
    std::string path;  // the slave's device node

    // In raw mode. Throws std::system_error.
    static Terminal Open();

    // Sets the terminal up as a serial port is after power-on: 9600 8N1, lines with echo and translation. A line
    // that hung up is forgotten.
    void MakeFresh();

    // What the slave's programs set, parity and data bits as the preloaded library keeps them.
    PortSettings Settings() const;

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
