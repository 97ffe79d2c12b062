// What travels between the client libraries and the middleware: one JSON object per line over a Unix socket.
//
// Texts of a set are bytes and need not be UTF-8; a text that is not travels as {"$hex":"…"}.
#ifndef SIMSET_WIRE_WIRE_H
#define SIMSET_WIRE_WIRE_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "simset/base/Descriptor.h"

namespace simset {

// Longest line that is read, in bytes: far above a key file of the largest kind in hexadecimal.
constexpr std::size_t kMaxLine = 64U << 20U;

// One line without its line end. Never throws for bytes that are not UTF-8.
std::string EncodeLine(const nlohmann::json& message);

// The inverse; nothing when `line` is not JSON or is nested deeper than any message is.
std::optional<nlohmann::json> DecodeLine(const std::string& line);

std::string ToHex(const std::string& bytes);
// Nothing when `hex` is not pairs of hexadecimal digits.
std::optional<std::string> FromHex(const std::string& hex);

// A stream of lines over a connected socket. One thread may send while another one receives.
class LineSocket {
  public:
    LineSocket() = default;
    explicit LineSocket(Descriptor socket) : m_owned(std::move(socket)), m_fd(m_owned.Get()) {}
    // The socket stays the caller's.
    explicit LineSocket(int socket) : m_fd(socket) {}

    explicit operator bool() const { return m_fd >= 0; }
    int Fd() const { return m_fd; }

    // False when the other end is gone; raises no signal.
    bool Send(const nlohmann::json& message);

    // The next line. False at the end of the stream, on an error, at a time-out of the socket and when a line is
    // longer than kMaxLine.
    bool Receive(std::string& line);

  private:
    Descriptor m_owned;
    int m_fd = -1;
    std::string m_received;
};

}  // namespace simset

#endif
