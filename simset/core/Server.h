// The middleware's socket: connections of client libraries and reporters, each on a thread of its own.
#ifndef SIMSET_CORE_SERVER_H
#define SIMSET_CORE_SERVER_H

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "simset/core/Notifications.h"
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
    ~Server();

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Ends every connection without waiting for its thread.
    void DropConnections();

    // While not open, who connects is sent away.
    void SetOpen(bool open) { m_open = open; }

  private:
    struct Connection {
        LineSocket socket;
        std::atomic<bool> done{false};
        std::thread thread;
    };

    void Accept();
    void Serve(Connection& connection);
    void Deliver(Connection& connection, const std::string& client);
    void Reap();

    std::string m_path;
    Calls m_calls;
    UniqueFd m_listener;
    UniqueFd m_stop;
    std::atomic<bool> m_open{true};
    std::mutex m_mutex;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

}  // namespace simset

#endif
