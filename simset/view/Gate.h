// Who may use the view: address, token, and which requests are refused.
#ifndef SIMSET_VIEW_GATE_H
#define SIMSET_VIEW_GATE_H

#include <cstdint>
#include <optional>
#include <string>

#include "simset/view/Http.h"

namespace simset {

// Where the view listens.
struct ViewAddress {
    std::string host = "127.0.0.1";  // an IP address, IPv6 without brackets
    std::uint16_t port = 0;          // 0: a free one

    bool IsLoopback() const;
    // "127.0.0.1:8080", "[::1]:8080"
    std::string Text() const;
};

// What the view was asked for.
struct ViewOptions {
    ViewAddress address;
    std::string token;  // empty: none is asked for
};

// The address that "127.0.0.1:8080", "8080", ":8080" or "[::1]:0" names; nothing for any other text, names of
// computers among them.
std::optional<ViewAddress> ParseViewAddress(const std::string& text);

// Whether a text can be a token: 1 to 64 letters, digits, '-' and '_'.
bool IsToken(const std::string& text);

// A token that nobody guesses.
std::string RandomToken();

// Judges requests before anything else looks at them. Thread-safe.
//
// A page from elsewhere that the user's browser shows can send requests here, and by a name whose address changes
// (DNS rebinding) even read the answers. So a request must name an address and not a computer, must not come from
// another origin, and must have the token, which such a page cannot know.
class Gate {
  public:
    // `token` empty: none is asked for.
    explicit Gate(std::string token) : m_token(std::move(token)) {}

    // The refusal, or nothing when the request may go on. The page's own files need no token; what tells of the
    // set, and what acts on it, does.
    std::optional<HttpAnswer> Refusal(const HttpRequest& request, bool needsToken) const;

  private:
    std::string m_token;
};

}  // namespace simset

#endif
