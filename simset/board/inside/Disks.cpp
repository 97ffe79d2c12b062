#include "simset/board/inside/Disks.h"

#include <sys/mount.h>
#include <sys/statvfs.h>

#include <algorithm>

#include "simset/base/Errors.h"
#include "simset/base/Partitions.h"

namespace simset {
namespace {

// A file system that begins without a limit cannot be given one later.
constexpr std::uint64_t kManyFiles = 1000000;
constexpr std::uint64_t kMuchRoom = 65536 * kMebibyte;

std::string Limits(std::uint64_t bytes, std::uint64_t files) {
    return "size=" + std::to_string(bytes) + ",nr_inodes=" + std::to_string(files);
}

struct statvfs StateOf(const std::string& path) {
    struct statvfs info {};
    if (::statvfs(path.c_str(), &info) != 0) {
        throw SystemError(path);
    }
    return info;
}

std::uint64_t Used(const struct statvfs& info) {
    return (info.f_blocks - info.f_bfree) * info.f_frsize;
}

}  // namespace

void MountDisk(const std::string& source, const std::string& target) {
    const std::string limits = Limits(kMuchRoom, kManyFiles) + ",mode=0755";
    if (::mount(source.c_str(), target.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, limits.c_str()) != 0) {
        throw SystemError("mount " + target);
    }
}

bool Resize(const std::string& path, std::uint64_t size) {
    const struct statvfs info = StateOf(path);
    const std::uint64_t used = Used(info);
    if (size != 0 && size < used) {
        return false;
    }
    const std::uint64_t bytes = std::max(size == 0 ? used : size, kDiskPage);
    const std::string limits = Limits(bytes, size == 0 ? info.f_files - info.f_ffree : kManyFiles);
    // The flags have the same numbers for statvfs and for mount.
    const unsigned long kept = info.f_flag & (ST_RDONLY | ST_NOSUID | ST_NODEV);
    if (::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | kept, limits.c_str()) != 0) {
        throw SystemError("size of " + path);
    }
    return true;
}

DiskUse UseOf(const std::string& path) {
    const struct statvfs info = StateOf(path);
    return {info.f_blocks * info.f_frsize, Used(info), info.f_ffree == 0 ? 0 : info.f_bfree * info.f_frsize};
}

}  // namespace simset
