#include "simset/server/ThreadServer.h"

#include <algorithm>
#include <array>
#include <system_error>

namespace simset {
namespace {

constexpr int kBackOffMilliseconds = 20;  // when the process has no descriptor left for one more connection

}  // namespace

bool SendAll(int socket, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t sent = ::send(socket, data, size, MSG_NOSIGNAL);
        if (sent >= 0) {
            data += sent;
            size -= static_cast<std::size_t>(sent);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

ThreadServer::ThreadServer(Descriptor listener, Serve serve)
    : m_serve(std::move(serve)), m_listener(std::move(listener)) {
    m_acceptor = std::thread([this] { Accept(); });
}

ThreadServer::~ThreadServer() {
    Stop(SHUT_RDWR);
}

void ThreadServer::Stop(int how) {
    if (!m_acceptor.joinable()) {
        return;
    }
    m_stop.Signal();
    m_acceptor.join();
    Shutdown(how);
    for (Connection& connection : m_connections) {
        connection.thread.join();
    }
    m_connections.clear();
}

void ThreadServer::Accept() {
    for (;;) {
        std::array<pollfd, 2> polls{pollfd{m_listener.Get(), POLLIN, 0}, m_stop.Poll()};
        if (::poll(polls.data(), polls.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        if (polls[1].revents != 0) {
            return;
        }
        Reap();
        Descriptor socket(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) {
            ::poll(&polls[1], 1, kBackOffMilliseconds);
            continue;
        }
        const std::lock_guard lock(m_mutex);
        if (!m_open) {
            continue;
        }
        Connection& connection = m_connections.emplace_back();
        connection.socket = std::move(socket);
        try {
            connection.thread = std::thread([this, &connection] {
                m_serve(connection.socket.Get());
                ::shutdown(connection.socket.Get(), SHUT_RDWR);
                const std::lock_guard doneLock(m_mutex);
                connection.done = true;
                m_changed.notify_all();
            });
        } catch (const std::system_error&) {
            m_connections.pop_back();
        }
    }
}

void ThreadServer::Reap() {
    const std::lock_guard lock(m_mutex);
    m_connections.remove_if([](Connection& connection) {
        const bool done = connection.done;
        if (done) {
            connection.thread.join();
        }
        return done;
    });
}

void ThreadServer::AwaitNone() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] {
        return std::all_of(m_connections.begin(), m_connections.end(),
                           [](const Connection& connection) { return connection.done; });
    });
}

void ThreadServer::Shutdown(int how) {
    const std::lock_guard lock(m_mutex);
    for (const Connection& connection : m_connections) {
        ::shutdown(connection.socket.Get(), how);
    }
}

}  // namespace simset
