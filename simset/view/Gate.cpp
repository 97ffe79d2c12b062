#include "simset/view/Gate.h"

#include <arpa/inet.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>

#include "simset/base/Errors.h"
#include "simset/base/Numbers.h"

namespace simset {
namespace {

constexpr std::size_t kTokenBytes = 16;
constexpr std::size_t kMaxTokenSize = 64;
constexpr int kMaxPort = 65535;

bool IsIpv4(const std::string& text) {
    in_addr ignored{};
    return ::inet_pton(AF_INET, text.c_str(), &ignored) == 1;
}

bool IsIpv6(const std::string& text) {
    in6_addr ignored{};
    return ::inet_pton(AF_INET6, text.c_str(), &ignored) == 1;
}

// The host of "host:port" or "[host]:port"; the port may be missing.
std::string HostOf(const std::string& text) {
    if (!text.empty() && text.front() == '[') {
        const std::size_t end = text.find(']');
        return end == std::string::npos ? std::string() : text.substr(1, end - 1);
    }
    return text.substr(0, text.find(':'));
}

// Only names can be made to lead elsewhere; "localhost" is the browser's own.
bool IsNoName(const std::string& host) {
    return host == "localhost" || IsIpv4(host) || IsIpv6(host);
}

// Takes as long for any text of the same length.
bool IsSame(const std::string& given, const std::string& wanted) {
    unsigned difference = given.size() == wanted.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size() && i < wanted.size(); ++i) {
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(wanted[i]);
    }
    return difference == 0;
}

HttpAnswer Refuse(int status, const std::string& text) {
    HttpAnswer answer;
    answer.status = status;
    answer.body = text + "\n";
    return answer;
}

}  // namespace

bool ViewAddress::IsLoopback() const {
    return host == "::1" || (IsIpv4(host) && host.rfind("127.", 0) == 0);
}

std::string ViewAddress::Text() const {
    return (IsIpv6(host) ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<ViewAddress> ParseViewAddress(const std::string& text) {
    ViewAddress address;
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    const auto number = ParseNumber<int>(port, 0, kMaxPort);
    if (!number) {
        return std::nullopt;
    }
    address.port = static_cast<std::uint16_t>(*number);
    if (colon != std::string::npos && colon > 0) {
        const std::string host = text.substr(0, colon);
        const bool bracketed = host.front() == '[' && host.back() == ']' && host.size() > 2;
        address.host = bracketed ? host.substr(1, host.size() - 2) : host;
        if (!(bracketed ? IsIpv6(address.host) : IsIpv4(address.host))) {
            return std::nullopt;
        }
    }
    return address;
}

bool IsToken(const std::string& text) {
    return !text.empty() && text.size() <= kMaxTokenSize &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; });
}

std::string RandomToken() {
    std::array<unsigned char, kTokenBytes> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw SystemError("getrandom");
    }
    constexpr std::array<char, 17> kDigits{"0123456789abcdef"};
    std::string token;
    for (const unsigned char byte : bytes) {
        token += kDigits[byte >> 4U];
        token += kDigits[byte & 0xFU];
    }
    return token;
}

std::optional<HttpAnswer> Gate::Refusal(const HttpRequest& request, bool needsToken) const {
    const std::string host = request.Header("host");
    if (!IsNoName(HostOf(host))) {
        return Refuse(421, "The view is reached by its address, not by a name.");
    }
    const std::string origin = request.Header("origin");
    if (!origin.empty() && origin != "http://" + host) {
        return Refuse(403, "Requests of other pages are refused.");
    }
    // A browser that says where a request comes from is believed; a link or a bookmark is the user's own doing,
    // but it reads the page and nothing else.
    const std::string site = request.Header("sec-fetch-site");
    if (!site.empty() && site != "same-origin" && site != "none" && needsToken) {
        return Refuse(403, "Requests of other pages are refused.");
    }
    const bool acts = request.method != "GET" && request.method != "HEAD";
    // A form of another page can send this method without asking first, but not this type.
    if (acts && request.Header("content-type") != "application/json") {
        return Refuse(415, "Actions are sent as application/json.");
    }
    if (needsToken && !m_token.empty()) {
        const std::string header = request.Header("x-simset-token");
        const std::string given = header.empty() && !acts ? request.Query("token") : header;
        if (!IsSame(given, m_token)) {
            return Refuse(403, "The token is missing or wrong: the line of JSON that simset printed has the URL.");
        }
    }
    return std::nullopt;
}

}  // namespace simset
