#include "os/Storage.h"

#include <fcntl.h>
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
    struct stat found {};
    if (lstat(path, &found) == 0 && !S_ISDIR(found.st_mode)) {
        unlink(path);
    }
    if (mkdir(path, S_IRWXU) == 0) {
        return;
    }
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder != -1) {
        fchmod(folder, S_IRWXU);
        close(folder);
    }
}

void RemoveEmptyFolder(const char* path) {
    rmdir(path);
}

}  // namespace zel
