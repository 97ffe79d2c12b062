#include "simset/base/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "simset/base/Errors.h"

namespace simset {
namespace {

struct CloseDir {
    void operator()(DIR* dir) const { ::closedir(dir); }
};
using Dir = std::unique_ptr<DIR, CloseDir>;

struct stat StatAt(int at, const std::string& name) {
    struct stat info {};
    if (::fstatat(at, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        throw SystemError(name);
    }
    return info;
}

std::string ReadLinkAt(int at, const std::string& name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlinkat(at, name.c_str(), target.data(), target.size());
    if (size < 0) {
        throw SystemError(name);
    }
    return std::string(target.data(), static_cast<std::size_t>(size));
}

void CopyFile(int from, int to, const std::string& name, const struct stat& info) {
    const Descriptor source(::openat(from, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!source) {
        throw SystemError(name);
    }
    const Descriptor target(
        ::openat(to, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!target) {
        throw SystemError(name);
    }
    CopyContent(source.Get(), target.Get());
    const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
    if (::fchmod(target.Get(), info.st_mode & 07777) != 0 || ::futimens(target.Get(), times.data()) != 0) {
        throw SystemError(name);
    }
}

void Mix(std::uint64_t& hash, const void* data, std::size_t size) {
    constexpr std::uint64_t kFnvPrime = 1099511628211ULL;
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * kFnvPrime;
    }
}

void MixFolder(std::uint64_t& hash, int folder) {
    for (const std::string& name : ListFolder(folder)) {
        const struct stat info = StatAt(folder, name);
        Mix(hash, name.c_str(), name.size() + 1);
        Mix(hash, &info.st_mode, sizeof info.st_mode);
        Mix(hash, &info.st_ino, sizeof info.st_ino);
        if (S_ISDIR(info.st_mode)) {
            MixFolder(hash, OpenFolder(folder, name).Get());
        } else {
            Mix(hash, &info.st_size, sizeof info.st_size);
            Mix(hash, &info.st_mtim, sizeof info.st_mtim);
            Mix(hash, &info.st_ctim, sizeof info.st_ctim);
        }
        Mix(hash, "/", 1);
    }
}

}  // namespace

std::string ReadToEnd(int fd) {
    std::string text;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t size = ::read(fd, buffer.data(), buffer.size());
        if (size == 0) {
            return text;
        }
        if (size > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(size));
        } else if (errno != EINTR) {
            throw SystemError("read");
        }
    }
}

Descriptor OpenFile(const std::string& path) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        throw SystemError(path);
    }
    return fd;
}

void WriteFile(int at, const std::string& path, const std::string& content) {
    const Descriptor fd(::openat(at, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    const char* data = content.data();
    std::size_t left = content.size();
    while (fd && left > 0) {
        const ssize_t written = ::write(fd.Get(), data, left);
        if (written < 0) {
            throw SystemError(path);
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    if (!fd) {
        throw SystemError(path);
    }
}

Descriptor OpenFolder(int at, const std::string& path) {
    Descriptor fd(::openat(at, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd) {
        throw SystemError(path);
    }
    return fd;
}

void MakeFolders(int at, const std::string& path, unsigned mode) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        if (!part.empty() && ::mkdirat(at, part.c_str(), mode) != 0 && errno != EEXIST) {
            throw SystemError(part);
        }
        if (end == std::string::npos) {
            return;
        }
    }
}

std::vector<std::string> ListFolder(int folder) {
    Descriptor again = OpenFolder(folder, ".");
    const Dir dir(::fdopendir(again.Get()));
    if (!dir) {
        throw SystemError("folder");
    }
    again.Release();
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir.get())) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void CopyContent(int from, int to) {
    constexpr std::size_t kAtOnce = std::size_t{1} << 20;
    for (;;) {
        const ssize_t moved = ::sendfile(to, from, nullptr, kAtOnce);
        if (moved == 0) {
            return;
        }
        if (moved < 0 && errno != EINTR) {
            throw SystemError("copy");
        }
    }
}

void CopyTree(int from, int to) {
    for (const std::string& name : ListFolder(from)) {
        const struct stat info = StatAt(from, name);
        if (S_ISDIR(info.st_mode)) {
            if (::mkdirat(to, name.c_str(), 0700) != 0 && errno != EEXIST) {
                throw SystemError(name);
            }
            const Descriptor below = OpenFolder(to, name);
            CopyTree(OpenFolder(from, name).Get(), below.Get());
            const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
            if (::fchmod(below.Get(), info.st_mode & 07777) != 0 || ::futimens(below.Get(), times.data()) != 0) {
                throw SystemError(name);
            }
        } else if (S_ISREG(info.st_mode)) {
            CopyFile(from, to, name, info);
        } else if (S_ISLNK(info.st_mode)) {
            if (::symlinkat(ReadLinkAt(from, name).c_str(), to, name.c_str()) != 0) {
                throw SystemError(name);
            }
        }
    }
}

void RemoveTree(int at, const std::string& name) {
    if (::unlinkat(at, name.c_str(), 0) == 0 || errno == ENOENT) {
        return;
    }
    // A link that must not go (in /proc) is no folder, whatever it leads to.
    const int code = errno;
    if ((code != EISDIR && code != EPERM) || !S_ISDIR(StatAt(at, name).st_mode)) {
        throw SystemError(name, code);
    }
    // A folder without write permission cannot be emptied by an ordinary user before it gets it back; where it
    // does not, that shows below.
    static_cast<void>(::fchmodat(at, name.c_str(), 0700, 0) == 0);
    {
        const Descriptor folder = OpenFolder(at, name);
        for (const std::string& below : ListFolder(folder.Get())) {
            RemoveTree(folder.Get(), below);
        }
    }
    if (::unlinkat(at, name.c_str(), AT_REMOVEDIR) != 0) {
        throw SystemError(name);
    }
}

std::uint64_t TreeFingerprint(int folder) {
    std::uint64_t hash = 14695981039346656037ULL;  // FNV-1a's start value
    MixFolder(hash, folder);
    return hash;
}

void ReplaceFolder(int at, const std::string& name, const std::function<void(int folder)>& fill) {
    const std::string fresh = name + ".new";
    RemoveTree(at, fresh);
    try {
        MakeFolders(at, fresh);
        fill(OpenFolder(at, fresh).Get());
    } catch (...) {
        RemoveTree(at, fresh);
        throw;
    }
    if (::renameat2(at, fresh.c_str(), at, name.c_str(), RENAME_EXCHANGE) == 0) {
        RemoveTree(at, fresh);
        return;
    }
    // Either there is nothing to exchange with or the file system cannot do it.
    const std::string old = name + ".old";
    RemoveTree(at, old);
    if (::renameat(at, name.c_str(), at, old.c_str()) != 0 && errno != ENOENT) {
        throw SystemError(name);
    }
    if (::renameat(at, fresh.c_str(), at, name.c_str()) != 0) {
        throw SystemError(name);
    }
    RemoveTree(at, old);
}

}  // namespace simset
