// What travels between the client libraries and the middleware: one JSON object per line over a Unix socket.
//
// Texts of a set are bytes and need not be UTF-8; a text that is not travels as {"$hex":"…"}.
#ifndef SIMSET_WIRE_WIRE_H
#define SIMSET_WIRE_WIRE_H

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

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

// A file descriptor that is closed at the end.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(other.Release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    ~UniqueFd();

    int Get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    int Release();

  private:
    int m_fd = -1;
};

// The address of a Unix socket and its length; a leading '@' of `path` stands for an abstract name. Nothing when
// `path` is empty or longer than an address holds.
struct UnixAddress {
    sockaddr_un address;
    socklen_t length;
};
std::optional<UnixAddress> MakeUnixAddress(const std::string& path);

// A stream of lines over a connected socket. One thread may send while another one receives.
class LineSocket {
  public:
    LineSocket() = default;
    explicit LineSocket(UniqueFd fd) : m_fd(std::move(fd)) {}

    explicit operator bool() const { return static_cast<bool>(m_fd); }
    int Fd() const { return m_fd.Get(); }

    // False when the other end is gone; raises no signal.
    bool Send(const nlohmann::json& message);

    // The next line. False at the end of the stream, on an error, at a time-out of the socket and when a line is
    // longer than kMaxLine.
    bool Receive(std::string& line);

  private:
    UniqueFd m_fd;
    std::string m_received;
};

}  // namespace simset

#endif
