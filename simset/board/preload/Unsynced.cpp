// Notes by thread whether files may have been written since the last sync: what one thread answers says nothing of
// what another is about to do. Which files these are, and whether they outlive the power, is simset's to know.
#include "simset/board/preload/Unsynced.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simset/board/preload/Next.h"
#include "simset/board/preload/Report.h"

namespace simset::preload {
namespace {

// In the memory that a thread has from its start on, as the shim's other one.
__thread __attribute__((tls_model("initial-exec"))) bool s_written = false;

template <typename Result>
Result Noted(Result result) {
    NoteWrite();
    return result;
}

}  // namespace

void NoteWrite() {
    s_written = true;
}

void NoteSync() {
    s_written = false;
}

bool HasWritten() {
    return s_written;
}

void BeforeAnswer() {
    s_written = false;
    if (!InApplication()) {
        return;
    }
    Line line;
    line.Raw("{");
    AddThread(line);
    line.Raw(R"("op":"answering"})");
    Report(line);
}

}  // namespace simset::preload

using simset::preload::Noted;

namespace {

SIMSET_NEXT(FILE*, popen, (const char* command, const char* mode))
SIMSET_NEXT(int, system, (const char* command))
SIMSET_NEXT(int, unlink, (const char* path))
SIMSET_NEXT(int, remove, (const char* path))
SIMSET_NEXT(int, rename, (const char* from, const char* to))
SIMSET_NEXT(int, mkdir, (const char* path, mode_t mode))
SIMSET_NEXT(int, rmdir, (const char* path))

}  // namespace

extern "C" {

// What a command does is not known: it counts as a write, and simset finds none where there is none.
SIMSET_VISIBLE FILE* popen(const char* command, const char* mode) {
    return Noted(Next_popen()(command, mode));
}

SIMSET_VISIBLE int system(const char* command) {
    return Noted(Next_system()(command));
}

SIMSET_VISIBLE int unlink(const char* path) {
    return Noted(Next_unlink()(path));
}

SIMSET_VISIBLE int remove(const char* path) {
    return Noted(Next_remove()(path));
}

SIMSET_VISIBLE int rename(const char* from, const char* to) {
    return Noted(Next_rename()(from, to));
}

SIMSET_VISIBLE int mkdir(const char* path, mode_t mode) {
    return Noted(Next_mkdir()(path, mode));
}

SIMSET_VISIBLE int rmdir(const char* path) {
    return Noted(Next_rmdir()(path));
}

}  // extern "C"
