#include "simset/server/UnixServer.h"

#include <sys/stat.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>

namespace simset {
namespace {

constexpr int kBacklog = 64;

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
        const int code = errno;
        socket.Reset();
        errno = code;
    }
    return socket;
}

UnixServer::UnixServer(const std::string& path, ThreadServer::Serve serve)
    : m_path(path), m_server(ListenOn(path), std::move(serve)) {}

UnixServer::~UnixServer() {
    if (m_path.front() != '@') {
        ::unlink(m_path.c_str());
    }
    m_server.Stop(SHUT_RD);
}

}  // namespace simset
