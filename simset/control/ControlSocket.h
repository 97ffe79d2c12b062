// The socket that carries the verbs of `simset ctl` and their answers.
#ifndef SIMSET_CONTROL_CONTROLSOCKET_H
#define SIMSET_CONTROL_CONTROLSOCKET_H

#include <functional>
#include <string>
#include <vector>

#include "simset/base/Errors.h"
#include "simset/control/Verbs.h"
#include "simset/server/UnixServer.h"

namespace simset {

// Listens for `simset ctl` on a socket file. A connection carries one request, {FOLDER, VERB, ARGUMENT…} with the
// caller's working folder, any number of {"more", OUT} as they come, and one answer, {"ok" or "error", OUT,
// ERROR}.
class ControlServer {
  public:
    // Carries a verb out, on a thread of its own per connection, and returns what goes to standard output byte by
    // byte. Whatever std::exception it throws is the answer: one line for standard error.
    using Handler = std::function<std::string(const Caller& caller, const Words& verb)>;

    // Listens at `path`, replacing a socket left over. Throws std::system_error.
    ControlServer(const std::string& path, Handler handler);

  private:
    void Serve(int socket);

    Handler m_handler;
    UnixServer m_server;  // last: its threads use the handler
};

// Nobody listens at a control socket: no simset runs on its state folder.
class NoSetError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The other end: sends one verb to the simset whose socket is at `path` and hands what it prints to `print`, as it
// comes. Throws NoSetError when nobody listens there, ControlError when the verb was refused, std::runtime_error
// when the answer does not come.
void CallControl(const std::string& path, const std::string& folder, const Words& verb,
                 const std::function<void(const std::string& out)>& print);

}  // namespace simset

#endif
