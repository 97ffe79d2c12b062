// A line that a test keeps, lent to what it tries, and stopped by the user at given times.
#ifndef ZELLINE_TESTS_BORROWEDLINE_H
#define ZELLINE_TESTS_BORROWEDLINE_H

#include <algorithm>
#include <deque>
#include <utility>

#include "port/Transport.h"
#include "wire/Error.h"

namespace zelline {

class BorrowedLine : public Transport {
  public:
    // Each of `stops`, in order, is a time at which the user wants to stop; the wait under way then ends as it
    // does on a port.
    explicit BorrowedLine(Transport& line, std::deque<Millis> stops = {})
        : m_line(line), m_stops(std::move(stops)) {}

    void Write(const std::uint8_t* bytes, std::size_t size) override { m_line.Write(bytes, size); }

    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
        const std::size_t count = m_line.Read(bytes, size, std::min(wait, BeforeStop()));
        StopIfDue();
        return count;
    }
    Millis Now() const override { return m_line.Now(); }
    void Sleep(Millis time) override {
        m_line.Sleep(std::min(time, BeforeStop()));
        StopIfDue();
    }

  private:
    Millis BeforeStop() const {
        return m_stops.empty() ? Millis::max() : std::max(m_stops.front() - Now(), Millis(0));
    }
    void StopIfDue() {
        if (!m_stops.empty() && Now() >= m_stops.front()) {
            m_stops.pop_front();
            Fail(Exit::Interrupted, "stopped");
        }
    }

    Transport& m_line;
    std::deque<Millis> m_stops;
};

}  // namespace zelline

#endif
