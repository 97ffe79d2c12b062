#include "simset/board/folder/StateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include "simset/base/Files.h"
#include "simset/base/Numbers.h"

namespace simset {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kChangePatience{10};        // with a change from outside
constexpr std::chrono::milliseconds kLookAtLockAgain{10};  // a lock is not waited for with a limit

RunError Unwritable(const std::string& path) {
    return RunError(kExitState, "the state folder " + path + " cannot be written: " + std::strerror(errno));
}

// The process that runs a set with this lock; empty when there is none, or it is gone.
std::string Holder(int lock) {
    std::array<char, 32> pid{};
    const ssize_t size = ::pread(lock, pid.data(), pid.size() - 1, 0);
    const auto number = ParseNumber<pid_t>(size > 0 ? pid.data() : "", 1);
    return number && (::kill(*number, 0) == 0 || errno == EPERM) ? pid.data() : "";
}

}  // namespace

StateFolder::StateFolder(const std::string& path, For purpose) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (!error) {
        m_path = std::filesystem::canonical(path, error).string();
    }
    if (!error) {
        m_folder.Reset(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        error.assign(m_folder ? 0 : errno, std::generic_category());
    }
    if (error) {
        const bool full = error == std::errc::no_space_on_device || error == std::errc::read_only_file_system;
        throw RunError(full ? kExitState : kExitUsage,
                       "the state folder " + path + " cannot be opened: " + error.message());
    }
    m_lock.Reset(::openat(m_folder.Get(), "lock", O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!m_lock) {
        throw Unwritable(m_path);
    }
    Lock(purpose);
    for (const char* name : {"root", "usb"}) {
        if (::mkdirat(m_folder.Get(), name, 0755) != 0 && errno != EEXIST) {
            throw Unwritable(m_path);
        }
    }
}

// The lock's file names the process of a set that runs, and is empty for a change from outside.
void StateFolder::Lock(For purpose) {
    const auto end = Clock::now() + kChangePatience;
    while (::flock(m_lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        const std::string holder = Holder(m_lock.Get());
        if (!holder.empty() || purpose == For::Control || Clock::now() > end) {
            throw FolderInUse(kExitUsage, "the state folder " + m_path + " is in use by another simset" +
                                              (holder.empty() ? "" : " (process " + holder + ")"));
        }
        std::this_thread::sleep_for(kLookAtLockAgain);
    }
    const std::string pid = purpose == For::Run ? std::to_string(::getpid()) : "";
    if (::ftruncate(m_lock.Get(), 0) != 0 ||
        ::pwrite(m_lock.Get(), pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        throw Unwritable(m_path);
    }
}

StateFolder::~StateFolder() {
    if (m_linked) {
        ::unlinkat(m_folder.Get(), "line", 0);
    }
}

std::string StateFolder::ShortPath(const std::string& name) const {
    return "/proc/self/fd/" + std::to_string(m_folder.Get()) + "/" + name;
}

void StateFolder::LinkLine(const std::string& terminal) {
    struct stat info {};
    if (::fstatat(m_folder.Get(), "line", &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISLNK(info.st_mode)) {
            throw RunError(kExitUsage, At("line") +
                                           " is not a link of simset's: move it away, the name is needed for "
                                           "the serial line");
        }
        ::unlinkat(m_folder.Get(), "line", 0);
    }
    if (::symlinkat(terminal.c_str(), m_folder.Get(), "line") != 0) {
        throw Unwritable(m_path);
    }
    m_linked = true;
}

}  // namespace simset
