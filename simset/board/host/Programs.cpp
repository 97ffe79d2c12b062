#include "simset/board/host/Programs.h"

#include <elf.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "simset/base/Errors.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDefaultApplication = "ZelFacTest_Eu4K";
constexpr const char* kShimName = "libsimset_shim.so";

bool IsRegularFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

bool IsProgram(const fs::path& path) {
    return IsRegularFile(path) && ::access(path.c_str(), X_OK) == 0;
}

// The machine that an ELF file names, where it stands in files of either width; 0 for any other file.
unsigned MachineOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    Elf32_Ehdr header{};
    if (!file.read(reinterpret_cast<char*>(&header), sizeof header) ||  // NOLINT: bytes of a file
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
        return 0;
    }
    return header.e_machine;
}

// The emulator of that processor in PATH; empty when there is none.
std::string EmulatorInPath(const std::string& processor) {
    const char* const path = std::getenv("PATH");
    for (const std::string& name : {"qemu-" + processor + "-static", "qemu-" + processor}) {
        std::istringstream folders(path == nullptr ? "" : path);
        for (std::string folder; std::getline(folders, folder, ':');) {
            if (!folder.empty() && IsProgram(fs::path(folder) / name)) {
                return fs::canonical(fs::path(folder) / name).string();
            }
        }
    }
    return "";
}

void FindEmulator(Programs& programs, const RunOptions& options) {
    const std::string processor = ForeignProcessor(programs.application);
    if (options.emulator.empty() && processor.empty()) {
        return;
    }
    if (options.sysroot.empty()) {
        throw RunError(kExitUsage, programs.application +
                                       " is emulated: name the root that its libraries are in with --sysroot DIR");
    }
    programs.emulator = options.emulator.empty() ? EmulatorInPath(processor) : options.emulator;
    if (programs.emulator.empty()) {
        throw RunError(kExitUsage, programs.application + " is for another processor, and there is no qemu-" +
                                       processor +
                                       " in PATH: install qemu-user-static, or name an emulator with "
                                       "--emulator FILE");
    }
    if (!IsProgram(programs.emulator)) {
        throw RunError(kExitUsage, "there is no emulator at " + programs.emulator);
    }
    programs.emulator = fs::canonical(programs.emulator).string();
    programs.sysroot = fs::canonical(options.sysroot).string();
}

}  // namespace

std::string ForeignProcessor(const std::string& program) {
    const unsigned machine = MachineOf(program);
    if (machine == 0 || machine == MachineOf("/proc/self/exe")) {
        return "";
    }
    switch (machine) {
        case EM_ARM:
            return "arm";
        case EM_AARCH64:
            return "aarch64";
        case EM_386:
            return "i386";
        case EM_X86_64:
            return "x86_64";
        case EM_RISCV:
            return "riscv64";
        default:
            throw RunError(kExitUsage, program +
                                           " is for a processor that no emulator is known for (ELF machine " +
                                           std::to_string(machine) + ")");
    }
}

Programs FindPrograms(const RunOptions& options) {
    const fs::path self = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path application =
        options.application.empty() ? self / kDefaultApplication : fs::absolute(options.application);
    if (!IsProgram(application)) {
        throw RunError(kExitUsage, "there is no application to run at " + application.string() +
                                       ": build it, or name one with --app FILE");
    }
    Programs programs;
    programs.application = fs::canonical(application).string();
    FindEmulator(programs, options);
    const fs::path ownLibraries = self.parent_path() / "lib";
    programs.shim = ownLibraries / kShimName;
    programs.shell = self / "simset-sh";
    for (const std::string& file : {programs.shim, programs.shell}) {
        if (!IsRegularFile(file)) {
            throw RunError(kExitInternal, file + " is missing: build simset again");
        }
    }
    // An application from another build comes with the libraries of that build.
    const fs::path beside = fs::path(programs.application).parent_path().parent_path() / "lib";
    const bool own = !IsRegularFile(beside / kShimName);
    if (own && !programs.emulator.empty()) {
        throw RunError(kExitUsage, "the set's libraries for the application's processor are missing: " +
                                       (beside / kShimName).string() + " and those beside it");
    }
    programs.libraries = own ? ownLibraries : beside;
    return programs;
}

}  // namespace simset
