#include "simset/board/host/PowerQueue.h"

#include <algorithm>
#include <utility>

namespace simset {

std::future<bool> PowerQueue::Ask(Wish wish) {
    const std::lock_guard lock(m_mutex);
    Request request{wish, {}};
    auto done = request.done.get_future();
    if (m_closed) {
        request.done.set_value(false);
    } else {
        m_waiting.push_back(std::move(request));
        m_event.Signal();
    }
    return done;
}

std::optional<Wish> PowerQueue::Take() {
    const std::lock_guard lock(m_mutex);
    m_event.Clear();
    if (m_waiting.empty()) {
        return std::nullopt;
    }
    const bool cut = std::any_of(m_waiting.begin(), m_waiting.end(),
                                 [](const Request& request) { return request.wish == Wish::PowerCut; });
    m_taking = cut ? Wish::PowerCut : Wish::Reboot;
    m_taken.swap(m_waiting);
    return m_taking;
}

void PowerQueue::Done() {
    const std::lock_guard lock(m_mutex);
    AnswerAll(m_taken, m_taking);
}

void PowerQueue::Close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    AnswerAll(m_taken, std::nullopt);
    AnswerAll(m_waiting, std::nullopt);
}

void PowerQueue::AnswerAll(std::vector<Request>& requests, std::optional<Wish> done) {
    for (Request& request : requests) {
        request.done.set_value(request.wish == done);
    }
    requests.clear();
}

}  // namespace simset
