#include "wire/Hex.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "protocol/FrameCodec.h"
#include "wire/Error.h"

namespace zelline {
namespace {

int Digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool IsSeparator(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0 || c == ',' || c == ':';
}

}  // namespace

std::string ToHex(const std::uint8_t* bytes, std::size_t size) {
    std::string text;
    text.reserve(size * 3);
    for (std::size_t i = 0; i < size; ++i) {
        fmt::format_to(std::back_inserter(text), i == 0 ? "{:02X}" : " {:02X}", bytes[i]);
    }
    return text;
}

std::string ToHex(const Bytes& bytes) {
    return ToHex(bytes.data(), bytes.size());
}

std::string WireHex(const UartFrame& frame) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    return ToHex(wire.bytes.data(), wire.size);
}

Bytes FromHex(std::string_view text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (IsSeparator(text[i])) {
            ++i;
            continue;
        }
        if (text[i] == '0' && i + 1 < text.size() && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
            i += 2;
            continue;
        }
        const int high = Digit(text[i]);
        if (high < 0) {
            Fail(Exit::Unusable, "'{}' at position {} is no hexadecimal digit", Printable(text.substr(i, 1)),
                 i + 1);
        }
        const int low = i + 1 < text.size() ? Digit(text[i + 1]) : -1;
        if (low < 0) {
            Fail(Exit::Unusable, "the digit '{}' at position {} stands alone: write two digits per byte", text[i],
                 i + 1);
        }
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
        i += 2;
    }
    return bytes;
}

std::string IdText(std::uint16_t id) {
    return fmt::format("0x{:04X}", id);
}

std::uint16_t ParseId(std::string_view text) {
    std::string_view digits = text;
    int base = 16;
    if (digits.substr(0, 1) == "#") {
        digits.remove_prefix(1);
        base = 10;
    } else if (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X") {
        digits.remove_prefix(2);
    }
    std::uint16_t id = 0;
    const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), id, base);
    if (status != std::errc{} || digits.empty() || end != digits.data() + digits.size()) {
        Fail(Exit::Unusable,
             "'{}' is no command id: write hexadecimal as 0x1297 or 1297, "
             "decimal as #4759; 'zelline commands' lists them",
             Printable(text));
    }
    return id;
}

std::size_t CharacterSize(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x80) {
        return byte(0) >= 0x20 && byte(0) != 0x7F ? 1 : 0;
    }
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < size) {
        return 0;
    }
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    const bool isControl = byte(0) == 0xC2 && byte(1) < 0xA0;
    const bool isTooLong = (byte(0) == 0xE0 && byte(1) < 0xA0) || (byte(0) == 0xF0 && byte(1) < 0x90);
    const bool isNone = (byte(0) == 0xED && byte(1) > 0x9F) || (byte(0) == 0xF4 && byte(1) > 0x8F);
    return isControl || isTooLong || isNone ? 0 : size;
}

std::string Printable(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        if (size > 0) {
            safe.append(text.substr(0, size));
        } else {
            fmt::format_to(std::back_inserter(safe), "\\x{:02X}", static_cast<unsigned char>(text[0]));
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return safe;
}

}  // namespace zelline
