#include "link/Files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "wire/Error.h"

namespace zelline {

std::string KeyTypeNames() {
    std::string names;
    for (const zel::KeyFileInfo& type : zel::kKeyFiles) {
        if (type.file != zel::KeyFile::Config) {
            names += fmt::format("{}{}", names.empty() ? "" : ", ", type.name);
        }
    }
    return names;
}

const zel::KeyFileInfo& FindKeyType(std::string_view name) {
    const auto type = std::find_if(zel::kKeyFiles.begin(), zel::kKeyFiles.end(), [&](const zel::KeyFileInfo& t) {
        return t.name == name && t.file != zel::KeyFile::Config;
    });
    if (type == zel::kKeyFiles.end()) {
        Fail(Exit::Unusable, "'{}' is no key type; there are {}", name, KeyTypeNames());
    }
    return *type;
}

std::string LoadFile(const std::string& path) {
    std::error_code status;
    const auto type = std::filesystem::status(path, status).type();
    if (type == std::filesystem::file_type::directory) {
        Fail(Exit::Unusable, "{} is a folder, not a file", path);
    }
    if (type != std::filesystem::file_type::not_found && type != std::filesystem::file_type::regular) {
        Fail(Exit::Unusable, "{} is no file that can be read twice, but a pipe or a device", path);
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string bytes(zel::kMaxKeyFile + 1, '\0');
    if (file) {
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    if (!file.is_open() || file.bad()) {
        Fail(Exit::Unusable, "{} cannot be read: {}", path, std::strerror(errno == 0 ? EIO : errno));
    }
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.empty()) {
        Fail(Exit::Unusable, "{} is empty: there is nothing to send", path);
    }
    if (bytes.size() > zel::kMaxKeyFile) {
        Fail(Exit::Unusable, "{} is too large: {} chunks of {} bytes carry {} bytes at most", path,
             zel::kMaxChunks, zel::kMaxPayload, zel::kMaxKeyFile);
    }
    return bytes;
}

}  // namespace zelline
