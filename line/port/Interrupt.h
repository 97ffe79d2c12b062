// SIGINT and SIGTERM as a readable descriptor, so that every wait ends at once and everything is put back.
#ifndef ZELLINE_PORT_INTERRUPT_H
#define ZELLINE_PORT_INTERRUPT_H

namespace zelline {

// Catches the two signals while it lives; one at a time per process. The first signal makes Descriptor()
// readable; a second one ends the process the system's way.
class Interrupt {
  public:
    Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    ~Interrupt();

    int Descriptor() const;
};

}  // namespace zelline

#endif
