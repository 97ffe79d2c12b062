#include "simset/core/state/Notifications.h"

#include <utility>

namespace simset {

bool EventQueue::Push(nlohmann::json event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed || m_events.size() >= kMaxEvents) {
        return false;
    }
    m_events.push_back(std::move(event));
    m_wake.Signal();
    return true;
}

bool EventQueue::Pop(nlohmann::json& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_events.empty()) {
        return false;
    }
    event = std::move(m_events.front());
    m_events.pop_front();
    if (m_events.empty() && !m_closed) {
        m_wake.Clear();
    }
    return true;
}

void EventQueue::Close() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    m_wake.Signal();
}

bool EventQueue::Closed() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed;
}

std::shared_ptr<EventQueue> Clients::Add(const std::string& client) {
    auto& queue = m_queues[client];
    if (queue) {
        queue->Close();
    }
    queue = std::make_shared<EventQueue>();
    return queue;
}

std::shared_ptr<EventQueue> Clients::Find(const std::string& client) const {
    const auto found = m_queues.find(client);
    return found == m_queues.end() ? nullptr : found->second;
}

void Clients::CloseAll() {
    for (const auto& [client, queue] : m_queues) {
        (void)client;
        queue->Close();
    }
}

bool Clients::Remove(const std::string& client, const std::shared_ptr<EventQueue>& queue) {
    const auto found = m_queues.find(client);
    if (found == m_queues.end() || found->second != queue) {
        return false;
    }
    queue->Close();
    m_queues.erase(found);
    return true;
}

}  // namespace simset
