#include "Keys.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Error.h"

namespace zelline {

const FileType& FindKeyType(std::string_view name) {
    std::string known;
    for (const FileType& type : kKeyTypes) {
        if (type.name == name) {
            return type;
        }
        known += (known.empty() ? "" : ", ") + std::string(type.name);
    }
    throw Error(Exit::Unusable, fmt::format("'{}' is no key type; there are {}", name, known));
}

bool CarriesFileBytes(std::uint16_t id) {
    const zel::CommandInfo* row = zel::FindCommand(id);
    return row != nullptr && row->payload == zel::PayloadRule::KeyChunk;
}

std::string LoadFile(const std::string& path) {
    std::error_code status;
    const auto type = std::filesystem::status(path, status).type();
    if (type == std::filesystem::file_type::directory) {
        throw Error(Exit::Unusable, fmt::format("{} is a folder, not a file", path));
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string bytes(kMaxFile + 1, '\0');
    if (file) {
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    if (!file.is_open() || file.bad()) {
        throw Error(Exit::Unusable,
                    fmt::format("{} cannot be read: {}", path, std::strerror(errno == 0 ? EIO : errno)));
    }
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.empty()) {
        throw Error(Exit::Unusable, fmt::format("{} is empty: there is nothing to send", path));
    }
    if (bytes.size() > kMaxFile) {
        throw Error(Exit::Unusable, fmt::format("{} is too large: {} chunks of {} bytes carry {} bytes at most",
                                                path, kMaxChunks, zel::kMaxPayload, kMaxFile));
    }
    return bytes;
}

}  // namespace zelline
