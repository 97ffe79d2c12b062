#include "os/Storage.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {

void SyncStorage() {
    sync();
}

int RemountReadWrite(const char* mountPoint) {
    return mount(nullptr, mountPoint, nullptr, MS_REMOUNT, nullptr);
}

void MakePrivateFolder(const char* path) {
    if (mkdir(path, S_IRWXU) != 0) {
        chmod(path, S_IRWXU);
    }
}

void RemoveEmptyFolder(const char* path) {
    rmdir(path);
}

}  // namespace zel
