// The way from the middleware to a client library: one queue of events per process and library.
#ifndef SIMSET_STATE_NOTIFICATIONS_H
#define SIMSET_STATE_NOTIFICATIONS_H

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "simset/base/WakeUp.h"

namespace simset {

// Thread-safe. Whoever pushes never waits for the process that reads.
class EventQueue {
  public:
    static constexpr std::size_t kMaxEvents = 100000;  // a stopped process does not fill the machine's memory

    // False when the queue is full or closed; the event is lost then.
    bool Push(nlohmann::json event);

    // Takes the oldest event; false when there is none.
    bool Pop(nlohmann::json& event);

    void Close();
    bool Closed() const;

    // Readable while there are events or the queue is closed.
    int Fd() const { return m_wake.Fd(); }

  private:
    mutable std::mutex m_mutex;
    std::deque<nlohmann::json> m_events;
    bool m_closed = false;
    WakeUp m_wake;
};

// The queues by client. Not thread-safe.
class Clients {
  public:
    // Replaces an older queue of the same client.
    std::shared_ptr<EventQueue> Add(const std::string& client);
    // Null when the client has none.
    std::shared_ptr<EventQueue> Find(const std::string& client) const;
    // False when `queue` is not (or no longer) the client's.
    bool Remove(const std::string& client, const std::shared_ptr<EventQueue>& queue);
    // Ends every queue; those who read them notice.
    void CloseAll();

  private:
    std::map<std::string, std::shared_ptr<EventQueue>> m_queues;
};

}  // namespace simset

#endif
