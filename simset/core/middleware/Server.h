// The middleware's socket: requests of client libraries and reporters, and the events that they wait for.
#ifndef SIMSET_MIDDLEWARE_SERVER_H
#define SIMSET_MIDDLEWARE_SERVER_H

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "simset/core/state/Notifications.h"
#include "simset/server/UnixServer.h"
#include "simset/wire/Wire.h"

namespace simset {

class Server {
  public:
    struct Calls {
        // Answers one request; several at once, on the connections' threads. Must not throw.
        std::function<nlohmann::json(const nlohmann::json& request)> answer;
        // A process wants its events here; null refuses it.
        std::function<std::shared_ptr<EventQueue>(const std::string& client)> opened;
        // The process behind `queue` is gone.
        std::function<void(const std::string& client, const std::shared_ptr<EventQueue>& queue)> closed;
    };

    // Listens at once. Throws std::system_error.
    Server(const std::string& path, Calls calls);
    // Ends all connections and waits for their threads.
    ~Server() { m_server.DropConnections(); }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Ends every connection without waiting for its thread.
    void DropConnections() { m_server.DropConnections(); }

    // Waits until every connection has ended. Not for their threads, nor with a lock held that a call takes.
    void AwaitNone() { m_server.AwaitNone(); }

    // While not open, who connects is sent away.
    void SetOpen(bool open) { m_server.SetOpen(open); }

  private:
    void Serve(int descriptor);
    void Deliver(LineSocket& socket, const std::string& client);

    Calls m_calls;
    UnixServer m_server;
};

}  // namespace simset

#endif
