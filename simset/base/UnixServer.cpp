#include "simset/base/UnixServer.h"

#include <sys/stat.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>

namespace simset {
namespace {

constexpr int kBacklog = 64;
constexpr int kBackOffMilliseconds = 20;  // when the process has no descriptor left for one more connection

struct Address {
    sockaddr_un name{};
    socklen_t length = 0;

    const sockaddr* Get() const { return static_cast<const sockaddr*>(static_cast<const void*>(&name)); }
};

std::optional<Address> MakeAddress(const std::string& path) {
    Address address;
    if (path.empty() || path.size() >= sizeof address.name.sun_path) {
        return std::nullopt;
    }
    address.name.sun_family = AF_UNIX;
    std::memcpy(address.name.sun_path, path.data(), path.size());
    std::size_t length = offsetof(sockaddr_un, sun_path) + path.size();
    if (path.front() == '@') {
        address.name.sun_path[0] = '\0';
    } else {
        ++length;
    }
    address.length = static_cast<socklen_t>(length);
    return address;
}

Descriptor NewSocket() {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

Descriptor ListenOn(const std::string& path) {
    const auto address = MakeAddress(path);
    if (!address) {
        throw SystemError("the socket's path \"" + path + "\" is empty or too long: use a shorter state folder",
                          ENAMETOOLONG);
    }
    Descriptor socket = NewSocket();
    struct stat status {};
    if (path.front() != '@' && ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        ::unlink(path.c_str());
    }
    if (!socket || ::bind(socket.Get(), address->Get(), address->length) != 0 ||
        ::listen(socket.Get(), kBacklog) != 0) {
        throw SystemError("cannot listen on " + path);
    }
    return socket;
}

}  // namespace

Descriptor ConnectTo(const std::string& path) {
    const auto address = MakeAddress(path);
    Descriptor socket = address ? NewSocket() : Descriptor();
    if (socket && ::connect(socket.Get(), address->Get(), address->length) != 0) {
        socket.Reset();
    }
    return socket;
}

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

UnixServer::UnixServer(const std::string& path, Serve serve)
    : m_path(path), m_serve(std::move(serve)), m_listener(ListenOn(path)) {
    m_acceptor = std::thread([this] { Accept(); });
}

UnixServer::~UnixServer() {
    if (m_path.front() != '@') {
        ::unlink(m_path.c_str());
    }
    m_stop.Signal();
    m_acceptor.join();
    Shutdown(SHUT_RD);
    for (Connection& connection : m_connections) {
        connection.thread.join();
    }
}

void UnixServer::Accept() {
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
                connection.done = true;
            });
        } catch (const std::system_error&) {
            m_connections.pop_back();
        }
    }
}

void UnixServer::Reap() {
    const std::lock_guard lock(m_mutex);
    m_connections.remove_if([](Connection& connection) {
        const bool done = connection.done;
        if (done) {
            connection.thread.join();
        }
        return done;
    });
}

void UnixServer::Shutdown(int how) {
    const std::lock_guard lock(m_mutex);
    for (const Connection& connection : m_connections) {
        ::shutdown(connection.socket.Get(), how);
    }
}

}  // namespace simset
