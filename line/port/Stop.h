// The wish to stop, as something that a wait on a descriptor notices at once.
#ifndef ZELLINE_PORT_STOP_H
#define ZELLINE_PORT_STOP_H

#include "wire/Units.h"

namespace zelline {

// Each run has its own, so that one of several in a process can be stopped and the others go on.
class Stop {
  public:
    // Throws Error with Exit::Unusable when the process has no descriptors left.
    Stop();
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;
    ~Stop();

    // Says it, or says it again. Any thread may call, and a signal handler.
    void Raise() const;

    // Waits up to `time`; true when it was said, which then has been told. Any thread may call.
    bool Await(Millis time) const;

    // Becomes readable, one byte for each time that it was said. Who has taken one has been told once.
    int Descriptor() const { return m_read; }

  private:
    int m_read = -1;
    int m_write = -1;
};

}  // namespace zelline

#endif
