// The files that travel to the set in chunks: key types, and the configuration.
#ifndef ZELLINE_LINK_FILETYPES_H
#define ZELLINE_LINK_FILETYPES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/CommandCatalogue.h"
#include "protocol/UartFrame.h"

namespace zelline {

struct FileType {
    std::string_view name;   // as the user writes it
    std::uint16_t transfer;  // id of its chunks
    std::uint16_t query;     // answers the checksum of the last file and lets the next transfer in
    bool isConfiguration;    // answered with its checksum; `query` is then any key's, for the second effect
    std::string_view words;
};

constexpr std::array<FileType, 7> kKeyTypes = {{
    {"hdcp1", zel::command::kKeyHdcp1, zel::command::kCrcHdcp1, false, "HDCP 1.4 key"},
    {"hdcp2", zel::command::kKeyHdcp2, zel::command::kCrcHdcp2, false, "HDCP 2.2 key"},
    {"ciplus", zel::command::kKeyCiPlus, zel::command::kCrcCiPlus, false, "CI+ key"},
    {"esn-ulpk-mac", zel::command::kKeyEsnUlpkMac, zel::command::kCrcEsnUlpkMac, false, "ESN/ULPK/MAC file"},
    {"widevine", zel::command::kKeyWidevine, zel::command::kCrcWidevine, false, "Widevine keybox"},
    {"netflix", zel::command::kKeyNetflix, zel::command::kCrcNetflix, false, "Netflix key"},
    {"ciplusecp", zel::command::kKeyCiPlusEcp, zel::command::kCrcCiPlusEcp, false, "CI+ ECP key"},
}};

constexpr FileType kConfigurationType = {"config", zel::command::kConfigFile, zel::command::kCrcHdcp1, true,
                                         "configuration file"};

// The number of chunks travels in one byte, and 0 in it would stand for a number that is never reached.
constexpr std::size_t kMaxChunks = 255;
constexpr std::size_t kMaxFile = kMaxChunks * zel::kMaxPayload;
static_assert(kMaxFile == 16320, "the largest file that the protocol carries");

// "hdcp1, hdcp2, ...".
std::string KeyTypeNames();

// Throws Error with Exit::Unusable that lists the types.
const FileType& FindKeyType(std::string_view name);

// The file's bytes. Throws Error with Exit::Unusable when it cannot be read, is no file, is empty, or is larger
// than kMaxFile.
std::string LoadFile(const std::string& path);

}  // namespace zelline

#endif
