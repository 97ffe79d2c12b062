// Preloaded into every program of the set: takes the driver folder, which procfs cannot be given, to the place
// where the set keeps it; tells simset when data is to survive a power cut instead of syncing the PC's disks;
// reports the application's own mount calls. Links to the C library alone, since it lives in programs of every
// kind; keeps for the serial port what a pseudo terminal forgets.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "simset/board/preload/DiskFull.h"
#include "simset/board/preload/Next.h"
#include "simset/board/preload/PortMark.h"
#include "simset/board/preload/Report.h"
#include "simset/board/preload/Unsynced.h"

namespace {

constexpr char kDriver[] = "/proc/utopia_mdb";
constexpr char kDriverPlace[] = "/simset/utopia_mdb";
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

bool TakesMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

// A remount of a program gets the options back that the mount table shows. In a namespace of an ordinary user
// these name an owner whom the namespace does not know, and the kernel refuses them: they are left out.
class RemountOptions {
  public:
    explicit RemountOptions(const char* given) {
        m_options[0] = '\0';
        size_t size = 0;
        while (*given != '\0') {
            const size_t length = strcspn(given, ",");
            const bool owner = strncmp(given, "uid=", 4) == 0 || strncmp(given, "gid=", 4) == 0;
            if (!owner && size + length + 2 < sizeof m_options) {
                if (size > 0) {
                    m_options[size++] = ',';
                }
                memcpy(m_options + size, given, length);
                size += length;
                m_options[size] = '\0';
            }
            given += length + (given[length] == ',' ? 1 : 0);
        }
    }
    const char* Get() const { return m_options; }

  private:
    char m_options[kPathMax];
};

// The errno that a mount of `target` has to fail with, 0 for none.
int FaultOfMount(const char* target) {
    simset::preload::Line line;
    line.Raw(R"({"op":"mounting","target":)");
    line.Text(target == nullptr ? "" : target);
    line.Raw("}");
    return simset::preload::Report(line);
}

// Carries a mount call of the application out, unless it has to fail, and tells simset. A mount program's call is
// already told by the shell command that ran it, but for one that has to fail.
template <typename Carry>
int ReportedMount(const char* call, const char* target, long flags, int fault, const Carry& carry) {
    const bool inApplication = simset::preload::InApplication();
    if (!inApplication && fault == 0) {
        return carry();
    }
    errno = fault;
    const int status = fault != 0 ? -1 : carry();
    const int savedErrno = errno;
    simset::preload::Line line;
    line.Raw("{");
    simset::preload::AddThread(line);
    line.Raw(R"("op":"trace","row":{"who":"mount","call":")");
    line.Raw(call);
    line.Raw(R"(","target":)");
    line.Text(target == nullptr ? "" : target);
    line.Raw(R"(,"flags":)");
    line.Number(flags);
    if (fault != 0) {
        line.Raw(R"(,"fault":)");
        line.Number(fault);
    }
    if (status != 0) {
        line.Raw(R"(,"errno":)");
        line.Number(savedErrno);
    }
    line.Raw(R"(,"status":)");
    line.Number(status);
    line.Raw("}}");
    simset::preload::Report(line);
    errno = savedErrno;
    return status;
}

}  // namespace

// Types and parameter lists are no expressions: they take no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)

// Stands in front of the C library's function of that name: hands on what follows the parameters.
#define SIMSET_IN_FRONT(Result, name, parameters, ...) \
    namespace {                                        \
    SIMSET_NEXT(Result, name, parameters)              \
    }                                                  \
    SIMSET_VISIBLE Result name parameters {            \
        return Next_##name()(__VA_ARGS__);             \
    }

// The same for one that opens; the mode argument is there only with flags that create.
#define SIMSET_IN_FRONT_OF_OPEN(name, parameters, ...)          \
    namespace {                                                 \
    SIMSET_NEXT(int, name, parameters)                          \
    }                                                           \
    SIMSET_VISIBLE int name parameters {                        \
        mode_t mode = 0;                                        \
        if (TakesMode(flags)) {                                 \
            va_list arguments;                                  \
            va_start(arguments, flags);                         \
            mode = va_arg(arguments, mode_t);                   \
            va_end(arguments);                                  \
        }                                                       \
        if ((flags & (O_WRONLY | O_RDWR)) != 0) {               \
            simset::preload::NoteWrite();                       \
        }                                                       \
        const int fd = Next_##name()(__VA_ARGS__, flags, mode); \
        return simset::preload::Told(fd, fd < 0, path);         \
    }

// The same for one that opens a stream.
#define SIMSET_IN_FRONT_OF_FOPEN(name)                              \
    namespace {                                                     \
    SIMSET_NEXT(FILE*, name, (const char* path, const char* mode))  \
    }                                                               \
    SIMSET_VISIBLE FILE* name(const char* path, const char* mode) { \
        if (strpbrk(mode, "wa+") != nullptr) {                      \
            simset::preload::NoteWrite();                           \
        }                                                           \
        FILE* const file = Next_##name()(Path(path).Get(), mode);   \
        return simset::preload::Told(file, file == nullptr, path);  \
    }

// NOLINTEND(bugprone-macro-parentheses)

extern "C" {

SIMSET_IN_FRONT_OF_OPEN(open, (const char* path, int flags, ...), Path(path).Get())
SIMSET_IN_FRONT_OF_OPEN(open64, (const char* path, int flags, ...), Path(path).Get())
SIMSET_IN_FRONT_OF_OPEN(openat, (int at, const char* path, int flags, ...), at, Path(path).Get())
SIMSET_IN_FRONT_OF_OPEN(openat64, (int at, const char* path, int flags, ...), at, Path(path).Get())

// Fortified builds call these when no mode is given.
SIMSET_VISIBLE int __open_2(const char* path, int flags) {
    return open(path, flags);
}

SIMSET_VISIBLE int __open64_2(const char* path, int flags) {
    return open64(path, flags);
}

SIMSET_VISIBLE int creat(const char* path, mode_t mode) {
    return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

SIMSET_VISIBLE int creat64(const char* path, mode_t mode) {
    return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

SIMSET_IN_FRONT_OF_FOPEN(fopen)
SIMSET_IN_FRONT_OF_FOPEN(fopen64)
SIMSET_IN_FRONT(int, access, (const char* path, int mode), Path(path).Get(), mode)
#if __GLIBC_PREREQ(2, 33)
SIMSET_IN_FRONT(int, stat, (const char* path, struct stat* info), Path(path).Get(), info)
SIMSET_IN_FRONT(int, stat64, (const char* path, struct stat64* info), Path(path).Get(), info)
SIMSET_IN_FRONT(int, lstat, (const char* path, struct stat* info), Path(path).Get(), info)
SIMSET_IN_FRONT(int, lstat64, (const char* path, struct stat64* info), Path(path).Get(), info)
SIMSET_IN_FRONT(int, fstatat, (int at, const char* path, struct stat* info, int flags), at, Path(path).Get(), info,
                flags)
SIMSET_IN_FRONT(int, fstatat64, (int at, const char* path, struct stat64* info, int flags), at, Path(path).Get(),
                info, flags)
#else
// An older C library has these under other names, with the version of the record in front.
SIMSET_IN_FRONT(int, __xstat, (int version, const char* path, struct stat* info), version, Path(path).Get(), info)
SIMSET_IN_FRONT(int, __xstat64, (int version, const char* path, struct stat64* info), version, Path(path).Get(),
                info)
SIMSET_IN_FRONT(int, __lxstat, (int version, const char* path, struct stat* info), version, Path(path).Get(), info)
SIMSET_IN_FRONT(int, __lxstat64, (int version, const char* path, struct stat64* info), version, Path(path).Get(),
                info)
SIMSET_IN_FRONT(int, __fxstatat, (int version, int at, const char* path, struct stat* info, int flags), version,
                at, Path(path).Get(), info, flags)
SIMSET_IN_FRONT(int, __fxstatat64, (int version, int at, const char* path, struct stat64* info, int flags),
                version, at, Path(path).Get(), info, flags)
#endif

SIMSET_VISIBLE void sync() {
    simset::preload::Line line;
    line.Raw("{");
    simset::preload::AddThread(line);
    line.Raw(R"("op":"sync"})");
    simset::preload::NoteSync();
    simset::preload::Report(line);
}

SIMSET_VISIBLE int mount(const char* source, const char* target, const char* type, unsigned long flags,
                         const void* data) {
    using Call = int (*)(const char*, const char*, const char*, unsigned long, const void*);
    static const auto next = Next<Call>("mount");
    return ReportedMount("mount", target, static_cast<long>(flags), FaultOfMount(target), [&] {
        if ((flags & MS_REMOUNT) == 0 || data == nullptr) {
            return next(source, target, type, flags, data);
        }
        const RemountOptions options(static_cast<const char*>(data));
        return next(source, target, type, flags, options.Get());
    });
}

SIMSET_VISIBLE int umount(const char* target) {
    static const auto next = Next<int (*)(const char*)>("umount");
    return ReportedMount("umount", target, 0, 0, [&] { return next(target); });
}

SIMSET_VISIBLE int umount2(const char* target, int flags) {
    static const auto next = Next<int (*)(const char*, int)>("umount2");
    return ReportedMount("umount", target, flags, 0, [&] { return next(target, flags); });
}

SIMSET_VISIBLE int tcgetattr(int fd, struct termios* settings) {
    using Call = int (*)(int, struct termios*);
    static const auto next = Next<Call>("tcgetattr");
    const int status = next(fd, settings);
    if (status == 0 && simset::preload::IsPort(fd)) {
        settings->c_cflag =
            simset::preload::Unmarked(settings->c_cflag, settings->c_cc[simset::preload::kPortMark]);
        settings->c_cc[simset::preload::kPortMark] = 0;
    }
    return status;
}

SIMSET_VISIBLE int tcsetattr(int fd, int when, const struct termios* settings) {
    using Call = int (*)(int, int, const struct termios*);
    static const auto next = Next<Call>("tcsetattr");
    if (!simset::preload::IsPort(fd)) {
        return next(fd, when, settings);
    }
    struct termios kept = *settings;
    kept.c_cc[simset::preload::kPortMark] = simset::preload::MarkOf(settings->c_cflag);
    kept.c_cflag = (kept.c_cflag & ~simset::preload::kMarkedFlags) | CS8;
    return next(fd, when, &kept);
}

}  // extern "C"
