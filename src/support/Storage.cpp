#include "support/Storage.h"

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

void MakePrivate(const char* path) {
    chmod(path, S_IRWXU);
}

}  // namespace zel
