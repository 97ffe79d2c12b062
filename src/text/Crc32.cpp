#include "text/Crc32.h"

#include <array>

namespace zel {
namespace {

constexpr std::uint32_t kPolynomial = 0xEDB88320;
constexpr std::size_t kStep = 8;  // bytes taken at once

using Tables = std::array<std::array<std::uint32_t, 256>, kStep>;

// Table k tells what a byte does to the register when k more bytes follow it in the same step.
constexpr Tables MakeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? kPolynomial : 0);
        }
        tables[0][byte] = crc;
    }
    for (std::size_t k = 1; k < kStep; ++k) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[k - 1][byte];
            tables[k][byte] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

// Least significant byte first on every machine; compilers make one load of it where they can.
std::uint32_t Load(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

}  // namespace

std::uint32_t Crc32(const std::uint8_t* bytes, std::uint32_t running, std::size_t size) {
    std::uint32_t crc = ~running;
    for (; size >= kStep; size -= kStep, bytes += kStep) {
        const std::uint32_t low = Load(bytes) ^ crc;
        const std::uint32_t high = Load(bytes + 4);
        crc = kTables[7][low & 0xFF] ^ kTables[6][low >> 8 & 0xFF] ^ kTables[5][low >> 16 & 0xFF] ^
              kTables[4][low >> 24] ^ kTables[3][high & 0xFF] ^ kTables[2][high >> 8 & 0xFF] ^
              kTables[1][high >> 16 & 0xFF] ^ kTables[0][high >> 24];
    }
    for (; size > 0; --size, ++bytes) {
        crc = crc >> 8 ^ kTables[0][(crc ^ *bytes) & 0xFF];
    }
    return ~crc;
}

}  // namespace zel
