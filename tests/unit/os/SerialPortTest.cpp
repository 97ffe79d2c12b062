#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

#include "os/SerialPort.h"

namespace {

// A pseudo terminal in the state in which a fresh one is: a terminal for people.
class SerialPort : public ::testing::Test {
  protected:
    void SetUp() override {
        m_line = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(m_line, 0);
        ASSERT_EQ(grantpt(m_line), 0);
        ASSERT_EQ(unlockpt(m_line), 0);
        m_port = zel::OpenSerialPort(ptsname(m_line));
        ASSERT_GE(m_port, 0);
    }
    void TearDown() override {
        close(m_line);
        if (m_port >= 0) {
            zel::CloseSerialPort(m_port);
        }
    }
    termios Attributes() const {
        termios attributes{};
        EXPECT_EQ(tcgetattr(m_port, &attributes), 0);
        return attributes;
    }
    void Send(const std::string& bytes) {
        ASSERT_EQ(write(m_line, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    int m_line = -1;
    int m_port = -1;
};

TEST_F(SerialPort, IsOpenedBlockingAndForThisProgramAlone) {
    EXPECT_EQ(fcntl(m_port, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR);
    EXPECT_EQ(fcntl(m_port, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(SerialPort, AMissingDeviceIsNoDescriptor) {
    EXPECT_EQ(zel::OpenSerialPort("/dev/no-such-port"), -1);
}

TEST_F(SerialPort, IsRawAt115200With8DataBitsAndOneStopBit) {
    termios before = Attributes();
    before.c_iflag |= IXANY | IXOFF | IXON | ICRNL;
    before.c_oflag |= OPOST;
    before.c_cflag |= CSTOPB | PARENB | CRTSCTS;
    before.c_lflag |= ISIG | ICANON | ECHO | ECHOE;
    ASSERT_EQ(tcsetattr(m_port, TCSANOW, &before), 0);
    zel::ConfigureSerialPort(m_port);
    const termios now = Attributes();
    EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B115200));
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B115200));
    EXPECT_EQ(now.c_iflag & (ICRNL | IXON | IXANY | IXOFF), 0U);
    EXPECT_EQ(now.c_oflag & OPOST, 0U);
    EXPECT_EQ(now.c_cflag & (CRTSCTS | PARENB | CSTOPB), 0U);
    EXPECT_EQ(now.c_cflag & (CSIZE | CREAD | CLOCAL), static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
    EXPECT_EQ(now.c_lflag & (ISIG | ICANON | ECHO | ECHOE), 0U);
    EXPECT_EQ(now.c_cc[VTIME], 5);
    EXPECT_EQ(now.c_cc[VMIN], 0);
}

TEST_F(SerialPort, CarriesEveryByteValueBothWays) {
    zel::ConfigureSerialPort(m_port);
    std::array<std::uint8_t, 256> sent{};
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<std::uint8_t>(i);
    }
    std::array<std::uint8_t, 256> got{};
    Send(std::string(sent.begin(), sent.end()));
    std::size_t count = 0;
    while (count < got.size()) {
        const ssize_t size = zel::ReadSerialPort(m_port, &got[count], got.size() - count);
        ASSERT_GT(size, 0);
        count += static_cast<std::size_t>(size);
    }
    EXPECT_EQ(got, sent);
    ASSERT_EQ(zel::WriteSerialPort(m_port, sent.data(), sent.size()), static_cast<ssize_t>(sent.size()));
    got.fill(0);
    for (count = 0; count < got.size();) {
        const ssize_t size = read(m_line, &got[count], got.size() - count);
        ASSERT_GT(size, 0);
        count += static_cast<std::size_t>(size);
    }
    EXPECT_EQ(got, sent);
}

TEST_F(SerialPort, ReadingEndsWithHalfASecondOfSilence) {
    zel::ConfigureSerialPort(m_port);
    std::uint8_t byte = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zel::ReadSerialPort(m_port, &byte, 1), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(490));
}

TEST_F(SerialPort, ALostLineIsNoByte) {
    zel::ConfigureSerialPort(m_port);
    close(m_line);
    m_line = -1;
    std::uint8_t byte = 0;
    EXPECT_LE(zel::ReadSerialPort(m_port, &byte, 1), 0);
    zel::CloseSerialPort(m_port);
    EXPECT_EQ(fcntl(m_port, F_GETFD), -1);
    m_port = -1;
}

// What a silent line takes half a second to say, one that has hung up says at once, every time.
TEST_F(SerialPort, ALineThatHasHungUpIsToldFromASilentOne) {
    zel::ConfigureSerialPort(m_port);
    std::array<std::uint8_t, 8> bytes{};
    EXPECT_EQ(zel::ReadSerialPort(m_port, bytes.data(), bytes.size()), 0);
    close(m_line);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(zel::ReadSerialPort(m_port, bytes.data(), bytes.size()), -1);
    }
    m_line = posix_openpt(O_RDWR | O_NOCTTY);
}

// As when somebody else has changed the line's settings: it has not hung up, and yet does not wait.
TEST_F(SerialPort, AnEmptyReadThatDidNotWaitIsNoSilence) {
    zel::ConfigureSerialPort(m_port);
    termios attributes = Attributes();
    attributes.c_cc[VTIME] = 0;
    ASSERT_EQ(tcsetattr(m_port, TCSANOW, &attributes), 0);
    std::array<std::uint8_t, 8> bytes{};
    EXPECT_EQ(zel::ReadSerialPort(m_port, bytes.data(), bytes.size()), -1);
    Send("x");
    EXPECT_EQ(zel::ReadSerialPort(m_port, bytes.data(), bytes.size()), 1);
}

}  // namespace
