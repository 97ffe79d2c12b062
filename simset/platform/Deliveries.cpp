#include "simset/platform/Deliveries.h"

#include <algorithm>
#include <utility>

namespace simset {

std::int64_t Deliveries::NextNumber() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return ++m_last;
}

void Deliveries::Add(std::int64_t number, Receiver receiver) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_receivers[number] = std::move(receiver);
}

void Deliveries::Remove(std::int64_t number) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_receivers.erase(number);
    m_ended.erase(number);
    m_idle.wait(lock, [this, number] {
        const auto running = m_running.equal_range(number);
        return std::all_of(running.first, running.second,
                           [](const auto& entry) { return entry.second == std::this_thread::get_id(); });
    });
}

void Deliveries::AwaitLast(std::int64_t number, std::chrono::seconds limit) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto running = m_running.equal_range(number);
    if (m_receivers.count(number) == 0 || std::any_of(running.first, running.second, [](const auto& entry) {
            return entry.second == std::this_thread::get_id();
        })) {
        return;
    }
    m_idle.wait_for(lock, limit, [this, number] { return m_ended.count(number) != 0; });
}

void Deliveries::Last(std::int64_t number) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_receivers.count(number) != 0) {
        m_ended.insert(number);
        m_idle.notify_all();
    }
}

void Deliveries::Last() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [number, receiver] : m_receivers) {
        m_ended.insert(number);
    }
    m_idle.notify_all();
}

void Deliveries::Deliver(const nlohmann::json& event) {
    const auto number = event.at("target").get<std::int64_t>();
    Receiver receiver;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_receivers.find(number);
        if (found == m_receivers.end()) {
            return;
        }
        receiver = found->second;
        m_running.emplace(number, std::this_thread::get_id());
    }
    // Whatever comes out of the receiver, whoever waits for it goes on.
    struct Done {
        Deliveries& deliveries;
        std::int64_t number;
        ~Done() {
            const std::lock_guard<std::mutex> lock(deliveries.m_mutex);
            const auto running = deliveries.m_running.equal_range(number);
            deliveries.m_running.erase(std::find_if(running.first, running.second, [](const auto& entry) {
                return entry.second == std::this_thread::get_id();
            }));
            deliveries.m_idle.notify_all();
        }
    };
    const Done done{*this, number};
    receiver(event);
}

}  // namespace simset
