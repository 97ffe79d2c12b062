#include "simset/board/host/Streams.h"

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "simset/base/Errors.h"

namespace simset {
namespace {

constexpr int kWriteTimeoutMs = 5000;

Descriptor OpenLog(int folder, const char* name, bool fresh) {
    Descriptor fd(::openat(folder, name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | (fresh ? O_TRUNC : 0), 0644));
    if (!fd) {
        throw SystemError(name);
    }
    return fd;
}

}  // namespace

Streams::Streams(int folder, bool fresh)
    : m_outFile(OpenLog(folder, "app.out", fresh)), m_errFile(OpenLog(folder, "app.err", fresh)) {
    ::fcntl(m_in[1].Get(), F_SETFL, O_NONBLOCK);
    m_reader = std::thread([this] { Read(); });
}

Streams::~Streams() {
    CloseApplicationEnds();
    Pause(false);
    m_reader.join();
}

void Streams::CloseApplicationEnds() {
    m_in[0].Reset();
    m_out[1].Reset();
    m_err[1].Reset();
}

void Streams::Pause(bool pause) {
    m_paused = pause;
    m_wake.Signal();
}

void Streams::Write(const std::string& bytes) {
    const std::lock_guard lock(m_inputMutex);
    std::size_t at = 0;
    while (at < bytes.size()) {
        const ssize_t written = ::write(m_in[1].Get(), bytes.data() + at, bytes.size() - at);
        if (written > 0) {
            at += static_cast<std::size_t>(written);
        } else if (errno == EAGAIN) {
            pollfd poll{m_in[1].Get(), POLLOUT, 0};
            if (::poll(&poll, 1, kWriteTimeoutMs) == 0) {
                throw std::runtime_error("the application does not read its standard input");
            }
        } else if (errno != EINTR) {
            throw std::runtime_error("the application's standard input is closed");
        }
    }
}

void Streams::CloseInput() {
    const std::lock_guard lock(m_inputMutex);
    m_in[1].Reset();
}

bool Streams::Keep(const Descriptor& from, const Descriptor& file) {
    std::array<char, 65536> buffer{};
    const ssize_t size = ::read(from.Get(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) {
        return true;
    }
    if (size <= 0) {
        return false;
    }
    if (::write(file.Get(), buffer.data(), static_cast<std::size_t>(size)) != size && !m_warned.exchange(true)) {
        std::fprintf(stderr, "simset: the application's output is not kept: %s\n", std::strerror(errno));
    }
    return true;
}

void Streams::Read() {
    bool outOpen = true;
    bool errOpen = true;
    while (outOpen || errOpen) {
        const bool read = !m_paused;
        std::array<pollfd, 3> polls{pollfd{outOpen && read ? m_out[0].Get() : -1, POLLIN, 0},
                                    pollfd{errOpen && read ? m_err[0].Get() : -1, POLLIN, 0}, m_wake.Poll()};
        ::poll(polls.data(), polls.size(), -1);
        if (polls[2].revents != 0) {
            m_wake.Clear();
        }
        if (polls[0].revents != 0) {
            outOpen = Keep(m_out[0], m_outFile);
        }
        if (polls[1].revents != 0) {
            errOpen = Keep(m_err[0], m_errFile);
        }
    }
}

}  // namespace simset
