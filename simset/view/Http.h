// HTTP as the view speaks it: requests read from a socket, answers written to it.
#ifndef SIMSET_VIEW_HTTP_H
#define SIMSET_VIEW_HTTP_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace simset {

// One request. Names of headers are in small letters.
struct HttpRequest {
    std::string method;
    std::string path;                          // decoded, without the query
    std::map<std::string, std::string> query;  // decoded
    std::map<std::string, std::string> headers;
    std::string body;
    bool keepAlive = true;

    // Empty when there is none.
    std::string Header(const std::string& name) const { return Find(headers, name); }
    std::string Query(const std::string& name) const { return Find(query, name); }

  private:
    static std::string Find(const std::map<std::string, std::string>& texts, const std::string& name) {
        const auto found = texts.find(name);
        return found == texts.end() ? std::string() : found->second;
    }
};

struct HttpAnswer {
    int status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // beside those that every answer has
};

// Takes the path and the query of a request's target apart; false when it is malformed.
bool ParseTarget(const std::string& target, HttpRequest& request);

// Reads requests of one connection. Not thread-safe.
class HttpReader {
  public:
    static constexpr std::size_t kMaxHeaderBytes = 16U << 10U;
    static constexpr std::size_t kMaxBodyBytes = 1U << 20U;

    // `socket` stays the caller's.
    explicit HttpReader(int socket) : m_socket(socket) {}

    enum class Outcome { Request, Ended, Malformed, TooLarge };

    // Waits for the next request, up to `idle` for its first byte and `patience` from then on for the rest.
    // `request` is set on Request alone. Ended: the other end left, or took too long.
    Outcome Next(HttpRequest& request, std::chrono::milliseconds idle, std::chrono::milliseconds patience);

  private:
    int m_socket;
    std::string m_rest;  // received behind the last request
};

// The head of an answer, with the headers that every answer has: what the page may load, and that nobody keeps it.
// `length` nothing: the body goes on until the connection ends.
std::string HttpHead(const HttpAnswer& answer, std::optional<std::size_t> length, bool keepAlive);

}  // namespace simset

#endif
