// Tells simset when the application found no room on a disk.
#ifndef SIMSET_PRELOAD_DISKFULL_H
#define SIMSET_PRELOAD_DISKFULL_H

#include <errno.h>

namespace simset::preload {

// A call of this process on the file `path` found no room. Keeps errno.
void TellFull(const char* path);

// Hands on what a call on `path` returned, and tells simset when it failed for want of room.
template <typename Result>
Result Told(Result result, bool failed, const char* path) {
    if (failed && errno == ENOSPC) {
        TellFull(path);
    }
    return result;
}

}  // namespace simset::preload

#endif
