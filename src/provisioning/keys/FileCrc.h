// CRC-32 over files.
#ifndef ZELFAC_PROVISIONING_KEYS_FILECRC_H
#define ZELFAC_PROVISIONING_KEYS_FILECRC_H

#include <cstdint>
#include <string>

namespace zel {

// Computes the CRC-32 of the whole content of the file at `path` into `crc`. Returns 1, or 0 when the CRC is 0
// (an empty file has that one) or the file cannot be read; `crc` is then untouched if it could not be read.
// Any thread.
std::int32_t FileCrc(const std::string& path, std::uint32_t& crc);

}  // namespace zel

#endif
