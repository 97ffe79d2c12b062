#include "simset/board/panel/Panel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "simset/base/Descriptor.h"
#include "simset/base/Numbers.h"

namespace simset {
namespace {

// Tried: DirectFB on an X server ends the application with sizes outside.
constexpr unsigned kMinSide = 48;
constexpr unsigned kMaxSide = 4096;
constexpr int kStartTimeoutMs = 15000;
constexpr int kDisplayFd = 3;  // the server tells its display number there
constexpr const char* kSocketFolder = "/tmp/.X11-unix/X";

std::string FindProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::string folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    folders += ":";
    for (std::size_t begin = 0, end = 0; (end = folders.find(':', begin)) != std::string::npos; begin = end + 1) {
        std::string file = folders.substr(begin, end - begin) + "/" + name;
        if (::access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return "";
}

// The display number, which the server writes once it answers; empty when it ended or took too long.
std::string ReadNumber(const Descriptor& from) {
    std::string number;
    for (;;) {
        pollfd poll{from.Get(), POLLIN, 0};
        char byte = 0;
        if (::poll(&poll, 1, kStartTimeoutMs) <= 0 || ::read(from.Get(), &byte, 1) != 1) {
            return "";
        }
        if (byte == '\n') {
            return number;
        }
        number += byte;
    }
}

}  // namespace

std::optional<PanelSize> ParsePanelSize(const std::string& text) {
    const std::size_t cross = text.find('x');
    if (cross == std::string::npos) {
        return std::nullopt;
    }
    const auto width = ParseNumber(text.substr(0, cross), kMinSide, kMaxSide);
    const auto height = ParseNumber(text.substr(cross + 1), kMinSide, kMaxSide);
    return width && height ? std::optional(PanelSize{*width, *height}) : std::nullopt;
}

Panel::Panel(PanelSize size, bool ownDisplay, const std::string& logFile) : m_size(size) {
    if (ownDisplay) {
        UseOwnDisplay();
    } else {
        StartServer(logFile);
    }
}

Panel::~Panel() {
    Stop();
}

void Panel::UseOwnDisplay() {
    const char* display = std::getenv("DISPLAY");
    if (display == nullptr || display[0] != ':') {
        throw RunError(kExitPanel, "--display own needs DISPLAY to name a display of this machine, such as :0");
    }
    m_display = display;
    m_socket = kSocketFolder + m_display.substr(1, m_display.find('.') - 1);
    struct stat info {};
    if (::stat(m_socket.c_str(), &info) != 0) {
        throw RunError(kExitPanel, "no display answers at " + m_display);
    }
}

void Panel::StartServer(const std::string& logFile) {
    const std::string program = FindProgram("Xvfb");
    if (program.empty()) {
        throw RunError(kExitPanel, "the panel needs Xvfb: install the package xvfb, or run with --panel none");
    }
    auto [readEnd, writeEnd] = MakePipe();
    const Descriptor log(::open(logFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    const std::string screen = std::to_string(m_size.width) + "x" + std::to_string(m_size.height) + "x24";
    const std::string fd = std::to_string(kDisplayFd);
    // Without GLX: DirectFB's X11 system fails on a server that has it. Without resets: the set's picture stays
    // when the application ends.
    const std::array<const char*, 12> arguments{"Xvfb",       "-displayfd",   fd.c_str(),  "-screen",
                                                "0",          screen.c_str(), "-nolisten", "tcp",
                                                "-extension", "GLX",          "-noreset",  nullptr};
    m_server = ::fork();
    if (m_server < 0) {
        throw SystemError("fork");
    }
    if (m_server == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // on which it removes its socket and lock
        ::setsid();
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::dup2(log.Get(), 1);
        ::dup2(log.Get(), 2);
        if (writeEnd.Get() == kDisplayFd) {
            ::fcntl(kDisplayFd, F_SETFD, 0);
        } else {
            ::dup2(writeEnd.Get(), kDisplayFd);
        }
        ::execv(program.c_str(), const_cast<char* const*>(arguments.data()));
        ::_exit(127);
    }
    m_ended.Reset(static_cast<int>(::syscall(SYS_pidfd_open, m_server, 0)));
    writeEnd.Reset();
    const std::string number = ReadNumber(readEnd);
    if (number.empty()) {
        Stop();
        throw RunError(kExitPanel, "the panel's X server did not start; what it said is in " + logFile);
    }
    m_display = ":" + number;
    m_socket = kSocketFolder + number;
}

void Panel::Stop() {
    if (m_server > 0) {
        ::kill(m_server, SIGTERM);
        int status = 0;
        while (::waitpid(m_server, &status, 0) < 0 && errno == EINTR) {
        }
        m_server = -1;
    }
}

}  // namespace simset
