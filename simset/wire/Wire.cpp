#include "simset/wire/Wire.h"

#include <sys/socket.h>

#include <cerrno>

#include "simset/server/UnixServer.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr char kHexMember[] = "$hex";
constexpr int kMaxDepth = 32;

template <typename Change>
void ForEachText(json& value, const Change& change) {
    if (value.is_string()) {
        change(value);
    } else if (value.is_structured()) {
        for (auto& element : value) {
            ForEachText(element, change);
        }
    }
}

bool IsUtf8(const std::string& text) {
    try {
        (void)json(text).dump();
        return true;
    } catch (const json::type_error&) {
        return false;
    }
}

void RestoreTexts(json& value) {
    if (value.is_object() && value.size() == 1 && value.contains(kHexMember) && value[kHexMember].is_string()) {
        const auto bytes = FromHex(value[kHexMember].get_ref<const std::string&>());
        if (bytes) {
            value = json(*bytes);
        }
    } else if (value.is_structured()) {
        for (auto& element : value) {
            RestoreTexts(element);
        }
    }
}

// The parser builds whatever it is given; what walks the result is recursive and wants a bound.
bool TooDeep(const std::string& line) {
    int depth = 0;
    bool inText = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (inText) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inText = false;
            }
        } else if (c == '"') {
            inText = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::string EncodeLine(const json& message) {
    try {
        return message.dump();
    } catch (const json::type_error&) {
        json safe = message;
        ForEachText(safe, [](json& text) {
            const auto& bytes = text.get_ref<const std::string&>();
            if (!IsUtf8(bytes)) {
                text = json{{kHexMember, ToHex(bytes)}};
            }
        });
        // Member names are ours except in reports of other processes.
        return safe.dump(-1, ' ', false, json::error_handler_t::replace);
    }
}

std::optional<json> DecodeLine(const std::string& line) {
    if (TooDeep(line)) {
        return std::nullopt;
    }
    json message = json::parse(line, nullptr, false);
    if (message.is_discarded()) {
        return std::nullopt;
    }
    RestoreTexts(message);
    return message;
}

std::string ToHex(const std::string& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex.push_back(kDigits[byte >> 4U]);
        hex.push_back(kDigits[byte & 15U]);
    }
    return hex;
}

std::optional<std::string> FromHex(const std::string& hex) {
    const auto digit = [](char c) {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        if (c >= 'a' && c <= 'f') {
            return c - 'a' + 10;
        }
        return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    if (hex.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = digit(hex[i]);
        const int low = digit(hex[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

bool LineSocket::Send(const json& message) {
    const std::string line = EncodeLine(message) + '\n';
    return SendAll(m_fd, line.data(), line.size());
}

bool LineSocket::Receive(std::string& line) {
    std::size_t searched = 0;
    for (;;) {
        const std::size_t end = m_received.find('\n', searched);
        if (end != std::string::npos) {
            line.assign(m_received, 0, end);
            m_received.erase(0, end + 1);
            return true;
        }
        searched = m_received.size();
        if (searched > kMaxLine) {
            return false;
        }
        char block[16384];
        const ssize_t count = ::recv(m_fd, block, sizeof(block), 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        m_received.append(block, static_cast<std::size_t>(count));
    }
}

}  // namespace simset
