#include "provisioning/addresses/MacText.h"

#include <cstdio>

#include "os/File.h"

namespace zel {
namespace {

constexpr char kSourceName[] = "./src/UartManager";
constexpr std::uint32_t kLowerHalfMax = 0xFFFFFF;  // the three bytes of an address that tell sets apart

}  // namespace

std::uint32_t getrandom(std::uint32_t minimum, std::uint32_t modulus) {
    const File source = OpenFile("/dev/urandom", "r");
    if (source == nullptr) {
        return 0;
    }
    std::uint32_t seed = 0;
    if (std::fread(&seed, sizeof seed, 1, source.get()) != 1) {
        return 0;
    }
    std::printf("%s %s *seed=%u\n", kSourceName, "getrandom", seed);
    const std::uint32_t value = seed % modulus + minimum;
    std::printf("%s %s *seed=%d, randval=%d\n", kSourceName, "getrandom", static_cast<std::int32_t>(seed),
                static_cast<std::int32_t>(value));
    return value;
}

char NibbleToHex(std::uint32_t nibble) {
    return nibble < 16 ? "0123456789ABCDEF"[nibble] : '0';
}

std::string MacText(const std::array<std::uint8_t, 6>& address) {
    std::string text;
    for (const std::uint8_t byte : address) {
        if (!text.empty()) {
            text += ':';
        }
        text += NibbleToHex(byte >> 4);
        text += NibbleToHex(byte & 0xF);
    }
    return text;
}

std::string RandomMacText() {
    const std::uint32_t number = getrandom(1, kLowerHalfMax);
    return MacText({0, 0, 0, static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 8),
                    static_cast<std::uint8_t>(number)});
}

}  // namespace zel
