#include "simset/core/middleware/Server.h"

#include <array>
#include <cerrno>
#include <utility>

#include "simset/base/Status.h"

namespace simset {

Server::Server(const std::string& path, Calls calls)
    : m_calls(std::move(calls)), m_server(path, [this](int socket) { Serve(socket); }) {}

void Server::Serve(int descriptor) {
    LineSocket socket(descriptor);
    std::string line;
    while (socket.Receive(line)) {
        const auto request = DecodeLine(line);
        nlohmann::json reply;
        if (!request || !request->is_object()) {
            reply = {{"status", kBadRequest}, {"error", "not one JSON object on one line"}};
        } else if (request->value("op", nlohmann::json()) == "hello" && request->contains("client") &&
                   (*request)["client"].is_string()) {
            Deliver(socket, (*request)["client"].get<std::string>());
            return;
        } else {
            reply = m_calls.answer(*request);
        }
        if (!socket.Send(reply)) {
            return;
        }
    }
}

void Server::Deliver(LineSocket& socket, const std::string& client) {
    const auto queue = m_calls.opened(client);
    if (!queue) {
        socket.Send({{"status", kUnreachable}});
        return;
    }
    bool alive = socket.Send({{"status", kOk}});
    nlohmann::json event;
    while (alive) {
        // Nothing more comes from the process on this connection: readable means that it is gone.
        std::array<pollfd, 2> polls{pollfd{queue->Fd(), POLLIN, 0}, pollfd{socket.Fd(), POLLIN, 0}};
        if (::poll(polls.data(), polls.size(), -1) < 0 && errno != EINTR) {
            break;
        }
        if (polls[1].revents != 0 || queue->Closed()) {
            break;
        }
        while (alive && queue->Pop(event)) {
            alive = socket.Send(event);
        }
    }
    m_calls.closed(client, queue);
}

}  // namespace simset
