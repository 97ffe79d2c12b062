#include "simset/wire/Message.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "simset/server/UnixServer.h"

namespace simset {
namespace {

constexpr std::size_t kMaxFds = 8;
using Header = std::array<std::uint32_t, 2>;

void AppendU32(std::string& out, std::size_t value) {
    const auto narrow = static_cast<std::uint32_t>(value);
    char bytes[sizeof narrow];
    std::memcpy(bytes, &narrow, sizeof narrow);
    out.append(bytes, sizeof narrow);
}

bool ReceiveAll(int socket, char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t got = ::recv(socket, data, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

bool SendMessage(int socket, const std::vector<std::string>& parts, const std::vector<int>& fds) {
    std::string body;
    for (const std::string& part : parts) {
        AppendU32(body, part.size());
        body += part;
    }
    Header header{static_cast<std::uint32_t>(parts.size()), static_cast<std::uint32_t>(body.size())};

    iovec vec{header.data(), sizeof header};
    msghdr msg{};
    msg.msg_iov = &vec;
    msg.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxFds * sizeof(int))] = {};
    if (!fds.empty() && fds.size() <= kMaxFds) {
        msg.msg_control = control;
        msg.msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
        cmsghdr* cmsg = CMSG_FIRSTHDR(&msg);
        cmsg->cmsg_level = SOL_SOCKET;
        cmsg->cmsg_type = SCM_RIGHTS;
        cmsg->cmsg_len = CMSG_LEN(fds.size() * sizeof(int));
        std::memcpy(CMSG_DATA(cmsg), fds.data(), fds.size() * sizeof(int));
    }
    ssize_t sent = 0;
    do {
        sent = ::sendmsg(socket, &msg, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    // A stream socket with room for nothing at all blocks; eight bytes are never split.
    if (sent != static_cast<ssize_t>(sizeof header)) {
        return false;
    }
    return SendAll(socket, body.data(), body.size());
}

std::optional<Message> ReceiveMessage(int socket) {
    Message message;
    Header header{};
    iovec vec{header.data(), sizeof header};
    msghdr msg{};
    msg.msg_iov = &vec;
    msg.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxFds * sizeof(int)) + CMSG_SPACE(sizeof(ucred))] = {};
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    ssize_t got = 0;
    do {
        got = ::recvmsg(socket, &msg, MSG_CMSG_CLOEXEC | MSG_WAITALL);
    } while (got < 0 && errno == EINTR);
    for (cmsghdr* cmsg = CMSG_FIRSTHDR(&msg); got > 0 && cmsg != nullptr; cmsg = CMSG_NXTHDR(&msg, cmsg)) {
        if (cmsg->cmsg_level == SOL_SOCKET && cmsg->cmsg_type == SCM_RIGHTS) {
            const std::size_t count = (cmsg->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (std::size_t i = 0; i < count; ++i) {
                int fd = -1;
                std::memcpy(&fd, CMSG_DATA(cmsg) + i * sizeof(int), sizeof fd);
                message.fds.emplace_back(fd);
            }
        } else if (cmsg->cmsg_level == SOL_SOCKET && cmsg->cmsg_type == SCM_CREDENTIALS) {
            ucred credentials{};
            std::memcpy(&credentials, CMSG_DATA(cmsg), sizeof credentials);
            message.sender = credentials.pid;
        }
    }
    if (got != static_cast<ssize_t>(sizeof header) || header[1] > kMaxMessageBytes) {
        return std::nullopt;
    }
    std::string body(header[1], '\0');
    if (!ReceiveAll(socket, body.data(), body.size())) {
        return std::nullopt;
    }
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < header[0]; ++i) {
        std::uint32_t length = 0;
        if (body.size() - at < sizeof length) {
            return std::nullopt;
        }
        std::memcpy(&length, body.data() + at, sizeof length);
        at += sizeof length;
        if (body.size() - at < length) {
            return std::nullopt;
        }
        message.parts.push_back(body.substr(at, length));
        at += length;
    }
    return message;
}

}  // namespace simset
