#include "os/File.h"

#include <unistd.h>

namespace zel {

File OpenFile(const std::string& path, const char* mode) {
    return File(std::fopen(path.c_str(), (std::string(mode) + "e").c_str()));
}

Folder OpenFolder(const std::string& path) {
    return Folder(opendir(path.c_str()));
}

bool RenameFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void RemoveFile(const std::string& path) {
    unlink(path.c_str());
}

}  // namespace zel
