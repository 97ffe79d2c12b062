// Which observer gets which event, and when it is safe to let an observer go.
#ifndef SIMSET_PLATFORM_DELIVERIES_H
#define SIMSET_PLATFORM_DELIVERIES_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

namespace simset {

// Thread-safe.
class Deliveries {
  public:
    using Receiver = std::function<void(const nlohmann::json& event)>;

    // A number of its own for a receiver that is going to be added.
    std::int64_t NextNumber();

    // Events of `number` go to `receiver`.
    void Add(std::int64_t number, Receiver receiver);

    // No event of `number` reaches its receiver any more; waits for one that is being delivered, except on the
    // thread that delivers it.
    void Remove(std::int64_t number);

    // Waits until the receiver of `number` has had its last event, however late the threads that deliver are: no
    // longer than `limit`, and not at all on a thread that delivers to it.
    void AwaitLast(std::int64_t number, std::chrono::seconds limit);

    // All receivers have had their last event: the middleware is gone.
    void Last();

    // The receiver of `number` has had its last event.
    void Last(std::int64_t number);

    // Hands `event` to the receiver of its "target"; without one it is dropped.
    void Deliver(const nlohmann::json& event);

  private:
    std::mutex m_mutex;
    std::condition_variable m_idle;
    std::int64_t m_last = 0;
    std::map<std::int64_t, Receiver> m_receivers;
    std::multimap<std::int64_t, std::thread::id> m_running;
    std::set<std::int64_t> m_ended;  // receivers that have had their last event
};

}  // namespace simset

#endif
