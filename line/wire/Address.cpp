#include "wire/Address.h"

#include <fmt/format.h>

#include <charconv>

namespace zelline {

std::optional<std::uint64_t> ParseAddress(std::string_view text) {
    constexpr std::size_t kPairs = 6;
    if (text.size() != kPairs * 3 - 1 || (text[2] != ':' && text[2] != '-')) {
        return std::nullopt;
    }
    std::uint64_t address = 0;
    for (std::size_t i = 0; i < kPairs; ++i) {
        const char* at = text.data() + i * 3;
        unsigned byte = 0;
        const auto [end, status] = std::from_chars(at, at + 2, byte, 16);
        if (status != std::errc{} || end != at + 2 || (i + 1 < kPairs && *end != text[2])) {
            return std::nullopt;
        }
        address = address << 8U | byte;
    }
    return address;
}

std::string AddressText(std::uint64_t address) {
    std::string text;
    for (int shift = 40; shift >= 0; shift -= 8) {
        text += fmt::format("{}{:02X}", text.empty() ? "" : ":", address >> static_cast<unsigned>(shift) & 0xFFU);
    }
    return text;
}

std::string AddressDoubt(std::uint64_t address) {
    constexpr std::uint64_t kGroup = 1ULL << 40U;
    if ((address & kGroup) != 0) {
        return fmt::format("'{}' is the address of a group of devices or of all, not one that a set can have",
                           AddressText(address));
    }
    return address == 0 ? fmt::format("'{}' stands for no address", AddressText(address)) : std::string();
}

}  // namespace zelline
