// SIGINT, SIGTERM and SIGHUP as a readable descriptor, so that a wait ends at once and everything is put back.
#ifndef ZELLINE_PORT_INTERRUPT_H
#define ZELLINE_PORT_INTERRUPT_H

namespace zelline {

// Catches the signals while it lives; one at a time per process. Each of the first two puts a byte where
// Descriptor() reads; a third ends the process the system's way.
class Interrupt {
  public:
    static constexpr int kTold = 2;  // signals that are told of

    Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    ~Interrupt();

    int Descriptor() const;
};

}  // namespace zelline

#endif
