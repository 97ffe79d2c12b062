#include "os/SerialPort.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace zel {
namespace {

using namespace std::chrono_literals;

constexpr auto kSilence = 500ms;

}  // namespace

int OpenSerialPort(const char* path) {
    const int descriptor = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor >= 0) {
        fcntl(descriptor, F_SETFL, 0);
    }
    return descriptor;
}

void ConfigureSerialPort(int descriptor) {
    termios attributes{};
    tcgetattr(descriptor, &attributes);
    cfsetispeed(&attributes, B115200);
    cfsetospeed(&attributes, B115200);
    attributes.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | IXANY | IXOFF);
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    attributes.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS | PARENB | CSTOPB | CSIZE);
    attributes.c_cflag |= CS8 | CREAD | CLOCAL;
    attributes.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
    attributes.c_cc[VTIME] = kSilence / 100ms;  // in tenths of a second
    attributes.c_cc[VMIN] = 0;
    tcsetattr(descriptor, TCSANOW, &attributes);
}

ssize_t ReadSerialPort(int descriptor, std::uint8_t* bytes, std::size_t size) {
    using Clock = std::chrono::steady_clock;
    constexpr auto kTooSoon = kSilence / 2;
    Clock::time_point asked;
    ssize_t got = 0;
    do {
        asked = Clock::now();
        got = read(descriptor, bytes, size);
    } while (got < 0 && errno == EINTR);
    return got == 0 && Clock::now() - asked < kTooSoon ? -1 : got;
}

ssize_t WriteSerialPort(int descriptor, const std::uint8_t* bytes, std::size_t size) {
    return write(descriptor, bytes, size);
}

void CloseSerialPort(int descriptor) {
    close(descriptor);
}

}  // namespace zel
