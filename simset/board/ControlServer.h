#ifndef SIMSET_BOARD_CONTROL_SERVER_H
#define SIMSET_BOARD_CONTROL_SERVER_H

#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "simset/board/Fd.h"

namespace simset {

/// What a verb of `simset ctl` gave.
struct ControlReply {
    bool ok = true;
    std::string out;    ///< for standard output, byte by byte
    std::string error;  ///< one line for standard error when not ok
};

/// Listens for `simset ctl` on a socket file. A connection carries one request, {FOLDER, VERB, ARGUMENT…} with the
/// caller's working folder, and one answer, {"ok" or "error", OUT, ERROR}.
class ControlServer {
  public:
    /// Runs on a thread of its own per connection.
    using Handler = std::function<ControlReply(const std::string& folder, const std::vector<std::string>& verb)>;

    /// Listens at `path`, replacing a socket left over. Throws std::system_error.
    ControlServer(const std::string& path, Handler handler);

    /// Answers the requests that are being carried out, then ends; removes the socket file.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

  private:
    struct Connection {
        Fd socket;
        std::thread thread;
        bool done = false;
    };
    void Accept();
    void Serve(Connection& connection);
    void Sweep(bool all);

    std::string m_path;
    Handler m_handler;
    Fd m_listener;
    std::mutex m_mutex;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

/// Nobody listens at a control socket: no simset runs on its state folder.
class NoSetError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The other end: sends one verb to the simset whose socket is at `path`. Throws NoSetError when nobody listens
/// there, std::runtime_error when the answer does not come.
ControlReply CallControl(const std::string& path, const std::string& folder, const std::vector<std::string>& verb);

}  // namespace simset

#endif  // SIMSET_BOARD_CONTROL_SERVER_H
