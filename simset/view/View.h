// The page in the browser: serves it, what it shows and what it does.
#ifndef SIMSET_VIEW_VIEW_H
#define SIMSET_VIEW_VIEW_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "simset/board/panel/Screenshot.h"
#include "simset/control/Verbs.h"
#include "simset/core/trace/TraceLog.h"
#include "simset/server/ThreadServer.h"
#include "simset/view/Gate.h"

namespace simset {

// Serves the page and lives on the trace and on the verbs of `simset ctl` alone:
//
//   GET /                 the page, and its files beside it
//   GET /events?since=N   server-sent events: "hello" with facts, "rows" with the trace's rows above N as lines,
//   each
//                         with the number of its last row as id; "ended" when the trace is closed
//   GET /panel.png        the panel, with an ETag of its picture
//   POST /ctl             a list of verbs, each a list of words; answers with as many {"ok":true,"out":…} or
//                         {"ok":false,"error":…}
//
// Each connection has a thread.
class View {
  public:
    struct Parts {
        const TraceLog& trace;
        std::function<std::string(const Words& words)> control;  // carries a verb out, as ctl would
        std::function<Screenshot()> screenshot;                  // throws std::exception when there is no panel
        std::string state;                                       // the state folder, for commands to copy
    };

    // Listens from now on. Throws std::system_error when the address cannot be had.
    View(const ViewOptions& options, Parts parts);

    // Ends every connection, event streams too, and waits for verbs that are being carried out. Streams get a
    // moment to tell what is left, most of all why simset ends; a browser that does not read holds nobody up.
    ~View();

    // What to open, with the token.
    const std::string& Url() const { return m_url; }

  private:
    using Clock = std::chrono::steady_clock;

    void Serve(int socket);
    // False when the connection is to end.
    bool Answer(int socket, const HttpRequest& request);
    void Stream(int socket, const HttpRequest& request);
    void SendTrace(int socket, std::uint64_t since);
    HttpAnswer CarryOut(const std::string& body) const;
    HttpAnswer Panel(const HttpRequest& request);
    HttpAnswer Route(const HttpRequest& request);

    Parts m_parts;
    Gate m_gate;
    std::string m_url;
    std::atomic<bool> m_ending{false};

    std::mutex m_streamMutex;  // guards what follows
    std::condition_variable m_streamEnded;
    unsigned m_streams = 0;

    std::mutex m_pictureMutex;  // guards what follows
    Clock::time_point m_pictureTime;
    std::string m_pictureTag;
    std::string m_picture;  // PNG

    ThreadServer m_server;  // last: its threads use everything above
};

}  // namespace simset

#endif
