#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "simset/board/line/SerialLine.h"

namespace simset {
namespace {

constexpr std::chrono::seconds kPatience{20};  // before a test gives up on the line's threads
constexpr int kPatienceMs = 20000;

// A line as fast as both ends go, with both of them open: the set's end waits up to 25.5 s for bytes.
class UnpacedLine : public ::testing::Test {
  protected:
    UnpacedLine() : m_line(Unpaced()), m_set(Open(m_line.SetPath())), m_tool(Open(m_line.ToolPath())) {
        SetWaits(255);
    }

    static LineSettings Unpaced() {
        LineSettings settings;
        settings.baud = 0;
        return settings;
    }
    static Descriptor Open(const std::string& path) {
        return Descriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    void SetWaits(unsigned char tenths) const {
        termios settings{};
        ::tcgetattr(m_set.Get(), &settings);
        settings.c_cc[VMIN] = 0;
        settings.c_cc[VTIME] = tenths;
        ::tcsetattr(m_set.Get(), TCSANOW, &settings);
    }
    int Waits() const {
        termios settings{};
        ::tcgetattr(m_set.Get(), &settings);
        return settings.c_cc[VTIME];
    }

    static void Send(const Descriptor& end, char byte) { EXPECT_EQ(::write(end.Get(), &byte, 1), 1); }
    // The byte that arrives at an end; 0 when none does.
    static char Receive(const Descriptor& end) {
        pollfd poll{end.Get(), POLLIN, 0};
        char byte = 0;
        return ::poll(&poll, 1, kPatienceMs) == 1 && ::read(end.Get(), &byte, 1) == 1 ? byte : '\0';
    }
    // Waits until that many bytes of both directions together were lost.
    void AwaitLost(std::size_t count) const {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        std::size_t lost = 0;
        while (lost < count) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << m_line.Describe();
            std::this_thread::yield();
            const auto state = nlohmann::json::parse(m_line.Describe());
            lost = state["toSet"]["lost"].get<std::size_t>() + state["fromSet"]["lost"].get<std::size_t>();
        }
        EXPECT_EQ(lost, count);
    }

    SerialLine m_line;
    Descriptor m_set;
    Descriptor m_tool;
};

TEST_F(UnpacedLine, CarriesBytesBothWays) {
    Send(m_tool, 'a');
    EXPECT_EQ(Receive(m_set), 'a');
    Send(m_set, 'b');
    EXPECT_EQ(Receive(m_tool), 'b');
}

TEST_F(UnpacedLine, WithoutALineReadsReturnAtOnceAndBytesAreLost) {
    m_line.Plug(false);
    char byte = 0;
    EXPECT_EQ(Waits(), 0);
    EXPECT_EQ(::read(m_set.Get(), &byte, 1), 0);
    Send(m_tool, 'x');
    Send(m_set, 'y');
    AwaitLost(2);
    EXPECT_EQ(::read(m_set.Get(), &byte, 1), 0);
}

TEST_F(UnpacedLine, GoesOnForWhoKeptThePortOpen) {
    m_line.Plug(false);
    Send(m_tool, 'x');
    AwaitLost(1);
    m_line.Plug(true);
    EXPECT_EQ(Waits(), 255);
    Send(m_tool, 'a');
    EXPECT_EQ(Receive(m_set), 'a');
    Send(m_set, 'b');
    EXPECT_EQ(Receive(m_tool), 'b');
}

TEST_F(UnpacedLine, StaysHungUpForWhoSetsThePortUpAnew) {
    m_line.Plug(false);
    SetWaits(7);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (Waits() != 0) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        std::this_thread::yield();
    }
    m_line.Plug(true);
    EXPECT_EQ(Waits(), 7);
}

}  // namespace
}  // namespace simset
