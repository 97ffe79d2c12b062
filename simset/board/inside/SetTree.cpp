#include "simset/board/inside/SetTree.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>

#include <climits>
#include <cstdlib>

#include "simset/base/Files.h"
#include "simset/base/Partitions.h"
#include "simset/board/inside/Disks.h"
#include "simset/board/inside/Emulation.h"

namespace simset {
namespace {

constexpr const char* kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

void Mount(const char* source, const std::string& target, const char* type, unsigned long flags,
           const char* data = nullptr) {
    if (::mount(source, target.c_str(), type, flags, data) != 0) {
        throw SystemError("mount " + target);
    }
}

bool Exists(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

void TouchFile(const std::string& path, unsigned mode = 0644) {
    const Descriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode));
    if (!fd) {
        throw SystemError(path);
    }
}

// What cannot be made read-only (flags that a user namespace may not touch) is still protected by the user's own
// permissions, so this is done as far as it goes.
void MakeReadOnly(const std::string& path) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    if (::syscall(SYS_mount_setattr, AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) == 0) {
        return;
    }
    struct statvfs info {};
    unsigned long kept = 0;
    if (::statvfs(path.c_str(), &info) == 0) {
        kept = info.f_flag & (ST_NOSUID | ST_NODEV | ST_NOEXEC);  // same numbers as the MS_ flags
    }
    ::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | kept, nullptr);
}

void BindFile(const std::string& source, const std::string& target) {
    TouchFile(target);
    Mount(source.c_str(), target, nullptr, MS_BIND);
}

void Link(const char* target, const std::string& path) {
    if (::symlink(target, path.c_str()) != 0) {
        throw SystemError(path);
    }
}

// The size that was asked for, or else the disk's own.
std::uint64_t SizeOf(const AgentConfig& config, const std::string& path, std::uint64_t own) {
    const auto found = config.sizes.find(path);
    return found == config.sizes.end() ? own : found->second;
}

// False when it holds more than `size` bytes, and is full with that.
bool ResizeOrFill(const std::string& path, std::uint64_t size) {
    return Resize(path, size) || !Resize(path, 0);
}

class TreeBuilder {
  public:
    TreeBuilder(const AgentConfig& config, int stateFolder) : m_config(config), m_state(stateFolder) {}

    std::vector<std::string> Build() {
        Mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE);
        Mount("simset", m_config.root, "ramfs", 0, "mode=0755");
        BindPcFolders();
        MakePlainFolders();
        MakeDevices();
        MakeProc();
        MakePrograms();
        MakePartitions();
        EnterRoot();
        for (const Stick& stick : m_config.sticks) {
            if (!MountStick(stick, SizeOf(m_config, StickFolder(stick.name), kStickSize), m_state)) {
                m_tooSmall.push_back(StickFolder(stick.name));
            }
        }
        Mount(nullptr, "/", nullptr, MS_REMOUNT | MS_RDONLY);
        return m_tooSmall;
    }

  private:
    std::string In(const std::string& path) const { return m_config.root + path; }

    void Folder(const std::string& path, unsigned mode = 0755) {
        MakeFolders(AT_FDCWD, In(path));
        ::chmod(In(path).c_str(), mode);
    }

    void BindPcFolders() {
        // Programs, their libraries and their settings; nothing of a person's.
        for (const char* path :
             {"/usr", "/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32", "/etc", "/opt", "/nix", "/gnu"}) {
            struct stat info {};
            if (::lstat(path, &info) != 0) {
                continue;
            }
            if (S_ISLNK(info.st_mode)) {
                char target[PATH_MAX] = {};
                if (::readlink(path, target, sizeof target - 1) < 0) {
                    throw SystemError(path);
                }
                Link(target, In(path));
            } else if (S_ISDIR(info.st_mode)) {
                Folder(path);
                Mount(path, In(path), nullptr, MS_BIND | MS_REC);
                MakeReadOnly(In(path));
            }
        }
    }

    void MakePlainFolders() {
        for (const char* path : {"/proc", "/sys", "/root", "/home", "/var/lib", "/simset/lib", "/simset/bin"}) {
            Folder(path);
        }
        // The root itself ends read-only, as a television's.
        for (const char* path : {"/run", "/mnt/usb", "/var/tvservice", "/var/tmp", kDriverFolder}) {
            Folder(path);
            Mount("tmpfs", In(path), "ramfs", MS_NOSUID | MS_NODEV);
            Folder(path);
        }
        Folder("/tmp");
        Mount("tmpfs", In("/tmp"), "ramfs", MS_NOSUID | MS_NODEV);
        Folder("/tmp", 01777);
        TouchFile(In(kDriverFolder) + "/xc");
    }

    void MakeDevices() {
        Folder("/dev");
        Mount("devtmpfs", In("/dev"), "ramfs", MS_NOSUID);
        Folder("/dev");
        for (const char* name : {"null", "zero", "full", "random", "urandom", "tty"}) {
            const std::string path = std::string("/dev/") + name;
            if (Exists(path)) {
                BindFile(path, In(path));
            }
        }
        BindFile(m_config.serial, In("/dev/ttyS0"));
        Folder("/dev/shm", 01777);
        Folder("/dev/pts");
        if (::mount("devpts", In("/dev/pts").c_str(), "devpts", MS_NOSUID | MS_NOEXEC,
                    "newinstance,ptmxmode=0666,mode=620") == 0) {
            Link("pts/ptmx", In("/dev/ptmx"));
        }
        Link("/proc/self/fd", In("/dev/fd"));
        Link("/proc/self/fd/0", In("/dev/stdin"));
        Link("/proc/self/fd/1", In("/dev/stdout"));
        Link("/proc/self/fd/2", In("/dev/stderr"));
    }

    void MakeProc() {
        if (::mount("proc", In("/proc").c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
            // A container that masks parts of its /proc may not mount a fresh one.
            Mount("/proc", In("/proc"), nullptr, MS_BIND | MS_REC);
        }
    }

    void MakePrograms() {
        const std::string name = m_config.application.substr(m_config.application.rfind('/') + 1);
        BindFile(m_config.application, In(kInsideApplications) + "/" + name);
        if (m_config.emulator.empty()) {
            Mount(m_config.libraries.c_str(), In(kInsideLibraries), nullptr, MS_BIND | MS_REC);
            MakeReadOnly(In(kInsideLibraries));
        } else {
            BuildEmulation(m_config, m_config.root);
        }
        BindFile(m_config.shim, In(kInsideShim));
        BindFile(m_config.middleware, In(kInsideMiddleware));
        if (!m_config.xSocket.empty()) {
            Folder("/tmp/.X11-unix", 01777);
            BindFile(m_config.xSocket,
                     In("/tmp/.X11-unix") + m_config.xSocket.substr(m_config.xSocket.rfind('/')));
        }
        // The real shell gets a name of its own; its place is taken by the one that reports commands.
        char real[PATH_MAX] = {};
        if (::realpath("/bin/sh", real) == nullptr) {
            throw SystemError("/bin/sh");
        }
        BindFile(real, In(kInsideShell));
        Mount(m_config.shell.c_str(), In(real), nullptr, MS_BIND);
    }

    void MakePartitions() {
        Descriptor saved(::openat(m_state, "partitions", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!saved) {
            saved.Reset(::openat(m_state, "partitions.old", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
        for (const Partition& partition : kPartitions) {
            Folder(partition.path);
            MountDisk(partition.path + 1, In(partition.path));
        }
        if (saved) {
            for (const char* path : kKeptFolders) {
                const Descriptor from(::openat(saved.Get(), path + 1, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
                if (from) {
                    CopyTree(from.Get(), OpenFolder(AT_FDCWD, In(path)).Get());
                }
            }
        } else {
            FillFactoryNew(OpenFolder(AT_FDCWD, m_config.root).Get());
        }
        WriteFile(AT_FDCWD, In(kSupervisorFile), "");
        for (const Partition& partition : kPartitions) {
            const std::string path = In(partition.path);
            if (!ResizeOrFill(path, SizeOf(m_config, partition.path, partition.size))) {
                m_tooSmall.emplace_back(partition.path);
            }
            Mount(nullptr, path, nullptr, MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV);
        }
    }

    void EnterRoot() {
        // With both names the same the old root lies on top of the new one and can be taken away at once.
        if (::chdir(m_config.root.c_str()) != 0 || ::syscall(SYS_pivot_root, ".", ".") != 0 ||
            ::umount2(".", MNT_DETACH) != 0 || ::chdir("/") != 0) {
            throw SystemError("new root");
        }
    }

    const AgentConfig& m_config;
    int m_state;
    std::vector<std::string> m_tooSmall;
};

}  // namespace

std::vector<std::string> BuildSetTree(const AgentConfig& config, int stateFolder) {
    ::umask(022);
    return TreeBuilder(config, stateFolder).Build();
}

void FillFactoryNew(int root) {
    WriteFile(root, "var/tvservice/tvRunningTime", "4211");
    MakeFolders(root, "config/font");
    const Descriptor font(::open(kFont, O_RDONLY | O_CLOEXEC));
    if (!font) {
        // A set that is kept without it would stay without it.
        throw std::runtime_error(std::string("the font ") + kFont + " is missing: install fonts-dejavu-core");
    }
    const char* const path = "config/font/DejaVuSans.ttf";
    const Descriptor target(::openat(root, path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!target) {
        throw SystemError(path);
    }
    CopyContent(font.Get(), target.Get());
}

std::string StickFolder(const std::string& name) {
    const std::string prefix = "vu_";
    return kStickFolders + (name.rfind(prefix, 0) == 0 ? name.substr(prefix.size()) : name);
}

bool MountStick(const Stick& stick, std::uint64_t size, int stateFolder) {
    const std::string folder = StickFolder(stick.name);
    const Descriptor content = OpenFolder(stateFolder, "usb/" + stick.name);
    MakeFolders(AT_FDCWD, folder);
    MountDisk("/dev/shm/shm_tmp/" + stick.name, folder);
    try {
        CopyTree(content.Get(), OpenFolder(AT_FDCWD, folder).Get());
        const bool fits = ResizeOrFill(folder, size);
        if (stick.readOnly) {
            Mount(nullptr, folder, nullptr, MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV);
        }
        return fits;
    } catch (...) {
        ::umount2(folder.c_str(), MNT_DETACH);
        ::rmdir(folder.c_str());
        throw;
    }
}

void UnmountStick(const std::string& name) {
    const std::string folder = StickFolder(name);
    if (::umount2(folder.c_str(), MNT_DETACH) != 0) {
        throw SystemError("umount " + folder);
    }
    ::rmdir(folder.c_str());
}

}  // namespace simset
