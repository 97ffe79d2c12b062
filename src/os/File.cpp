#include "os/File.h"

namespace zel {

File OpenFile(const std::string& path, const char* mode) {
    return File(std::fopen(path.c_str(), mode));
}

Folder OpenFolder(const std::string& path) {
    return Folder(opendir(path.c_str()));
}

}  // namespace zel
