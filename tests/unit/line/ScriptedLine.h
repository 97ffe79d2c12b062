// A strict far end of the line: each burst that is expected, and what comes back when.
#ifndef ZELLINE_TESTS_SCRIPTEDLINE_H
#define ZELLINE_TESTS_SCRIPTEDLINE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "port/Transport.h"
#include "wire/Hex.h"

namespace zelline {

// Bytes that arrive some time after the burst they answer.
struct Coming {
    long after;  // ms
    std::string hex;
};

// Fails the test on a burst that the script does not expect, and, at the end, on one that did not come.
class ScriptedLine : public Transport {
  public:
    ~ScriptedLine() override { EXPECT_EQ(m_script.size(), 0U) << "bursts that were never sent"; }

    // The next burst, and what follows it.
    void Expect(const std::string& hex, std::vector<Coming> answers = {}) {
        m_script.push_back({hex, std::move(answers)});
    }
    // Bytes that arrive on their own, counted from now.
    void Arrives(long after, const std::string& hex) { Schedule(after, hex); }

    void Write(const std::uint8_t* bytes, std::size_t size) override {
        if (size == kFlush && std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; })) {
            ++flushes;
            return;
        }
        const std::string hex = ToHex(bytes, size);
        if (m_script.empty()) {
            ADD_FAILURE() << "unexpected burst " << hex;
            return;
        }
        const Burst burst = m_script.front();
        m_script.pop_front();
        EXPECT_EQ(hex, burst.hex);
        for (const Coming& answer : burst.answers) {
            Schedule(answer.after, answer.hex);
        }
    }

    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
        const Millis end = m_now + wait;
        if (m_coming.empty() || m_coming.front().first > end) {
            m_now = end;
            return 0;
        }
        m_now = std::max(m_now, m_coming.front().first);
        Bytes& first = m_coming.front().second;
        const std::size_t count = std::min(size, first.size());
        std::copy_n(first.begin(), count, bytes);
        first.erase(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(count));
        if (first.empty()) {
            m_coming.pop_front();
        }
        return count;
    }

    Millis Now() const override { return m_now; }
    void Sleep(Millis time) override { m_now += time; }

    int flushes = 0;  // writes of zeros that end what the set waits for

  private:
    static constexpr std::size_t kFlush = 73;  // bytes of the longest frame

    struct Burst {
        std::string hex;
        std::vector<Coming> answers;
    };

    void Schedule(long after, const std::string& hex) {
        const Millis when = m_now + Millis(after);
        auto at = m_coming.begin();
        while (at != m_coming.end() && at->first <= when) {
            ++at;
        }
        m_coming.insert(at, {when, FromHex(hex)});
    }

    std::deque<Burst> m_script;
    std::deque<std::pair<Millis, Bytes>> m_coming;
    Millis m_now{1000};
};

}  // namespace zelline

#endif
