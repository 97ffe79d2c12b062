// File systems of a size: partitions and sticks.
#ifndef SIMSET_INSIDE_DISKS_H
#define SIMSET_INSIDE_DISKS_H

#include <cstdint>
#include <string>

namespace simset {

// In bytes.
struct DiskUse {
    std::uint64_t size = 0;
    std::uint64_t used = 0;
    std::uint64_t free = 0;  // 0 also when no further file may be made
};

// Mounts an empty file system at the folder `target`, called `source` in the mount table, writable, and with room
// for whatever the set starts with until Resize. Throws std::system_error.
void MountDisk(const std::string& source, const std::string& target);

// Gives a file system that MountDisk mounted `size` bytes, rounded up to whole pages; 0: no more than it holds, so
// that nothing can be written and no file be made. False, with nothing changed, when it holds more than `size`.
// Throws std::system_error.
bool Resize(const std::string& path, std::uint64_t size);

// Throws std::system_error.
DiskUse UseOf(const std::string& path);

}  // namespace simset

#endif
