// Bytes as hexadecimal text, and texts made safe to print.
#ifndef ZELLINE_WIRE_HEX_H
#define ZELLINE_WIRE_HEX_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/UartFrame.h"
#include "wire/Units.h"

namespace zelline {

// "79 00 12": two upper-case digits per byte, joined by blanks.
std::string ToHex(const std::uint8_t* bytes, std::size_t size);
std::string ToHex(const Bytes& bytes);

// The frame as it goes over the wire.
std::string WireHex(const UartFrame& frame);

// Reads digits in pairs; blanks, commas, colons and "0x" in front of a pair are skipped. Throws Error with
// Exit::Unusable that names the place of the first character that does not fit, or an odd number of digits.
Bytes FromHex(std::string_view text);

// "0x1273".
std::string IdText(std::uint16_t id);

// The id in `text`: hexadecimal with or without "0x", or decimal behind "#". Throws Error with Exit::Unusable.
std::uint16_t ParseId(std::string_view text);

// The bytes of the character that `text`, which is not empty, begins with in UTF-8; 0 when it is none, or none
// that a terminal shows.
std::size_t CharacterSize(std::string_view text);

// `text` with every byte that belongs to no such character written as \xNN, so that a terminal shows it and
// nothing more.
std::string Printable(std::string_view text);

}  // namespace zelline

#endif
