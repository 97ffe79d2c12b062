// A server that answers each connection on a thread of its own.
#ifndef SIMSET_SERVER_THREADSERVER_H
#define SIMSET_SERVER_THREADSERVER_H

#include <sys/socket.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "simset/base/Descriptor.h"
#include "simset/base/WakeUp.h"

namespace simset {

// Sends all of `size` bytes; false when the other end is gone, without a signal.
bool SendAll(int socket, const char* data, std::size_t size);

class ThreadServer {
  public:
    // Serves one connection, on its thread; the connection ends when it returns. Must not throw.
    using Serve = std::function<void(int socket)>;

    // Accepts connections of a listening socket from now on.
    ThreadServer(Descriptor listener, Serve serve);

    // As Stop(SHUT_RDWR).
    ~ThreadServer();

    ThreadServer(const ThreadServer&) = delete;
    ThreadServer& operator=(const ThreadServer&) = delete;

    // Accepts nobody any more, ends what the connections read (SHUT_RD) or read and write (SHUT_RDWR), and waits
    // for their threads. One thread, which is none of theirs; what comes after the first time does nothing.
    void Stop(int how);

    // Ends every connection both ways without waiting for its thread. Any thread.
    void DropConnections() { Shutdown(SHUT_RDWR); }

    // Waits until no connection is served any more. Not for their threads, nor with a lock held that they take.
    void AwaitNone();

    // While not open, who connects is sent away. Any thread.
    void SetOpen(bool open) { m_open = open; }

  private:
    struct Connection {
        Descriptor socket;
        bool done = false;
        std::thread thread;
    };

    void Accept();
    void Reap();
    void Shutdown(int how);

    Serve m_serve;
    Descriptor m_listener;
    WakeUp m_stop;
    std::atomic<bool> m_open{true};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

}  // namespace simset

#endif
