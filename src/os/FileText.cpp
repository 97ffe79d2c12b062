#include <unistd.h>

#include "os/File.h"

namespace zel {

std::string ReadUpTo(std::FILE* file, std::size_t limit) {
    std::string bytes(limit, '\0');
    bytes.resize(std::fread(bytes.data(), 1, limit, file));
    return bytes;
}

std::string ReadTextUpTo(std::FILE* file, std::size_t limit) {
    std::string text = ReadUpTo(file, limit);
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    return text;
}

bool WriteAll(std::FILE* file, const std::string& bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
}

bool ReplaceFile(const std::string& path, const std::string& beside, const std::string& bytes) {
    File file = OpenFile(beside, "wb+");
    if (file == nullptr) {
        return false;
    }
    const bool whole = WriteAll(file.get(), bytes) && fsync(fileno(file.get())) == 0;
    file.reset();
    if (whole && RenameFile(beside, path)) {
        return true;
    }
    RemoveFile(beside);
    return false;
}

}  // namespace zel
