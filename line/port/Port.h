// A serial port as the transport: 115200 baud, 8N1, raw, locked while it is ours, put back afterwards.
#ifndef ZELLINE_PORT_PORT_H
#define ZELLINE_PORT_PORT_H

#include <termios.h>

#include <string>

#include "port/Transport.h"

namespace zelline {

class Port : public Transport {
  public:
    // Opens and locks the terminal device at `path`; `interrupt` becomes readable when the user wants to stop
    // (-1: never). Throws Error with Exit::Port when it cannot be opened, is no terminal device, or is held by
    // another program, which is then named.
    Port(const std::string& path, int interrupt);
    ~Port() override;

    void Write(const std::uint8_t* bytes, std::size_t size) override;
    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override;
    std::size_t Unsent() const override;
    Millis Now() const override;
    void Sleep(Millis time) override;

  private:
    void Claim();
    void Configure();
    // Throws what the wish to stop leads to, once for each byte of the interrupt.
    [[noreturn]] void Stopped() const;
    // Waits for `events`, the interrupt or the time; true when an event is there.
    bool Await(short events, Millis wait);
    [[noreturn]] void Lost(const char* how) const;

    std::string m_path;
    int m_interrupt;
    int m_descriptor = -1;
    termios m_before{};
    bool m_restore = false;
    bool m_exclusive = false;
};

}  // namespace zelline

#endif
