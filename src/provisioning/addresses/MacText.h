// MAC addresses as texts, and random ones for sets that were never given any.
#ifndef ZELFAC_PROVISIONING_ADDRESSES_MACTEXT_H
#define ZELFAC_PROVISIONING_ADDRESSES_MACTEXT_H

#include <array>
#include <cstdint>
#include <string>

namespace zel {

// `minimum` plus a random seed modulo `modulus` (above 0); 0 when there is no source of randomness. Any thread.
std::uint32_t getrandom(std::uint32_t minimum, std::uint32_t modulus);

// "0" to "9", "A" to "F"; '0' above 15.
char NibbleToHex(std::uint32_t nibble);

// XX:XX:XX:XX:XX:XX, upper case.
std::string MacText(const std::array<std::uint8_t, 6>& address);

// 00:00:00 and three random bytes that are not all 0, unless there is no source of randomness. Any thread.
std::string RandomMacText();

}  // namespace zel

#endif
