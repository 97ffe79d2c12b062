#include "simset/view/Http.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/beast/http.hpp>
#include <cctype>
#include <cerrno>

namespace simset {
namespace {

namespace http = boost::beast::http;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadBytes = 16384;
constexpr int kHexBase = 16;

// What a browser may do with what comes from here: run and show the page's own files, ask this server, and no
// more.
constexpr const char* kEveryAnswer =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; "
    "connect-src 'self'; form-action 'none'; base-uri 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "X-Frame-Options: DENY\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Cache-Control: no-store\r\n";

// Waits until bytes or the end have come; false when the time is over.
bool AwaitBytes(int socket, Clock::time_point until) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        pollfd poll{socket, POLLIN, 0};
        const int ready = ::poll(&poll, 1, static_cast<int>(std::max<long long>(left, 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

// "%41+b" as "A b"; nothing when it is malformed.
std::optional<std::string> Decoded(const std::string& text, bool plusIsBlank) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+' && plusIsBlank) {
            out += ' ';
        } else if (text[i] != '%') {
            out += text[i];
        } else {
            const std::string digits = text.substr(i + 1, 2);
            const auto isDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
            if (digits.size() != 2 || !std::all_of(digits.begin(), digits.end(), isDigit)) {
                return std::nullopt;
            }
            out += static_cast<char>(std::stoi(digits, nullptr, kHexBase));
            i += 2;
        }
    }
    return out;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool Convert(const http::request<http::string_body>& message, HttpRequest& request) {
    request = {};
    request.method = std::string(message.method_string());
    request.body = message.body();
    request.keepAlive = message.keep_alive();
    for (const auto& field : message) {
        // A header that comes twice could be read one way here and another way before: none of ours may.
        const std::string name = Lower(std::string(field.name_string()));
        if (!request.headers.emplace(name, std::string(field.value())).second && name == "host") {
            return false;
        }
    }
    return ParseTarget(std::string(message.target()), request);
}

}  // namespace

bool ParseTarget(const std::string& target, HttpRequest& request) {
    if (target.empty() || target.front() != '/') {
        return false;
    }
    const std::size_t mark = target.find('?');
    const auto path = Decoded(target.substr(0, mark), false);
    if (!path) {
        return false;
    }
    request.path = *path;
    std::size_t at = mark == std::string::npos ? target.size() : mark + 1;
    while (at < target.size()) {
        const std::size_t end = std::min(target.find('&', at), target.size());
        const std::string pair = target.substr(at, end - at);
        const std::size_t equals = std::min(pair.find('='), pair.size());
        const auto name = Decoded(pair.substr(0, equals), true);
        const auto value = Decoded(equals == pair.size() ? "" : pair.substr(equals + 1), true);
        if (!name || !value) {
            return false;
        }
        request.query.emplace(*name, *value);
        at = end + 1;
    }
    return true;
}

HttpReader::Outcome HttpReader::Next(HttpRequest& request, std::chrono::milliseconds idle,
                                     std::chrono::milliseconds patience) {
    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.header_limit(kMaxHeaderBytes);
    parser.body_limit(kMaxBodyBytes);
    Clock::time_point until = Clock::now() + (m_rest.empty() ? idle : patience);
    bool begun = !m_rest.empty();
    while (!parser.is_done()) {
        if (!m_rest.empty()) {
            boost::beast::error_code error;
            const std::size_t used = parser.put(boost::asio::buffer(m_rest), error);
            m_rest.erase(0, used);
            if (error == http::error::header_limit || error == http::error::body_limit) {
                return Outcome::TooLarge;
            }
            if (error && error != http::error::need_more) {
                return Outcome::Malformed;
            }
            if (parser.is_done()) {
                break;
            }
        }
        std::array<char, kReadBytes> bytes{};
        if (!AwaitBytes(m_socket, until)) {
            return Outcome::Ended;
        }
        const ssize_t count = ::recv(m_socket, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return Outcome::Ended;
        }
        if (!begun) {
            begun = true;
            until = Clock::now() + patience;
        }
        m_rest.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return Convert(parser.get(), request) ? Outcome::Request : Outcome::Malformed;
}

std::string HttpHead(const HttpAnswer& answer, std::optional<std::size_t> length, bool keepAlive) {
    std::string head =
        "HTTP/1.1 " + std::to_string(answer.status) + ' ' +
        std::string(http::obsolete_reason(http::int_to_status(static_cast<unsigned>(answer.status)))) + "\r\n";
    if (!answer.type.empty()) {
        head += "Content-Type: " + answer.type + "\r\n";
    }
    if (length) {
        head += "Content-Length: " + std::to_string(*length) + "\r\n";
    }
    head += kEveryAnswer;
    for (const auto& [name, value] : answer.headers) {
        head += name;
        head += ": " + value + "\r\n";
    }
    head += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    return head;
}

}  // namespace simset
