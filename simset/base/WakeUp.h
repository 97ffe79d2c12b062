// What one thread wakes another with that waits in poll().
#ifndef SIMSET_BASE_WAKEUP_H
#define SIMSET_BASE_WAKEUP_H

#include <poll.h>
#include <sys/eventfd.h>

#include "simset/base/Descriptor.h"

namespace simset {

// Stays signalled until it is cleared. Any thread may call anything.
class WakeUp {
  public:
    // Throws std::system_error.
    WakeUp() : m_fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!m_fd) {
            throw SystemError("eventfd");
        }
    }

    // Only a counter at its limit refuses, and then the event is pending anyway.
    void Signal() { ::eventfd_write(m_fd.Get(), 1); }

    void Clear() {
        eventfd_t ignored = 0;
        ::eventfd_read(m_fd.Get(), &ignored);
    }

    // Readable while signalled.
    int Fd() const { return m_fd.Get(); }
    pollfd Poll() const { return {m_fd.Get(), POLLIN, 0}; }

  private:
    Descriptor m_fd;
};

}  // namespace simset

#endif
