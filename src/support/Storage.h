// What makes data reach the flash: sync and remounts.
#ifndef ZELFAC_SUPPORT_STORAGE_H
#define ZELFAC_SUPPORT_STORAGE_H

namespace zel {

// sync(): returns when everything written so far would survive a power cut.
void SyncStorage();

// mount(2) of `mountPoint` with MS_REMOUNT alone: read-write. Returns 0, or -1 as mount(2) does.
int RemountReadWrite(const char* mountPoint);

// Lets only the owner into the folder at `path`, from now on; nothing when there is no such folder.
void MakePrivate(const char* path);

}  // namespace zel

#endif
