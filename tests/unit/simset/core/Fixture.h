// A middleware in a folder of its own, with time that the test moves.
#ifndef SIMSET_CORE_FIXTURE_H
#define SIMSET_CORE_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/TempFolder.h"
#include "simset/core/middleware/Middleware.h"
#include "simset/platform/Client.h"

namespace simset::test {

constexpr std::chrono::seconds kPatience{20};  // before a test that waits for another thread gives up

// Time that stands still until it is moved.
class ManualTime : public Scheduler {
  public:
    void Post(std::chrono::milliseconds delay, Task task) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.emplace(m_now + delay, std::move(task));
    }
    std::chrono::milliseconds Now() const override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_now;
    }
    void Stop() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.clear();
    }

    void Advance(std::chrono::milliseconds by) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto end = m_now + by;
        while (!m_tasks.empty() && m_tasks.begin()->first <= end) {
            m_now = m_tasks.begin()->first;
            const Task task = std::move(m_tasks.begin()->second);
            m_tasks.erase(m_tasks.begin());
            lock.unlock();
            task();
            lock.lock();
        }
        m_now = end;
    }

  private:
    mutable std::mutex m_mutex;
    std::chrono::milliseconds m_now{0};
    std::multimap<std::chrono::milliseconds, Task> m_tasks;
};

// What other threads deliver, to be taken in order.
template <typename Item>
class Mailbox {
  public:
    void Put(Item item) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_items.push_back(std::move(item));
        m_changed.notify_all();
    }

    // The oldest item; fails the test and returns an empty one when none comes.
    Item Take() {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_changed.wait_for(lock, kPatience, [this] { return m_next < m_items.size(); })) {
            ADD_FAILURE() << "nothing was delivered";
            return {};
        }
        return m_items[m_next++];
    }

    bool Empty() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_next == m_items.size();
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Item> m_items;
    std::size_t m_next = 0;
};

class SimsetTest : public ::testing::Test {
  protected:
    SimsetTest() {
        ::setenv("SIMSET_SOCKET", Socket().c_str(), 1);
        Start();
    }

    // Begins anew on the same folder, as the next run of the program.
    void Restart() {
        m_middleware.reset();
        Start();
    }

    void Stop() { m_middleware.reset(); }

    std::string Socket() const { return (m_dir.Path() / "socket").string(); }
    Middleware& TheMiddleware() { return *m_middleware; }
    void Advance(int milliseconds) { m_time->Advance(std::chrono::milliseconds(milliseconds)); }

    // The text that a ctl verb prints; an error fails the test.
    std::string Ctl(const std::vector<std::string>& words) {
        try {
            return m_middleware->Control(words);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
            return {};
        }
    }
    std::string CtlError(const std::vector<std::string>& words) {
        try {
            ADD_FAILURE() << "taken: " << m_middleware->Control(words);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }
    nlohmann::json Value(const std::string& key) { return nlohmann::json::parse(Ctl({"model", "get", key})); }

    // The trace rows of `who`.
    std::vector<nlohmann::json> Trace(const std::string& who) {
        std::vector<nlohmann::json> rows;
        std::istringstream lines(Ctl({"trace"}));
        for (std::string line; std::getline(lines, line);) {
            auto row = nlohmann::json::parse(line);
            if (row["who"] == who) {
                rows.push_back(std::move(row));
            }
        }
        return rows;
    }

    tests::TempFolder m_dir;
    Hooks m_hooks;
    ManualTime* m_time = nullptr;

  private:
    void Start() {
        auto time = std::make_unique<ManualTime>();
        m_time = time.get();
        m_middleware = std::make_unique<Middleware>(m_dir.Path(), std::move(time));
        m_middleware->SetHooks(
            {[this] { return !m_hooks.onSync || m_hooks.onSync(); },
             [this] {
                 if (m_hooks.onReboot) {
                     m_hooks.onReboot();
                 }
             },
             [this] {
                 if (m_hooks.onPowerCut) {
                     m_hooks.onPowerCut();
                 }
             },
             [this](const std::string& message) {
                 if (m_hooks.onProblem) {
                     m_hooks.onProblem(message);
                 }
             },
             nullptr, [this] { return m_hooks.disks ? m_hooks.disks() : nlohmann::ordered_json(); },
             [this](const std::string& path, std::uint64_t size) {
                 if (m_hooks.resizeDisk) {
                     m_hooks.resizeDisk(path, size);
                 }
             },
             [this] { return m_hooks.written ? m_hooks.written() : std::vector<std::string>(); }});
        m_middleware->Listen(Socket());
    }

    std::unique_ptr<Middleware> m_middleware;
};

}  // namespace simset::test

#endif
