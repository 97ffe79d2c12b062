#include "port/Port.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "port/PortList.h"
#include "wire/Error.h"

namespace zelline {
namespace {

// A port that takes no byte for this long has nobody at its far end: 300 KB, the longest burst a set takes,
// leave at 115200 baud in 27 s, and the system's buffers empty steadily meanwhile.
constexpr Millis kWriteStall{10000};

}  // namespace

Port::Port(const std::string& path, int interrupt) : m_path(path), m_interrupt(interrupt) {
    m_descriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_descriptor < 0) {
        const int reason = errno;
        const std::string holder = reason == EBUSY ? PortHolder(path) : std::string();
        if (reason == EBUSY) {
            Fail(Exit::Port, "port {} is taken by {}: end that program first", path,
                 holder.empty() ? "another program" : holder);
        }
        const char* advice = reason == ENOENT ? "'zelline ports' lists the ports of this machine"
                             : reason == EACCES
                                 ? "join the group that owns it, usually dialout (adduser), and log in again"
                                 : "check the name and the cable";
        Fail(Exit::Port, "port {} cannot be opened: {}; {}", path, std::strerror(reason), advice);
    }
    try {
        Claim();
        Configure();
    } catch (...) {
        ::close(m_descriptor);
        throw;
    }
}

Port::~Port() {
    if (m_restore) {
        ::tcsetattr(m_descriptor, TCSANOW, &m_before);
    }
    if (m_exclusive) {
        ::ioctl(m_descriptor, TIOCNXCL);
    }
    ::close(m_descriptor);
}

void Port::Claim() {
    if (::isatty(m_descriptor) == 0) {
        Fail(Exit::Port, "{} is no serial port: 'zelline ports' lists those of this machine", m_path);
    }
    const bool locked = ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0;
    const std::string holder = PortHolder(m_descriptor);
    if (!locked || !holder.empty()) {
        Fail(Exit::Port, "port {} is taken by {}: end that program first", m_path,
             holder.empty() ? "another program" : holder);
    }
    // On a pseudo terminal the mark would outlive a tool that is killed, because its far end keeps it open.
    if (!IsPseudoTerminal(m_descriptor)) {
        m_exclusive = ::ioctl(m_descriptor, TIOCEXCL) == 0;
    }
}

void Port::Configure() {
    if (::tcgetattr(m_descriptor, &m_before) != 0) {
        Lost(std::strerror(errno));
    }
    termios raw = m_before;
    ::cfmakeraw(&raw);
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    raw.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS | CSTOPB | PARENB | HUPCL);
    raw.c_cflag |= CS8 | CREAD | CLOCAL;
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    ::cfsetispeed(&raw, B115200);
    ::cfsetospeed(&raw, B115200);
    if (::tcsetattr(m_descriptor, TCSANOW, &raw) != 0) {
        Fail(Exit::Port, "port {} cannot be set to 115200 baud, 8N1: {}", m_path, std::strerror(errno));
    }
    m_restore = true;
    ::tcflush(m_descriptor, TCIFLUSH);
}

void Port::Stopped() const {
    char byte = 0;
    [[maybe_unused]] const auto taken = ::read(m_interrupt, &byte, 1);
    Fail(Exit::Interrupted, "stopped");
}

void Port::Lost(const char* how) const {
    Fail(Exit::Port, "port {} was lost ({}): check the cable and that the set is on", m_path, how);
}

bool Port::Await(short events, Millis wait) {
    std::array<pollfd, 2> watched = {{{m_descriptor, events, 0}, {m_interrupt, POLLIN, 0}}};
    const auto time = static_cast<int>(std::max(wait, Millis(0)).count());
    int ready = -1;
    do {  // a signal that is one to stop by makes the interrupt readable
        ready = ::poll(watched.data(), m_interrupt < 0 ? 1 : 2, time);
    } while (ready < 0 && errno == EINTR);
    if (ready < 0) {
        Lost(std::strerror(errno));
    }
    if (ready == 0) {
        return false;
    }
    if (watched[1].revents != 0) {
        Stopped();
    }
    if ((watched[0].revents & events) == 0 && watched[0].revents != 0) {
        Lost("hung up");
    }
    return (watched[0].revents & events) != 0;
}

void Port::Write(const std::uint8_t* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(m_descriptor, bytes, size);
        if (written > 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        } else if (written < 0 && errno != EAGAIN && errno != EINTR) {
            Lost(std::strerror(errno));
        } else if (!Await(POLLOUT, kWriteStall)) {
            Fail(Exit::NoAnswer, "port {} takes no bytes: nobody reads at its other end", m_path);
        }
    }
}

std::size_t Port::Read(std::uint8_t* bytes, std::size_t size, Millis wait) {
    if (!Await(POLLIN, wait)) {
        return 0;
    }
    const ssize_t count = ::read(m_descriptor, bytes, size);
    if (count > 0) {
        return static_cast<std::size_t>(count);
    }
    if (count == 0) {
        Lost("hung up");
    }
    if (errno != EAGAIN && errno != EINTR) {
        Lost(std::strerror(errno));
    }
    return 0;
}

std::size_t Port::Unsent() const {
    int count = 0;
    return ::ioctl(m_descriptor, TIOCOUTQ, &count) == 0 && count > 0 ? static_cast<std::size_t>(count) : 0;
}

Millis Port::Now() const {
    return std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now().time_since_epoch());
}

void Port::Sleep(Millis time) {
    const Millis end = Now() + time;
    for (Millis left = time; left.count() > 0; left = end - Now()) {
        Await(0, left);
    }
}

}  // namespace zelline
