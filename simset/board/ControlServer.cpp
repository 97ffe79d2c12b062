#include "simset/board/ControlServer.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <stdexcept>

#include "simset/board/Errors.h"
#include "simset/board/Message.h"

namespace simset {
namespace {

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw SystemError(path, ENAMETOOLONG);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

const sockaddr* Generic(const sockaddr_un& address) {
    return static_cast<const sockaddr*>(static_cast<const void*>(&address));
}

}  // namespace

ControlServer::ControlServer(const std::string& path, Handler handler)
    : m_path(path), m_handler(std::move(handler)), m_listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = AddressOf(path);
    ::unlink(path.c_str());
    if (!m_listener || ::bind(m_listener.Get(), Generic(address), sizeof address) != 0 ||
        ::listen(m_listener.Get(), SOMAXCONN) != 0) {
        throw SystemError("control socket");
    }
    m_acceptor = std::thread([this] { Accept(); });
}

ControlServer::~ControlServer() {
    ::unlink(m_path.c_str());
    ::shutdown(m_listener.Get(), SHUT_RDWR);
    m_acceptor.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const Connection& connection : m_connections) {
            ::shutdown(connection.socket.Get(), SHUT_RD);
        }
    }
    Sweep(true);
}

void ControlServer::Accept() {
    for (;;) {
        Fd socket(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) {
            if (errno == EINTR || errno == ECONNABORTED) {
                continue;
            }
            return;
        }
        Sweep(false);
        const std::lock_guard lock(m_mutex);
        Connection& connection = m_connections.emplace_back();
        connection.socket = std::move(socket);
        connection.thread = std::thread([this, &connection] { Serve(connection); });
    }
}

void ControlServer::Serve(Connection& connection) {
    const std::optional<Message> request = ReceiveMessage(connection.socket.Get());
    if (request && request->parts.size() >= 2) {
        ControlReply reply;
        try {
            reply = m_handler(request->parts[0], {request->parts.begin() + 1, request->parts.end()});
        } catch (const std::exception& error) {
            reply = {false, "", error.what()};
        }
        SendMessage(connection.socket.Get(), {reply.ok ? "ok" : "error", reply.out, reply.error});
    }
    ::shutdown(connection.socket.Get(), SHUT_RDWR);
    const std::lock_guard lock(m_mutex);
    connection.done = true;
}

void ControlServer::Sweep(bool all) {
    std::list<Connection> ended;
    {
        const std::lock_guard lock(m_mutex);
        for (auto it = m_connections.begin(); it != m_connections.end();) {
            const auto next = std::next(it);
            if (all || it->done) {
                ended.splice(ended.end(), m_connections, it);
            }
            it = next;
        }
    }
    for (Connection& connection : ended) {
        connection.thread.join();
    }
}

ControlReply CallControl(const std::string& path, const std::string& folder,
                         const std::vector<std::string>& verb) {
    const Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = AddressOf(path);
    if (!socket || ::connect(socket.Get(), Generic(address), sizeof address) != 0) {
        throw NoSetError("no set answers");
    }
    std::vector<std::string> parts{folder};
    parts.insert(parts.end(), verb.begin(), verb.end());
    std::optional<Message> answer;
    if (SendMessage(socket.Get(), parts)) {
        answer = ReceiveMessage(socket.Get());
    }
    if (!answer || answer->parts.size() != 3) {
        throw std::runtime_error("simset ended before it answered");
    }
    return {answer->parts[0] == "ok", answer->parts[1], answer->parts[2]};
}

}  // namespace simset
