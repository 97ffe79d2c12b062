// Lets the memory that DirectFB shares with the X server go with those who use it. DirectFB asks for it to be
// removed when it is shut down, which an application that ends as a television's does never comes to: each start
// would leave some 20 MiB behind, and the machine's segments are counted. Linux attaches a segment by its number
// after its removal too, for as long as somebody has it attached, so the X server still finds it.
#include <stdint.h>
#include <sys/shm.h>

#include "simset/board/preload/Next.h"

namespace {

SIMSET_NEXT(void*, shmat, (int segment, const void* address, int flags))

}  // namespace

extern "C" {

SIMSET_VISIBLE void* shmat(int segment, const void* address, int flags) {
    void* const attached = Next_shmat()(segment, address, flags);
    if (reinterpret_cast<intptr_t>(attached) != -1) {
        shmctl(segment, IPC_RMID, nullptr);
    }
    return attached;
}

}  // extern "C"
