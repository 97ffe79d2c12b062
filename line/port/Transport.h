// The seam between the line tool's logic and the outside: bytes both ways, and time.
#ifndef ZELLINE_PORT_TRANSPORT_H
#define ZELLINE_PORT_TRANSPORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "port/Stop.h"
#include "wire/Units.h"

namespace zelline {

// A byte stream to a set together with the clock that waits on it are measured by, so that a test can script
// both. One thread.
class Transport {
  public:
    Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    virtual ~Transport() = default;

    // Hands over all `size` bytes. Throws Error with Exit::Port when the far end is gone, Exit::NoAnswer when it
    // takes no bytes, Exit::Interrupted when the user wants to stop, once for each time.
    virtual void Write(const std::uint8_t* bytes, std::size_t size) = 0;

    // Waits up to `wait` for bytes and returns how many were stored, at most `size`; 0 when none came in time.
    // Throws Error with Exit::Port when the far end is gone, Exit::Interrupted when the user wants to stop, once
    // for each time.
    virtual std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) = 0;

    // Bytes handed over that have not left yet, as far as the system tells.
    virtual std::size_t Unsent() const { return 0; }

    // Time since an arbitrary start; never goes back.
    virtual Millis Now() const = 0;

    // Lets `time` pass. Throws Error with Exit::Port when the far end is gone, Exit::Interrupted when the user
    // wants to stop, once for each time.
    virtual void Sleep(Millis time) = 0;
};

// Opens the transport to the set at the path, whose waits end when `stop` is raised. Throws Error with Exit::Port.
using PortOpener = std::function<std::unique_ptr<Transport>(const std::string& path, const Stop& stop)>;

}  // namespace zelline

#endif
