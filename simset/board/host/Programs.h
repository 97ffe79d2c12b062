// Which of the PC's files a set is made of.
#ifndef SIMSET_HOST_PROGRAMS_H
#define SIMSET_HOST_PROGRAMS_H

#include <string>

#include "simset/board/host/RunOptions.h"

namespace simset {

// Files that belong to simset itself or to the application, with whole paths.
struct Programs {
    std::string application;
    std::string libraries;  // folder of the set's libraries, and of the shim for the application's processor
    std::string shim;
    std::string shell;
    std::string emulator;  // runs an application that was built for another processor; empty: the PC does
    std::string sysroot;   // with an emulator: the root from which the application has its C library and DirectFB
};

// Finds them. An application for another processor gets an emulator of QEMU's from PATH when none was asked for.
// Throws RunError when one is missing.
Programs FindPrograms(const RunOptions& options);

// The processor that a program was built for, as QEMU names it ("arm", "aarch64"); empty when it is the one that
// this process runs on, or when the file is no ELF program. Throws RunError for one that no emulator is known for.
std::string ForeignProcessor(const std::string& program);

}  // namespace simset

#endif
