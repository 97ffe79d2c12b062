// MAC addresses as numbers and as texts.
#ifndef ZELLINE_WIRE_ADDRESS_H
#define ZELLINE_WIRE_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelline {

// The 48 bits of six pairs of hexadecimal digits with colons or hyphens between them, all of one kind; nothing for
// any other text.
std::optional<std::uint64_t> ParseAddress(std::string_view text);

// With colons and capitals, as a set stores it.
std::string AddressText(std::uint64_t address);

// Why no set can have that address: it stands for a group of devices, for all, or for none. Empty when it can.
std::string AddressDoubt(std::uint64_t address);

}  // namespace zelline

#endif
