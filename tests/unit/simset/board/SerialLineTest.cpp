#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>

#include <chrono>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "simset/board/line/SerialLine.h"
#include "simset/board/preload/PortMark.h"

namespace simset {
namespace {

constexpr std::chrono::seconds kPatience{20};  // before a test gives up on the line's threads
constexpr int kPatienceMs = 20000;

// A line as fast as both ends go, with both of them open: the set's end waits up to 25.5 s for bytes.
class UnpacedLine : public ::testing::Test {
  protected:
    UnpacedLine()
        : m_line(Unpaced(), [this](const char* call, const std::string& settings) { Misused(call, settings); }),
          m_set(Open(m_line.SetPath())),
          m_tool(Open(m_line.ToolPath())) {
        Set(B115200, 0);
        SetWaits(255);
        AwaitOpen("setOpen");
        AwaitOpen("toolOpen");
    }

    // Waits until the line knows that an end is open: what arrives there earlier is lost.
    void AwaitOpen(const char* end) const {
        const auto limit = std::chrono::steady_clock::now() + kPatience;
        while (!nlohmann::json::parse(m_line.Describe())[end].get<bool>()) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << m_line.Describe();
            std::this_thread::yield();
        }
    }

    static LineSettings Unpaced() {
        LineSettings settings;
        settings.baud = 0;
        return settings;
    }
    static Descriptor Open(const std::string& path) {
        return Descriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    void Misused(const char* call, const std::string& settings) {
        const std::lock_guard lock(m_mutex);
        m_misuse.push_back(std::string(call) + " " + settings);
    }
    std::vector<std::string> Misuses() {
        const std::lock_guard lock(m_mutex);
        return m_misuse;
    }

    // Makes the set's port raw with that speed; `mark` is what the preloaded library leaves there.
    void Set(speed_t speed, unsigned char mark) const {
        termios settings{};
        ::tcgetattr(m_set.Get(), &settings);
        ::cfmakeraw(&settings);
        ::cfsetspeed(&settings, speed);
        settings.c_cc[preload::kPortMark] = mark;
        ::tcsetattr(m_set.Get(), TCSANOW, &settings);
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

    std::mutex m_mutex;
    std::vector<std::string> m_misuse;
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

TEST_F(UnpacedLine, ThePortIsFreshAfterPowerOn) {
    m_line.Reset();
    termios settings{};
    ::tcgetattr(m_set.Get(), &settings);
    EXPECT_EQ(::cfgetospeed(&settings), B9600);
    EXPECT_NE(settings.c_lflag & ECHO, 0U);
    EXPECT_NE(settings.c_lflag & ICANON, 0U);
    EXPECT_NE(settings.c_oflag & OPOST, 0U);
    EXPECT_EQ(nlohmann::json::parse(m_line.Describe())["port"], "9600 8N1 cooked");
}

TEST_F(UnpacedLine, ThePortKeepsItsSettingsFromOneOpeningToTheNext) {
    m_set = Open(m_line.SetPath());
    Send(m_tool, 'a');
    EXPECT_EQ(Receive(m_set), 'a');
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(UnpacedLine, BytesAtAnotherSpeedArriveBrokenBothWaysAndAreToldOnce) {
    Set(B300, 0);
    for (int i = 0; i < 2; ++i) {
        Send(m_set, 'U');
        for (int heard = 0; heard < 5; ++heard) {
            char byte = 1;
            ASSERT_EQ(::read(m_tool.Get(), &byte, 1), 1);
            EXPECT_EQ(byte, '\0');
        }
    }
    EXPECT_EQ(Misuses(), std::vector<std::string>{"transmit 300 8N1 raw"});
    Set(B57600, 0);
    Send(m_tool, '\0');
    EXPECT_EQ(Receive(m_set), '\xF8');
    EXPECT_EQ(Misuses().back(), "receive 57600 8N1 raw");
}

TEST_F(UnpacedLine, WhatATerminalCannotKeepCountsToo) {
    Set(B115200, preload::MarkOf(CS7 | PARENB));
    Send(m_set, '\x79');
    EXPECT_EQ(Receive(m_tool), '\xF9');
    EXPECT_EQ(Misuses(), std::vector<std::string>{"transmit 115200 7E1 raw"});
    Set(B115200, preload::MarkOf(CS8));
    Send(m_set, '\x79');
    EXPECT_EQ(Receive(m_tool), '\x79');
    EXPECT_EQ(Misuses().size(), 1U);
}

TEST_F(UnpacedLine, TheToolsEndHasTheLinesFramingWhateverItsTerminalSays) {
    termios settings{};
    ::tcgetattr(m_tool.Get(), &settings);
    ::cfsetspeed(&settings, B300);
    ::tcsetattr(m_tool.Get(), TCSANOW, &settings);
    Send(m_tool, 'a');
    EXPECT_EQ(Receive(m_set), 'a');
}

TEST(SerialLine, WhatIsSentBeforeThePortIsSetUpWaitsForIt) {
    LineSettings settings;
    settings.baud = 0;
    std::atomic<int> misuses{0};
    SerialLine line(settings, [&misuses](const char*, const std::string&) { ++misuses; });
    const Descriptor tool(::open(line.ToolPath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(::write(tool.Get(), "abc", 3), 3);
    const Descriptor set(::open(line.SetPath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    termios wanted{};
    ::tcgetattr(set.Get(), &wanted);
    ::cfmakeraw(&wanted);
    ::cfsetspeed(&wanted, B115200);
    wanted.c_cc[VMIN] = 3;
    ::tcsetattr(set.Get(), TCSANOW, &wanted);
    std::string got(3, '\0');
    EXPECT_EQ(::read(set.Get(), got.data(), got.size()), 3);
    EXPECT_EQ(got, "abc");
    EXPECT_EQ(misuses, 0);
}

TEST(SerialLine, APortThatNobodySetsUpGetsWhatArrivesBroken) {
    LineSettings settings;
    settings.baud = 0;
    std::mutex mutex;
    std::vector<std::string> misuses;
    SerialLine line(settings, [&](const char* call, const std::string& found) {
        const std::lock_guard lock(mutex);
        misuses.push_back(std::string(call) + " " + found);
    });
    const Descriptor tool(::open(line.ToolPath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const Descriptor set(::open(line.SetPath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(::write(tool.Get(), std::string(120, 'U').data(), 120), 120);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    const auto told = [&] {
        const std::lock_guard lock(mutex);
        return !misuses.empty() && misuses.front() == "receive 9600 8N1 cooked";
    };
    while (!told()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << line.Describe();
        std::this_thread::yield();
    }
    EXPECT_EQ(nlohmann::json::parse(line.Describe())["toSet"]["broken"], 120);
}

}  // namespace
}  // namespace simset
