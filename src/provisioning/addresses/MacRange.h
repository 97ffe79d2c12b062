// Arithmetic of MAC address ranges: "START--END" lines, read pair by pair and handled as two 24-bit halves. No
// I/O.
#ifndef ZELFAC_PROVISIONING_ADDRESSES_MACRANGE_H
#define ZELFAC_PROVISIONING_ADDRESSES_MACRANGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

constexpr std::size_t kMacTextLength = 17;                       // six pairs and what separates them
constexpr std::size_t kMacRangeLength = 2 * kMacTextLength + 2;  // two addresses and "--"
constexpr std::int32_t kMacHalfMax = 0xFFFFFF;

// An address by its halves. Digits beyond F count as 16 and more, so a half may exceed 24 bits.
struct MacAddress {
    std::int32_t upper;
    std::int32_t lower;
};

// The digits and letters of `text` in order, at most twelve. A pair ends after two of them or at any other
// character; nothing when a seventh pair begins.
std::optional<std::string> CollectMacDigits(std::string_view text);

// The number that `text` writes in hexadecimal, with or without 0x, up to the first character that is neither
// digit nor letter. Letters of either case; those beyond F count on from 16. Modulo 2 to the power of 32.
std::int32_t HexTextToNumber(std::string_view text);

// Whether `digits` are those of an address: twelve, and no letter beyond F.
bool AreMacDigits(std::string_view digits);

// Whether `text` is an address: six pairs of such digits, one character between two of them.
bool IsMacText(std::string_view text);

// The address whose halves the first six and the last six of the digits write.
MacAddress MacFromDigits(std::string_view digits);

bool operator==(const MacAddress& a, const MacAddress& b);

// Whether both addresses are addresses and `start` is not beyond `end`.
bool IsMacRange(const MacAddress& start, const MacAddress& end);

// The twelve upper-case digits of the address after `start`; nothing when that lies beyond `end`.
std::optional<std::string> NextMacDigits(const MacAddress& start, const MacAddress& end);

// The line of a range file, line end included, from the digits of its two addresses.
std::string MacRangeLine(const std::string& startDigits, const std::string& endDigits);

}  // namespace zel

#endif
