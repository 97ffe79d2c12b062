#include "simset/control/ControlSocket.h"

#include <poll.h>

#include "simset/wire/Message.h"

namespace simset {

ControlServer::ControlServer(const std::string& path, Handler handler)
    : m_handler(std::move(handler)), m_server(path, [this](int socket) { Serve(socket); }) {}

void ControlServer::Serve(int socket) {
    const std::optional<Message> request = ReceiveMessage(socket);
    if (!request || request->parts.size() < 2) {
        return;
    }
    std::vector<std::string> answer{"ok", "", ""};
    try {
        const auto print = [socket](const std::string& text) {
            pollfd gone{socket, 0, 0};  // hung up at both ends: the server itself ends what it reads when it ends
            return ::poll(&gone, 1, 0) == 0 && (text.empty() || SendMessage(socket, {"more", text}));
        };
        answer[1] = m_handler({request->parts[0], print}, {request->parts.begin() + 1, request->parts.end()});
    } catch (const std::exception& error) {
        answer = {"error", "", error.what()};
    }
    SendMessage(socket, answer);
}

void CallControl(const std::string& path, const std::string& folder, const Words& verb,
                 const std::function<void(const std::string& out)>& print) {
    const Descriptor socket = ConnectTo(path);
    if (!socket && errno == EACCES) {
        throw std::runtime_error("the set belongs to another user");
    }
    if (!socket) {
        throw NoSetError("no set answers");
    }
    std::vector<std::string> parts{folder};
    parts.insert(parts.end(), verb.begin(), verb.end());
    std::optional<Message> answer;
    if (SendMessage(socket.Get(), parts)) {
        while ((answer = ReceiveMessage(socket.Get())) && answer->parts.size() == 2) {
            print(answer->parts[1]);
        }
    }
    if (!answer || answer->parts.size() != 3) {
        throw std::runtime_error("simset ended before it answered");
    }
    if (answer->parts[0] != "ok") {
        throw ControlError(answer->parts[2]);
    }
    print(answer->parts[1]);
}

}  // namespace simset
