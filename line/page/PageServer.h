// The operator's page of a station, served to a browser.
#ifndef ZELLINE_PAGE_PAGESERVER_H
#define ZELLINE_PAGE_PAGESERVER_H

#include <memory>
#include <string>

#include "station/Station.h"

namespace zelline {

// Serves the page from the moment it is made until it goes. Any thread may call.
//
// Whoever reaches it can begin and stop units. So it listens where the station's file says, which is this machine
// alone unless that has a token, and other pages in the same browser get nothing: a request must name an address
// and not a computer (whose name can be made to lead here), must not come from another origin, must have the token
// where there is one, and what acts must be JSON, which a form of another page cannot send.
class PageServer {
  public:
    // Throws Error with Exit::Unusable when the address cannot be listened at, or the file's language is none.
    explicit PageServer(Station& station);
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;
    ~PageServer();

    // To be opened in a browser; with the token where there is one.
    std::string Url() const;

  private:
    class Server;
    std::unique_ptr<Server> m_server;
};

}  // namespace zelline

#endif
