#include "simset/board/line/Terminal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "simset/board/line/TerminalSpeed.h"
#include "simset/board/preload/PortMark.h"

namespace simset {
namespace {

constexpr tcflag_t kInputChanges = ICRNL | INLCR | IGNCR | ISTRIP | IXON | IXOFF;
constexpr tcflag_t kFreshInput = ICRNL | IXON;
constexpr tcflag_t kFreshOutput = OPOST | ONLCR;
constexpr tcflag_t kFreshControl = CS8 | CREAD | HUPCL;
constexpr tcflag_t kFreshLocal = ISIG | ICANON | IEXTEN | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE;

}  // namespace

std::string Describe(const PortSettings& settings) {
    return Describe(settings.framing) + (settings.raw ? " raw" : " cooked");
}

Terminal Terminal::Open() {
    Terminal terminal;
    terminal.master.Reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, 128> name{};
    if (!terminal.master || ::grantpt(terminal.master.Get()) != 0 || ::unlockpt(terminal.master.Get()) != 0 ||
        ::ptsname_r(terminal.master.Get(), name.data(), name.size()) != 0) {
        throw SystemError("pseudo terminal");
    }
    terminal.path = name.data();
    terminal.slave.Reset(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal.slave) {
        throw SystemError(terminal.path);
    }
    termios settings{};
    if (::tcgetattr(terminal.slave.Get(), &settings) != 0) {
        throw SystemError(terminal.path);
    }
    ::cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    ::cfsetspeed(&settings, B115200);
    ::tcsetattr(terminal.slave.Get(), TCSANOW, &settings);
    return terminal;
}

void Terminal::MakeFresh() {
    m_before.reset();
    termios settings{};
    if (::tcgetattr(slave.Get(), &settings) != 0) {
        return;
    }
    settings.c_iflag = kFreshInput;
    settings.c_oflag = kFreshOutput;
    settings.c_cflag = kFreshControl;
    settings.c_lflag = kFreshLocal;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    settings.c_cc[preload::kPortMark] = 0;
    ::cfsetspeed(&settings, B9600);
    ::tcsetattr(slave.Get(), TCSANOW, &settings);
}

PortSettings Terminal::Settings() const {
    termios found{};
    PortSettings settings;
    if (::tcgetattr(slave.Get(), &found) != 0) {
        return settings;
    }
    const tcflag_t control = preload::Unmarked(found.c_cflag, found.c_cc[preload::kPortMark]);
    const tcflag_t size = control & CSIZE;
    settings.framing.speed = SpeedOf(slave.Get());
    settings.framing.dataBits = size == CS8 ? 8 : size == CS7 ? 7 : size == CS6 ? 6 : 5;
    if ((control & PARENB) != 0) {
        settings.framing.parity = (control & PARODD) != 0 ? Parity::Odd : Parity::Even;
    }
    settings.framing.stopBits = (control & CSTOPB) != 0 ? 2 : 1;
    settings.raw = (found.c_lflag & (ICANON | ECHO | ISIG)) == 0 && (found.c_oflag & OPOST) == 0 &&
                   (found.c_iflag & kInputChanges) == 0;
    return settings;
}

void Terminal::MakeRaw() const {
    termios found{};
    if (::tcgetattr(slave.Get(), &found) != 0) {
        return;
    }
    // The next program may already have the terminal open: its own waits stay, and a raw terminal is not touched.
    termios raw = found;
    ::cfmakeraw(&raw);
    std::memcpy(raw.c_cc, found.c_cc, sizeof raw.c_cc);
    if (raw.c_iflag != found.c_iflag || raw.c_oflag != found.c_oflag || raw.c_lflag != found.c_lflag) {
        ::tcsetattr(slave.Get(), TCSANOW, &raw);
    }
}

std::optional<Terminal::Waits> Terminal::ChangeWaits(Waits wanted) const {
    termios settings{};
    if (::tcgetattr(slave.Get(), &settings) != 0) {
        return std::nullopt;
    }
    const Waits found{settings.c_cc[VMIN], settings.c_cc[VTIME]};
    if (found.least == wanted.least && found.tenths == wanted.tenths) {
        return std::nullopt;
    }
    settings.c_cc[VMIN] = wanted.least;
    settings.c_cc[VTIME] = wanted.tenths;
    ::tcsetattr(slave.Get(), TCSANOW, &settings);
    return found;
}

// Closing the master would hang the terminal up for good: no program that has it open could ever read from it
// again.
void Terminal::HangUp() {
    if (const auto before = ChangeWaits({0, 0})) {
        m_before = before;
        ::tcflush(slave.Get(), TCIFLUSH);
    }
}

void Terminal::PickUp() {
    if (m_before) {
        ChangeWaits(*m_before);
        m_before.reset();
    }
}

int Terminal::CountUsers() const {
    struct stat device {};
    if (::fstat(slave.Get(), &device) != 0) {
        return 0;
    }
    int users = 0;
    std::error_code ignored;
    namespace fs = std::filesystem;
    const std::string self = std::to_string(::getpid());
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", ignored)) {
        const std::string id = process.path().filename();
        if (id.find_first_not_of("0123456789") != std::string::npos || id == self) {
            continue;
        }
        for (const fs::directory_entry& open : fs::directory_iterator(process.path() / "fd", ignored)) {
            struct stat info {};
            if (::stat(open.path().c_str(), &info) == 0 && info.st_rdev == device.st_rdev &&
                info.st_ino == device.st_ino && info.st_dev == device.st_dev) {
                ++users;
            }
        }
    }
    return users;
}

}  // namespace simset
