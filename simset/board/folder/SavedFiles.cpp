#include "simset/board/folder/SavedFiles.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "simset/base/Files.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

constexpr const char* kPartitionsFolder = "partitions";
constexpr mode_t kFileMode = 0644;

std::string PathOf(int descriptor) {
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
}

[[noreturn]] void SayMissing(const std::string& path) {
    throw std::runtime_error("there is no " + path + " in what the set keeps without power, and the set is off");
}

// The folder above a path, and its last name.
std::pair<std::string, std::string> Parted(const std::string& given) {
    const std::string path = given.substr(0, given.find_last_not_of('/') + 1);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return {given, ""};
    }
    return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

}  // namespace

// The folder that holds what is saved; made as that of a factory-new set when the set was never on.
int SavedFiles::Root() {
    if (m_root) {
        return m_root.Get();
    }
    if (::faccessat(m_state, kPartitionsFolder, F_OK, 0) != 0 &&
        ::renameat(m_state, "partitions.old", m_state, kPartitionsFolder) != 0) {
        ReplaceFolder(m_state, kPartitionsFolder, [](int fresh) {
            for (const char* path : kKeptFolders) {
                MakeFolders(fresh, path + 1);
            }
            FillFactoryNew(fresh);
        });
    }
    m_root = OpenFolder(m_state, kPartitionsFolder);
    return m_root.Get();
}

Descriptor SavedFiles::Open(const std::string& path, int flags) {
    if (path.empty() || path[0] != '/') {
        throw std::runtime_error("'" + path + "' is not a path of the set: it must begin with /");
    }
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags) | O_CLOEXEC;
    how.mode = (flags & O_CREAT) != 0 ? kFileMode : 0;
    how.resolve = RESOLVE_IN_ROOT;
    return Descriptor(static_cast<int>(::syscall(SYS_openat2, Root(), path.c_str(), &how, sizeof how)));
}

Descriptor SavedFiles::OpenPath(const std::string& path) {
    Descriptor file = Open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat info {};
    if (!file && errno == ENOENT) {
        SayMissing(path);
    }
    if (!file || ::fstat(file.Get(), &info) != 0) {
        throw SystemError(path);
    }
    if (!S_ISREG(info.st_mode)) {
        throw std::runtime_error(path + " is not a file");
    }
    return file;
}

// A folder, made with those above it when it is missing.
Descriptor SavedFiles::MakeFolder(const std::string& path) {
    Descriptor folder = Open(path, O_PATH | O_DIRECTORY);
    if (!folder && errno == ENOENT) {
        const auto [above, name] = Parted(path);
        if (name.empty()) {
            throw SystemError(path, ENOENT);
        }
        const Place place = PlaceOf(path, MakeFolder(above));
        if (::mkdirat(place.folder.Get(), place.name.c_str(), 0755) != 0) {
            throw SystemError(path);
        }
        folder = Open(path, O_PATH | O_DIRECTORY);
    }
    if (!folder) {
        throw SystemError(path);
    }
    return folder;
}

// Where a path in the open folder `folder` really is; refuses what is not below one of the kept folders.
SavedFiles::Place SavedFiles::PlaceOf(const std::string& path, const Descriptor& folder) {
    const std::string name = Parted(path).second;
    const std::string real = PathOf(folder.Get()).substr(PathOf(Root()).size()) + "/" + name;
    if (name.empty() || name == "." || name == ".." ||
        std::none_of(kKeptFolders.begin(), kKeptFolders.end(),
                     [&real](const std::string& kept) { return real.rfind(kept + "/", 0) == 0; })) {
        throw std::runtime_error("the set is off, and " + path +
                                 " is not below a folder that it keeps without power");
    }
    return {OpenFolder(folder.Get(), "."), name};
}

void SavedFiles::PutPath(const std::string& path, int from) {
    PlaceOf(path, MakeFolder(Parted(path).first));
    const Descriptor target = Open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY);
    if (!target) {
        throw SystemError(path);
    }
    CopyContent(from, target.Get());
}

void SavedFiles::RemovePath(const std::string& path) {
    const Descriptor folder = Open(Parted(path).first, O_PATH | O_DIRECTORY);
    if (!folder) {
        throw SystemError(path);
    }
    const Place place = PlaceOf(path, folder);
    struct stat info {};
    if (::fstatat(place.folder.Get(), place.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        throw SystemError(path);
    }
    RemoveTree(place.folder.Get(), place.name);
}

std::vector<std::string> SavedFiles::ListPath(const std::string& path) {
    const Descriptor found = Open(path, O_PATH);
    struct stat info {};
    if (!found && errno == ENOENT) {
        SayMissing(path);
    }
    if (!found || ::fstat(found.Get(), &info) != 0) {
        throw SystemError(path);
    }
    return S_ISDIR(info.st_mode) ? ListFolder(found.Get()) : std::vector<std::string>{path};
}

void SavedFiles::CopyStick(const std::string& name, int to) {
    const Descriptor sticks = OpenFolder(m_state, "usb");
    CopyTree(OpenFolder(sticks.Get(), name).Get(), to);
}

}  // namespace simset
