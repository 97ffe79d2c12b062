#include "os/SerialPort.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace zel {

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
    attributes.c_cc[VTIME] = 5;  // tenths of a second
    attributes.c_cc[VMIN] = 0;
    tcsetattr(descriptor, TCSANOW, &attributes);
}

ssize_t ReadSerialPort(int descriptor, std::uint8_t* bytes, std::size_t size) {
    return read(descriptor, bytes, size);
}

ssize_t WriteSerialPort(int descriptor, const std::uint8_t* bytes, std::size_t size) {
    return write(descriptor, bytes, size);
}

void CloseSerialPort(int descriptor) {
    close(descriptor);
}

}  // namespace zel
