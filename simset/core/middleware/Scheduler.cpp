#include "simset/core/middleware/Scheduler.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace simset {

namespace {

class TimerThread : public Scheduler {
  public:
    TimerThread() : m_thread([this] { Run(); }) {}
    ~TimerThread() override { Stop(); }

    void Post(std::chrono::milliseconds delay, Task task) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_stopped) {
            m_tasks.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
            m_changed.notify_one();
        }
    }

    std::chrono::milliseconds Now() const override {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
    }

    void Stop() override {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stopped = true;
            m_tasks.clear();
            m_changed.notify_one();
        }
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

  private:
    void Run() {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_stopped) {
            if (m_tasks.empty()) {
                m_changed.wait(lock);
                continue;
            }
            const auto next = m_tasks.begin()->first;
            if (std::chrono::steady_clock::now() < next) {
                m_changed.wait_until(lock, next);
                continue;
            }
            const Task task = std::move(m_tasks.begin()->second);
            m_tasks.erase(m_tasks.begin());
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::multimap<std::chrono::steady_clock::time_point, Task> m_tasks;
    bool m_stopped = false;
    std::thread m_thread;
};

}  // namespace

std::unique_ptr<Scheduler> MakeTimerThread() {
    return std::make_unique<TimerThread>();
}

}  // namespace simset
