#include "simset/board/inside/Emulation.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include "simset/base/Errors.h"
#include "simset/base/Files.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

// The emulator's file has the application's name: that is what a list of processes shows.
constexpr const char* kInsideEmulator = "/simset/emulator";
constexpr const char* kInsideSysroot = "/simset/sysroot";

void BindOver(const std::string& source, const std::string& target) {
    if (::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        throw SystemError("mount " + target);
    }
    ::mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr);
}

void BindFolder(const std::string& source, const std::string& target) {
    MakeFolders(AT_FDCWD, target);
    BindOver(source, target);
}

void BindProgram(const std::string& source, const std::string& target) {
    MakeFolders(AT_FDCWD, target.substr(0, target.rfind('/')));
    WriteFile(AT_FDCWD, target, "");
    BindOver(source, target);
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// DirectFB lists its modules with the old calls of 32 bits, which fail on the places that a PC's file system gives
// its entries: they are copied to one that counts. Its drivers stay behind: there is no graphics hardware in here,
// and one of them looks for its own by means that an emulator does not stand.
void CopyModules(const std::string& libraries) {
    for (const std::string& name : ListFolder(OpenFolder(AT_FDCWD, libraries).Get())) {
        const std::string folder = libraries + "/" + name;
        struct stat info {};
        if (::lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            continue;
        }
        if (name.rfind("directfb-", 0) == 0) {
            const Descriptor original = OpenFolder(AT_FDCWD, folder);
            if (::mount("modules", folder.c_str(), "ramfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
                throw SystemError("mount " + folder);
            }
            CopyTree(original.Get(), OpenFolder(AT_FDCWD, folder).Get());
            RemoveTree(AT_FDCWD, folder + "/gfxdrivers");
            MakeFolders(AT_FDCWD, folder + "/gfxdrivers");
        } else if (name.find("-linux-") != std::string::npos) {
            CopyModules(folder);
        }
    }
}

}  // namespace

void BuildEmulation(const AgentConfig& config, const std::string& root) {
    const std::string sysroot = root + kInsideSysroot;
    BindProgram(config.emulator, root + kInsideEmulator + "/" + NameOf(config.application));
    BindFolder(config.libraries, sysroot + kInsideLibraries);
    BindProgram(config.libraries + "/" + NameOf(kInsideShim), sysroot + kInsideShim);
    for (const std::string path : {"/usr/lib", "/lib"}) {
        const std::string source = config.sysroot + path;
        struct stat info {};
        if (::lstat(source.c_str(), &info) != 0) {
            throw SystemError(source);
        }
        if (S_ISDIR(info.st_mode)) {
            BindFolder(source, sysroot + path);
            CopyModules(sysroot + path);
            continue;
        }
        char target[PATH_MAX] = {};
        if (::readlink(source.c_str(), target, sizeof target - 1) < 0 ||
            ::symlink(target, (sysroot + path).c_str()) != 0) {
            throw SystemError(source);
        }
    }
}

std::vector<std::string> CommandOf(const AgentConfig& config, const std::string& application) {
    if (config.emulator.empty()) {
        return {application};
    }
    return {std::string(kInsideEmulator) + "/" + NameOf(application), "-L", kInsideSysroot, application};
}

}  // namespace simset
