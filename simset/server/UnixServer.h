// Local sockets: connecting to one, and a server on one.
#ifndef SIMSET_SERVER_UNIXSERVER_H
#define SIMSET_SERVER_UNIXSERVER_H

#include <string>

#include "simset/server/ThreadServer.h"

namespace simset {

// A connection to the local socket `path`, at most 107 bytes; a leading '@' stands for an abstract name. Owns
// nothing when nobody listens there.
Descriptor ConnectTo(const std::string& path);

class UnixServer {
  public:
    // Listens at `path` (as ConnectTo takes it), replacing a socket left over. Throws std::system_error.
    UnixServer(const std::string& path, ThreadServer::Serve serve);

    // Accepts nobody any more, ends what the connections read, and waits until they have answered what was asked
    // before; removes the socket file.
    ~UnixServer();

    UnixServer(const UnixServer&) = delete;
    UnixServer& operator=(const UnixServer&) = delete;

    // As those of ThreadServer. Any thread.
    void DropConnections() { m_server.DropConnections(); }
    void AwaitNone() { m_server.AwaitNone(); }
    void SetOpen(bool open) { m_server.SetOpen(open); }

  private:
    std::string m_path;
    ThreadServer m_server;
};

}  // namespace simset

#endif
