// Local sockets: connecting to one, and a server that answers each connection on a thread of its own.
#ifndef SIMSET_BASE_UNIXSERVER_H
#define SIMSET_BASE_UNIXSERVER_H

#include <sys/socket.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "simset/base/Descriptor.h"
#include "simset/base/WakeUp.h"

namespace simset {

// A connection to the local socket `path`, at most 107 bytes; a leading '@' stands for an abstract name. Owns
// nothing when nobody listens there.
Descriptor ConnectTo(const std::string& path);

// Sends all of `size` bytes; false when the other end is gone, without a signal.
bool SendAll(int socket, const char* data, std::size_t size);

class UnixServer {
  public:
    // Serves one connection, on its thread; the connection ends when it returns. Must not throw.
    using Serve = std::function<void(int socket)>;

    // Listens at `path` (as ConnectTo takes it), replacing a socket left over. Throws std::system_error.
    UnixServer(const std::string& path, Serve serve);

    // Accepts nobody any more, ends what the connections read, and waits until they have answered what was asked
    // before; removes the socket file.
    ~UnixServer();

    UnixServer(const UnixServer&) = delete;
    UnixServer& operator=(const UnixServer&) = delete;

    // Ends every connection both ways without waiting for its thread. Any thread.
    void DropConnections() { Shutdown(SHUT_RDWR); }

    // While not open, who connects is sent away. Any thread.
    void SetOpen(bool open) { m_open = open; }

  private:
    struct Connection {
        Descriptor socket;
        std::atomic<bool> done{false};
        std::thread thread;
    };

    void Accept();
    void Reap();
    void Shutdown(int how);

    std::string m_path;
    Serve m_serve;
    Descriptor m_listener;
    WakeUp m_stop;
    std::atomic<bool> m_open{true};
    std::mutex m_mutex;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

}  // namespace simset

#endif
