// The files that travel to the set in chunks: the keys and the configuration, with the commands of each.
#ifndef ZELFAC_PROTOCOL_KEYFILES_H
#define ZELFAC_PROTOCOL_KEYFILES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "protocol/CommandIds.h"
#include "protocol/UartFrame.h"

namespace zel {

enum class KeyFile : std::uint8_t { Hdcp1, Hdcp2, CiPlus, EsnUlpkMac, Widevine, Netflix, CiPlusEcp, Config };

struct KeyFileInfo {
    KeyFile file;
    std::uint16_t transfer;  // id of its chunks
    std::uint16_t checksum;  // id under which the CRC-32 of the last such file is answered
    std::string_view name;   // as a user of the line writes it
    std::string_view words;
};

// By KeyFile. The configuration has no query of its own: its checksum is the answer to its last chunk.
inline constexpr std::array<KeyFileInfo, 8> kKeyFiles = {{
    {KeyFile::Hdcp1, command::kKeyHdcp1, command::kCrcHdcp1, "hdcp1", "HDCP 1.4 key"},
    {KeyFile::Hdcp2, command::kKeyHdcp2, command::kCrcHdcp2, "hdcp2", "HDCP 2.2 key"},
    {KeyFile::CiPlus, command::kKeyCiPlus, command::kCrcCiPlus, "ciplus", "CI+ key"},
    {KeyFile::EsnUlpkMac, command::kKeyEsnUlpkMac, command::kCrcEsnUlpkMac, "esn-ulpk-mac", "ESN/ULPK/MAC file"},
    {KeyFile::Widevine, command::kKeyWidevine, command::kCrcWidevine, "widevine", "Widevine keybox"},
    {KeyFile::Netflix, command::kKeyNetflix, command::kCrcNetflix, "netflix", "Netflix key"},
    {KeyFile::CiPlusEcp, command::kKeyCiPlusEcp, command::kCrcCiPlusEcp, "ciplusecp", "CI+ ECP key"},
    {KeyFile::Config, command::kConfigFile, command::kConfigFile, "config", "configuration file"},
}};

// The number of chunks travels in one byte, and 0 in it would stand for a number that is never reached.
constexpr std::size_t kMaxChunks = 255;
constexpr std::size_t kMaxKeyFile = kMaxChunks * kMaxPayload;
static_assert(kMaxKeyFile == 16320, "the largest file that the protocol carries");

constexpr const KeyFileInfo& InfoOf(KeyFile file) {
    return kKeyFiles[static_cast<std::size_t>(file)];
}

// The file whose chunks have the id `transfer`, null for any other id.
constexpr const KeyFileInfo* FindKeyTransfer(std::uint16_t transfer) {
    for (const KeyFileInfo& info : kKeyFiles) {
        if (info.transfer == transfer) {
            return &info;
        }
    }
    return nullptr;
}

// The file whose checksum is answered under the id `checksum`, null for any other id.
constexpr const KeyFileInfo* FindKeyChecksum(std::uint16_t checksum) {
    for (const KeyFileInfo& info : kKeyFiles) {
        if (info.checksum == checksum) {
            return &info;
        }
    }
    return nullptr;
}

}  // namespace zel

#endif
