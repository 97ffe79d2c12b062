// The application's writes that find no room are told to simset. A program that it starts is not asked: simset
// looks itself when a shell command failed.
#include "simset/board/preload/DiskFull.h"

#include <stdio.h>
#include <stdio_ext.h>
#include <sys/uio.h>
#include <unistd.h>

#include "simset/board/preload/Next.h"
#include "simset/board/preload/Report.h"
#include "simset/board/preload/Unsynced.h"

namespace simset::preload {
namespace {

// As Told, for a call on a descriptor.
template <typename Result>
Result ToldOf(Result result, bool failed, int fd) {
    if (failed && errno == ENOSPC) {
        char link[32];
        char path[4096] = {};
        snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
        TellFull(readlink(link, path, sizeof path - 1) > 0 ? path : "");
        errno = ENOSPC;
    }
    return result;
}

}  // namespace

void TellFull(const char* path) {
    const int savedErrno = errno;
    if (InApplication()) {
        Line line;
        line.Raw("{");
        AddThread(line);
        line.Raw(R"("op":"trace","row":{"who":"disk","call":"full","path":)");
        line.Text(path == nullptr ? "" : path);
        line.Raw("}}");
        Report(line);
    }
    errno = savedErrno;
}

}  // namespace simset::preload

using simset::preload::ToldOf;

namespace {

SIMSET_NEXT(ssize_t, write, (int fd, const void* data, size_t size))
SIMSET_NEXT(ssize_t, writev, (int fd, const struct iovec* parts, int count))
SIMSET_NEXT(size_t, fwrite, (const void* data, size_t size, size_t count, FILE* file))
SIMSET_NEXT(int, fflush, (FILE * file))
SIMSET_NEXT(int, fclose, (FILE * file))

}  // namespace

extern "C" {

SIMSET_VISIBLE ssize_t write(int fd, const void* data, size_t size) {
    if (simset::preload::HasWritten() && simset::preload::IsPort(fd)) {
        simset::preload::BeforeAnswer();
    }
    const ssize_t written = Next_write()(fd, data, size);
    return ToldOf(written, written < 0, fd);
}

SIMSET_VISIBLE ssize_t writev(int fd, const struct iovec* parts, int count) {
    const ssize_t written = Next_writev()(fd, parts, count);
    return ToldOf(written, written < 0, fd);
}

SIMSET_VISIBLE size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
    const size_t written = Next_fwrite()(data, size, count, file);
    return written < count ? ToldOf(written, true, fileno(file)) : written;
}

SIMSET_VISIBLE int fflush(FILE* file) {
    const int result = Next_fflush()(file);
    return file == nullptr ? result : ToldOf(result, result != 0, fileno(file));
}

// What is left to write is written here, since afterwards nothing says which file it was.
SIMSET_VISIBLE int fclose(FILE* file) {
    if (__fwriting(file) != 0) {
        fflush(file);
    }
    return Next_fclose()(file);
}

}  // extern "C"
