// Delayed work of the simulated middleware, behind a seam so that a test decides how time passes.
#ifndef SIMSET_MIDDLEWARE_SCHEDULER_H
#define SIMSET_MIDDLEWARE_SCHEDULER_H

#include <chrono>
#include <functional>
#include <memory>

namespace simset {

class Scheduler {
  public:
    using Task = std::function<void()>;

    virtual ~Scheduler() = default;

    // Runs `task` once, `delay` (0 or more) from now, never on the calling thread. Tasks run one at a time, in the
    // order of their times, first posted first when the times are equal. Any thread may call.
    virtual void Post(std::chrono::milliseconds delay, Task task) = 0;

    // Time since some fixed moment; never goes back.
    virtual std::chrono::milliseconds Now() const = 0;

    // Drops what has not started and waits for a running task. Nothing runs afterwards.
    virtual void Stop() = 0;
};

// Real time, on one thread of its own.
std::unique_ptr<Scheduler> MakeTimerThread();

}  // namespace simset

#endif
