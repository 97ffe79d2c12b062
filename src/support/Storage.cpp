#include "support/Storage.h"

#include <sys/mount.h>
#include <unistd.h>

namespace zel {

void SyncStorage() {
    sync();
}

int RemountReadWrite(const char* mountPoint) {
    return mount(nullptr, mountPoint, nullptr, MS_REMOUNT, nullptr);
}

}  // namespace zel
