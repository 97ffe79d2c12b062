#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include "base/TempFolder.h"
#include "port/Port.h"
#include "port/PortList.h"
#include "port/Stop.h"
#include "wire/Error.h"

namespace zelline {
namespace {

// The far end of a pseudo terminal.
class FarEnd {
  public:
    FarEnd() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        ::grantpt(m_master);
        ::unlockpt(m_master);
        m_path = ::ptsname(m_master);
        m_slave = ::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;
    ~FarEnd() { Close(); }

    void Close() {
        if (m_master >= 0) {
            ::close(m_slave);
            ::close(m_master);
            m_master = -1;
        }
    }
    const std::string& Path() const { return m_path; }
    int Master() const { return m_master; }
    int Slave() const { return m_slave; }

  private:
    int m_master;
    int m_slave = -1;
    std::string m_path;
};

std::optional<Error> OpenError(const std::string& path) {
    try {
        const Port port(path, -1);
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

// Another program that opens the port, with or without a lock, until the test is over.
class Holder {
  public:
    Holder(const FarEnd& end, bool lock) {
        int ready[2];
        EXPECT_EQ(::pipe(ready), 0);
        m_child = ::fork();
        if (m_child == 0) {
            // As a program that was started on its own would be: nothing of the far end is open in it.
            const std::string& path = end.Path();
            for (int descriptor = 3; descriptor < 256; ++descriptor) {
                if (descriptor != ready[1]) {
                    ::close(descriptor);
                }
            }
            int port = ::open(path.c_str(), O_RDWR | O_NOCTTY);
            port = ::fcntl(port, F_DUPFD, 100);
            const bool good = port >= 0 && (!lock || ::flock(port, LOCK_EX | LOCK_NB) == 0);
            [[maybe_unused]] const auto told = ::write(ready[1], good ? "y" : "n", 1);
            for (;;) {
                ::pause();
            }
        }
        char answer = 0;
        EXPECT_EQ(::read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        ::close(ready[0]);
        ::close(ready[1]);
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }
    std::string Pid() const { return std::to_string(m_child); }

  private:
    pid_t m_child = -1;
};

TEST(Port, CarriesEveryByteBothWaysAndIsPutBack) {
    const FarEnd end;
    termios before{};
    ASSERT_EQ(::tcgetattr(end.Slave(), &before), 0);
    {
        Port port(end.Path(), -1);
        std::string bytes;
        for (int i = 0; i < 256; ++i) {
            bytes.push_back(static_cast<char>(i));
        }
        ASSERT_EQ(::write(end.Master(), bytes.data(), bytes.size()), 256);
        std::string read;
        std::uint8_t buffer[300];
        while (read.size() < 256) {
            const std::size_t count = port.Read(buffer, sizeof buffer, Millis(2000));
            ASSERT_GT(count, 0U);
            read.append(reinterpret_cast<const char*>(buffer), count);
        }
        EXPECT_EQ(read, bytes);
        port.Write(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        read.resize(256);
        std::size_t at = 0;
        while (at < 256) {
            const ssize_t count = ::read(end.Master(), read.data() + at, 256 - at);
            ASSERT_GT(count, 0);
            at += static_cast<std::size_t>(count);
        }
        EXPECT_EQ(read, bytes);
        termios during{};
        ::tcgetattr(end.Slave(), &during);
        EXPECT_EQ(::cfgetospeed(&during), static_cast<speed_t>(B115200));
        EXPECT_EQ(during.c_cflag & (CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
    }
    termios after{};
    ::tcgetattr(end.Slave(), &after);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
}

TEST(Port, TheProgramAtTheFarEndIsNoHolder) {
    const FarEnd end;
    EXPECT_EQ(PortHolder(end.Slave()), "");
    EXPECT_FALSE(OpenError(end.Path()));
    EXPECT_FALSE(OpenError(end.Path())) << "the lock outlived the first";
}

TEST(Port, TakenPortNamesItsHolder) {
    for (const bool lock : {true, false}) {
        const FarEnd end;
        const Holder holder(end, lock);
        const auto error = OpenError(end.Path());
        ASSERT_TRUE(error) << lock;
        EXPECT_EQ(error->Status(), Exit::Port);
        EXPECT_NE(std::string(error->what()).find("(process " + holder.Pid() + ")"), std::string::npos)
            << error->what();
        EXPECT_NE(std::string(error->what()).find("taken by zelline_test"), std::string::npos) << error->what();
    }
}

TEST(Port, TwoSessionsOfOneProgramDoNotShareAPort) {
    const FarEnd end;
    const Port port(end.Path(), -1);
    const auto error = OpenError(end.Path());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->Status(), Exit::Port);
}

TEST(Port, WhatIsNoPortIsRefused) {
    const tests::TempFolder folder;
    for (const std::string& path : {folder.At("nowhere").string(), folder.Write("file", "x"),
                                    folder.At(".").string(), std::string("/dev/null")}) {
        const auto error = OpenError(path);
        ASSERT_TRUE(error) << path;
        EXPECT_EQ(error->Status(), Exit::Port) << path;
    }
}

TEST(Port, ALostPortIsTold) {
    FarEnd end;
    Port port(end.Path(), -1);
    end.Close();
    std::uint8_t byte = 0;
    try {
        port.Read(&byte, 1, Millis(2000));
        ADD_FAILURE() << "not told";
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Port);
    }
    EXPECT_THROW(port.Write(&byte, 1), Error);
}

TEST(Port, ALostPortEndsASleepAtOnce) {
    FarEnd end;
    Port port(end.Path(), -1);
    port.Sleep(Millis(1));
    end.Close();
    try {
        port.Sleep(Millis(60000));
        ADD_FAILURE() << "not ended";
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Port);
    }
}

TEST(Port, AStopEndsAWaitAtOnceAndNobodyElses) {
    const FarEnd end;
    const FarEnd otherEnd;
    const Stop stop;
    const Stop otherStop;
    Port port(end.Path(), stop.Descriptor());
    Port other(otherEnd.Path(), otherStop.Descriptor());
    stop.Raise();
    std::uint8_t byte = 0;
    try {
        port.Read(&byte, 1, Millis(60000));
        ADD_FAILURE() << "not ended";
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Interrupted);
    }
    EXPECT_EQ(port.Read(&byte, 1, Millis(1)), 0U) << "the first one is over";
    stop.Raise();
    EXPECT_THROW(port.Sleep(Millis(60000)), Error);
    EXPECT_EQ(other.Read(&byte, 1, Millis(1)), 0U);
}

}  // namespace
}  // namespace zelline
