// CRC-32 of IEEE 802.3: reflected polynomial 0xEDB88320, register complemented before and after.
#ifndef ZELFAC_TEXT_CRC32_H
#define ZELFAC_TEXT_CRC32_H

#include <cstddef>
#include <cstdint>

namespace zel {

// The CRC of what gave `running` (0: nothing yet) followed by `size` bytes. `bytes` may be null when `size` is 0
// and need not be aligned. Any thread.
std::uint32_t Crc32(const std::uint8_t* bytes, std::uint32_t running, std::size_t size);

}  // namespace zel

#endif
