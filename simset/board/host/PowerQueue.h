// What was asked of the set's power, and who waits for it.
#ifndef SIMSET_HOST_POWERQUEUE_H
#define SIMSET_HOST_POWERQUEUE_H

#include <cstdint>
#include <future>
#include <mutex>
#include <optional>
#include <vector>

#include "simset/base/WakeUp.h"

namespace simset {

enum class Wish : std::uint8_t { Reboot, PowerCut };

// Requests wait until the thread that serves the power takes them. What is asked for while one is carried out
// waits for the next turn.
class PowerQueue {
  public:
    // The future holds true once the wish was carried out, false when the set went off before. Any thread.
    std::future<bool> Ask(Wish wish);

    // Takes all that waits; a power cut overtakes reboots. Nothing when nothing waits.
    std::optional<Wish> Take();

    // What was taken last has been carried out.
    void Done();

    // The set goes off for good: whoever waits, or asks from now on, is told so.
    void Close();

    const WakeUp& Event() const { return m_event; }

  private:
    struct Request {
        Wish wish;
        std::promise<bool> done;
    };
    static void AnswerAll(std::vector<Request>& requests, std::optional<Wish> done);

    WakeUp m_event;
    std::mutex m_mutex;
    std::vector<Request> m_waiting;
    std::vector<Request> m_taken;
    Wish m_taking = Wish::Reboot;
    bool m_closed = false;
};

}  // namespace simset

#endif
