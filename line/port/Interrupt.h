// SIGINT, SIGTERM and SIGHUP as the wish to stop, so that a wait ends at once and everything is put back.
#ifndef ZELLINE_PORT_INTERRUPT_H
#define ZELLINE_PORT_INTERRUPT_H

#include "port/Stop.h"

namespace zelline {

// Catches the signals while it lives; one at a time per process. Each of the first two raises `stop`; a third ends
// the process the system's way.
class Interrupt {
  public:
    static constexpr int kTold = 2;  // signals that are told of

    explicit Interrupt(const Stop& stop);
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    ~Interrupt();
};

}  // namespace zelline

#endif
