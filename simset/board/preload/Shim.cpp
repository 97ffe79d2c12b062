// Preloaded into every program of the set: takes the driver folder, which procfs cannot be given, to the place
// where the set keeps it; tells simset when data is to survive a power cut instead of syncing the PC's disks;
// reports the application's own mount calls. Links to the C library alone, since it lives in programs of every
// kind.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simset/board/preload/Next.h"
#include "simset/board/preload/Report.h"

namespace {

constexpr char kDriver[] = "/proc/utopia_mdb";
constexpr char kDriverPlace[] = "/simset/utopia_mdb";
constexpr char kApplications[] = "/simset/bin/";
constexpr size_t kPathMax = 4096;

// A path as the C library should see it.
class Path {
  public:
    explicit Path(const char* path) : m_path(path) {
        constexpr size_t kLength = sizeof kDriver - 1;
        if (path != nullptr && strncmp(path, kDriver, kLength) == 0 &&
            (path[kLength] == '/' || path[kLength] == '\0')) {
            const int size = snprintf(m_buffer, sizeof m_buffer, "%s%s", kDriverPlace, path + kLength);
            if (size > 0 && static_cast<size_t>(size) < sizeof m_buffer) {
                m_path = m_buffer;
            }
        }
    }
    const char* Get() const { return m_path; }

  private:
    const char* m_path;
    char m_buffer[kPathMax];
};

using simset::preload::Next;

bool InApplication() {
    char self[kPathMax];
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    return size > 0 && strncmp(self, kApplications, sizeof kApplications - 1) == 0;
}

bool TakesMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

}  // namespace

// The mode argument is there only with flags that create.
#define SIMSET_MODE(flags)                \
    mode_t mode = 0;                      \
    if (TakesMode(flags)) {               \
        va_list arguments;                \
        va_start(arguments, flags);       \
        mode = va_arg(arguments, mode_t); \
        va_end(arguments);                \
    }

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
    SIMSET_MODE(flags)
    static const auto next = Next<int (*)(const char*, int, ...)>("open");
    return next(Path(path).Get(), flags, mode);
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
    SIMSET_MODE(flags)
    static const auto next = Next<int (*)(const char*, int, ...)>("open64");
    return next(Path(path).Get(), flags, mode);
}

__attribute__((visibility("default"))) int openat(int at, const char* path, int flags, ...) {
    SIMSET_MODE(flags)
    static const auto next = Next<int (*)(int, const char*, int, ...)>("openat");
    return next(at, Path(path).Get(), flags, mode);
}

__attribute__((visibility("default"))) int openat64(int at, const char* path, int flags, ...) {
    SIMSET_MODE(flags)
    static const auto next = Next<int (*)(int, const char*, int, ...)>("openat64");
    return next(at, Path(path).Get(), flags, mode);
}

// Fortified builds call these when no mode is given.
__attribute__((visibility("default"))) int __open_2(const char* path, int flags) {
    return open(path, flags);
}

__attribute__((visibility("default"))) int __open64_2(const char* path, int flags) {
    return open64(path, flags);
}

__attribute__((visibility("default"))) int creat(const char* path, mode_t mode) {
    return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

__attribute__((visibility("default"))) int creat64(const char* path, mode_t mode) {
    return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

__attribute__((visibility("default"))) FILE* fopen(const char* path, const char* mode) {
    static const auto next = Next<FILE* (*)(const char*, const char*)>("fopen");
    return next(Path(path).Get(), mode);
}

__attribute__((visibility("default"))) FILE* fopen64(const char* path, const char* mode) {
    static const auto next = Next<FILE* (*)(const char*, const char*)>("fopen64");
    return next(Path(path).Get(), mode);
}

__attribute__((visibility("default"))) int access(const char* path, int mode) {
    static const auto next = Next<int (*)(const char*, int)>("access");
    return next(Path(path).Get(), mode);
}

__attribute__((visibility("default"))) int stat(const char* path, struct stat* info) {
    static const auto next = Next<int (*)(const char*, struct stat*)>("stat");
    return next(Path(path).Get(), info);
}

__attribute__((visibility("default"))) int stat64(const char* path, struct stat64* info) {
    static const auto next = Next<int (*)(const char*, struct stat64*)>("stat64");
    return next(Path(path).Get(), info);
}

__attribute__((visibility("default"))) int lstat(const char* path, struct stat* info) {
    static const auto next = Next<int (*)(const char*, struct stat*)>("lstat");
    return next(Path(path).Get(), info);
}

__attribute__((visibility("default"))) int lstat64(const char* path, struct stat64* info) {
    static const auto next = Next<int (*)(const char*, struct stat64*)>("lstat64");
    return next(Path(path).Get(), info);
}

__attribute__((visibility("default"))) int fstatat(int at, const char* path, struct stat* info, int flags) {
    static const auto next = Next<int (*)(int, const char*, struct stat*, int)>("fstatat");
    return next(at, Path(path).Get(), info, flags);
}

__attribute__((visibility("default"))) int fstatat64(int at, const char* path, struct stat64* info, int flags) {
    static const auto next = Next<int (*)(int, const char*, struct stat64*, int)>("fstatat64");
    return next(at, Path(path).Get(), info, flags);
}

__attribute__((visibility("default"))) void sync() {
    simset::preload::Line line;
    line.Raw(R"({"op":"sync"})");
    simset::preload::Report(line);
}

__attribute__((visibility("default"))) int mount(const char* source, const char* target, const char* type,
                                                 unsigned long flags, const void* data) {
    using Call = int (*)(const char*, const char*, const char*, unsigned long, const void*);
    static const auto next = Next<Call>("mount");
    const int status = next(source, target, type, flags, data);
    const int savedErrno = errno;
    // A mount program's call is already told by the shell command that ran it.
    static const bool inApplication = InApplication();
    if (inApplication) {
        simset::preload::Line line;
        line.Raw(R"({"op":"trace","row":{"who":"mount","call":"mount","target":)");
        line.Text(target == nullptr ? "" : target);
        line.Raw(R"(,"flags":)");
        line.Number(static_cast<long>(flags));
        line.Raw(R"(,"status":)");
        line.Number(status);
        line.Raw("}}");
        simset::preload::Report(line);
    }
    errno = savedErrno;
    return status;
}

}  // extern "C"
