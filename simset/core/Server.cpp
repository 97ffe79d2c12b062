#include "simset/core/Server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "simset/core/Status.h"

namespace simset {

namespace {

constexpr int kBacklog = 64;
constexpr int kBackOffMilliseconds = 20;  // when the process has no descriptor left for one more connection

[[noreturn]] void Fail(int code, const std::string& what) {
    throw std::system_error(code, std::generic_category(), what);
}

UniqueFd ListenOn(const std::string& path) {
    const auto address = MakeUnixAddress(path);
    if (!address) {
        Fail(ENAMETOOLONG, "the socket's path \"" + path + "\" is empty or too long: use a shorter state folder");
    }
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        Fail(errno, "socket");
    }
    struct stat status {};
    if (path.front() != '@' && ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        ::unlink(path.c_str());
    }
    if (::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address->address), address->length) != 0 ||
        ::listen(fd.Get(), kBacklog) != 0) {
        Fail(errno, "cannot listen on " + path);
    }
    return fd;
}

}  // namespace

Server::Server(const std::string& path, Calls calls)
    : m_path(path), m_calls(std::move(calls)), m_listener(ListenOn(path)), m_stop(::eventfd(0, EFD_CLOEXEC)) {
    m_acceptor = std::thread([this] { Accept(); });
}

Server::~Server() {
    ::eventfd_write(m_stop.Get(), 1);
    m_acceptor.join();
    DropConnections();
    for (auto& connection : m_connections) {
        connection.thread.join();
    }
    if (m_path.front() != '@') {
        ::unlink(m_path.c_str());
    }
}

void Server::Accept() {
    for (;;) {
        pollfd waits[] = {{m_listener.Get(), POLLIN, 0}, {m_stop.Get(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (waits[1].revents != 0) {
            return;
        }
        Reap();
        UniqueFd fd(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!fd) {
            ::poll(&waits[1], 1, kBackOffMilliseconds);
            continue;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_open) {
            continue;
        }
        Connection& connection = m_connections.emplace_back();
        connection.socket = LineSocket(std::move(fd));
        try {
            connection.thread = std::thread([this, &connection] { Serve(connection); });
        } catch (const std::system_error&) {
            m_connections.pop_back();
        }
    }
}

void Server::Reap() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto connection = m_connections.begin(); connection != m_connections.end();) {
        if (connection->done) {
            connection->thread.join();
            connection = m_connections.erase(connection);
        } else {
            ++connection;
        }
    }
}

void Server::DropConnections() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& connection : m_connections) {
        ::shutdown(connection.socket.Fd(), SHUT_RDWR);
    }
}

void Server::Serve(Connection& connection) {
    std::string line;
    while (connection.socket.Receive(line)) {
        const auto request = DecodeLine(line);
        nlohmann::json reply;
        if (!request || !request->is_object()) {
            reply = {{"status", kBadRequest}, {"error", "not one JSON object on one line"}};
        } else if (request->value("op", nlohmann::json()) == "hello" && request->contains("client") &&
                   (*request)["client"].is_string()) {
            Deliver(connection, (*request)["client"].get<std::string>());
            break;
        } else {
            reply = m_calls.answer(*request);
        }
        if (!connection.socket.Send(reply)) {
            break;
        }
    }
    ::shutdown(connection.socket.Fd(), SHUT_RDWR);
    connection.done = true;
}

void Server::Deliver(Connection& connection, const std::string& client) {
    const auto queue = m_calls.opened(client);
    if (!queue) {
        connection.socket.Send({{"status", kUnreachable}});
        return;
    }
    bool alive = connection.socket.Send({{"status", kOk}});
    nlohmann::json event;
    while (alive) {
        // Nothing more comes from the process on this connection: readable means that it is gone.
        pollfd waits[] = {{queue->Fd(), POLLIN, 0}, {connection.socket.Fd(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR) {
            break;
        }
        if (waits[1].revents != 0 || queue->Closed()) {
            break;
        }
        while (alive && queue->Pop(event)) {
            alive = connection.socket.Send(event);
        }
    }
    m_calls.closed(client, queue);
}

}  // namespace simset
