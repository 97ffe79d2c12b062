#include "simset/board/inside/Agent.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include "simset/base/Files.h"
#include "simset/base/Partitions.h"
#include "simset/board/inside/Disks.h"
#include "simset/board/inside/Emulation.h"
#include "simset/board/inside/Keeper.h"
#include "simset/board/inside/Protocol.h"
#include "simset/board/inside/SetNetwork.h"
#include "simset/board/inside/SetTree.h"
#include "simset/wire/Message.h"

namespace simset {
namespace {

using Parts = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

// A path as a user names it, as the path that holds the bytes: the driver folder is not part of the real /proc.
std::string PathInSet(const std::string& path) {
    const std::string driver = "/proc/utopia_mdb";
    if (path.empty() || path[0] != '/') {
        throw std::runtime_error("'" + path + "' is not a path of the set: it must begin with /");
    }
    if (path == driver || path.rfind(driver + "/", 0) == 0) {
        return kDriverFolder + path.substr(driver.size());
    }
    return path;
}

// The device that holds a path, or would hold it.
dev_t DeviceOf(std::string path) {
    struct stat info {};
    while (::stat(path.c_str(), &info) != 0 && path.size() > 1) {
        path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    }
    return info.st_dev;
}

// Whether a path is a mount point or lies above one.
bool HoldsMount(const std::string& path) {
    std::istringstream mounts(ReadToEnd(OpenFile("/proc/self/mounts").Get()));
    std::string source;
    std::string target;
    while (mounts >> source >> target) {
        if (target == path || target.rfind(path + "/", 0) == 0) {
            return true;
        }
        std::getline(mounts, source);
    }
    return false;
}

// Makes the read-only partition that holds a path, or the root, writable for the time of one change from outside.
class Writable {
  public:
    explicit Writable(const std::string& path) {
        for (const Partition& partition : kPartitions) {
            if (path.rfind(std::string(partition.path) + "/", 0) == 0) {
                Open(partition.path, MS_NOSUID | MS_NODEV);
                return;
            }
        }
        if (DeviceOf(path) == DeviceOf("/")) {
            Open("/", 0);
        }
    }
    ~Writable() {
        if (m_mountPoint != nullptr) {
            Remount(MS_RDONLY);
        }
    }
    Writable(const Writable&) = delete;
    Writable& operator=(const Writable&) = delete;

  private:
    void Open(const char* mountPoint, unsigned long flags) {
        struct statvfs info {};
        if (::statvfs(mountPoint, &info) == 0 && (info.f_flag & ST_RDONLY) != 0) {
            m_mountPoint = mountPoint;
            m_flags = flags;
            Remount(0);
        }
    }
    void Remount(unsigned long flags) {
        ::mount(nullptr, m_mountPoint, nullptr, MS_REMOUNT | m_flags | flags, nullptr);
    }

    const char* m_mountPoint = nullptr;
    unsigned long m_flags = 0;
};

class Agent {
  public:
    int Run();

  private:
    struct Answer {
        Parts parts;
        Descriptor fd;
    };

    Answer Handle(const Message& message);
    Parts Build(const std::string& config);
    Parts Disks() const;
    std::string DiskRows() const;
    void ResizeDisk(const std::string& path, std::uint64_t size) const;
    void Start();
    [[noreturn]] void BecomeApplication(int errorPipe);
    void Reap();
    void ReadSupervisorFile();
    static Descriptor OpenForReading(const std::string& path);
    static void Put(const std::string& path, int content);
    void Remove(const std::string& path) const;
    static Parts List(const std::string& path);
    void KillWhenLate();
    int WaitTime() const;

    AgentConfig m_config;
    Keeper m_keeper{kStateFd};
    Descriptor m_signals;
    Descriptor m_watch;
    pid_t m_application = -1;
    std::optional<Clock::time_point> m_killAt;
    Parts m_root;  // what the root holds when the set is new
};

int Agent::Run() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t mask;
    ::sigemptyset(&mask);
    ::sigaddset(&mask, SIGCHLD);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    m_signals.Reset(::signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK));
    m_watch.Reset(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));

    for (;;) {
        std::array<pollfd, 3> polls{pollfd{kRequestFd, POLLIN, 0}, pollfd{m_signals.Get(), POLLIN, 0},
                                    pollfd{m_watch.Get(), POLLIN, 0}};
        if (::poll(polls.data(), polls.size(), WaitTime()) < 0 && errno != EINTR) {
            return 1;
        }
        KillWhenLate();
        if (polls[2].revents != 0) {
            ReadSupervisorFile();
        }
        if (polls[1].revents != 0) {
            Reap();
        }
        if (polls[0].revents != 0) {
            const std::optional<Message> message = ReceiveMessage(kRequestFd);
            if (!message || message->parts.empty()) {
                return 0;
            }
            Answer answer;
            try {
                answer = Handle(*message);
                answer.parts.insert(answer.parts.begin(), "ok");
            } catch (const std::exception& error) {
                answer.parts = {"error", error.what()};
                answer.fd.Reset();
            }
            SendMessage(kRequestFd, answer.parts,
                        answer.fd ? std::vector<int>{answer.fd.Get()} : std::vector<int>{});
        }
    }
}

Agent::Answer Agent::Handle(const Message& message) {
    const Parts& parts = message.parts;
    const auto argument = [&parts](std::size_t index) -> const std::string& { return parts.at(index); };
    Answer answer;
    if (parts[0] == request::kBuild) {
        answer.parts = Build(argument(1));
    } else if (parts[0] == request::kStart) {
        Start();
    } else if (parts[0] == request::kStop) {
        if (m_application > 0) {
            ::kill(m_application, SIGTERM);
            m_killAt = Clock::now() + std::chrono::milliseconds(std::stoi(argument(1)));
        }
    } else if (parts[0] == request::kSave) {
        m_keeper.Save();
    } else if (parts[0] == request::kOpen) {
        answer.fd = OpenForReading(PathInSet(argument(1)));
    } else if (parts[0] == request::kPut) {
        Put(PathInSet(argument(1)), message.fds.at(0).Get());
        m_keeper.Excuse();
    } else if (parts[0] == request::kRemove) {
        Remove(PathInSet(argument(1)));
        m_keeper.Excuse();
    } else if (parts[0] == request::kList) {
        answer.parts = List(PathInSet(argument(1)));
    } else if (parts[0] == request::kMounts) {
        answer.parts.push_back(ReadToEnd(OpenFile("/proc/self/mounts").Get()));
    } else if (parts[0] == request::kUnsaved) {
        answer.parts = m_keeper.Unsaved();
    } else if (parts[0] == request::kWritten) {
        answer.parts = m_keeper.Written();
    } else if (parts[0] == request::kDisks) {
        answer.parts = {DiskRows()};
    } else if (parts[0] == request::kResize) {
        ResizeDisk(argument(1), std::stoull(argument(2)));
    } else if (parts[0] == request::kPlug) {
        if (!MountStick({argument(1), argument(2) == "ro"}, std::stoull(argument(3)), kStateFd)) {
            answer.parts = {StickFolder(argument(1))};
        }
        m_keeper.Follow(argument(1));
    } else if (parts[0] == request::kUnplug) {
        m_keeper.SaveStick(argument(1));
        m_keeper.Forget(argument(1));
        UnmountStick(argument(1));
    } else if (parts[0] == request::kReadStick) {
        CopyTree(OpenFolder(AT_FDCWD, StickFolder(argument(1))).Get(), message.fds.at(0).Get());
    } else if (parts[0] == request::kSupervisor) {
        WriteFile(AT_FDCWD, "/var/run/.superwatch" + argument(1), argument(2));
    } else {
        throw std::runtime_error("unknown request " + parts[0]);
    }
    return answer;
}

Parts Agent::Build(const std::string& config) {
    nlohmann::json::parse(config).get_to(m_config);
    SetUpNetwork();
    Parts tooSmall = BuildSetTree(m_config, kStateFd);
    m_root = ListFolder(OpenFolder(AT_FDCWD, "/").Get());
    struct stat info {};
    if (::fstatat(kStateFd, "partitions", &info, 0) == 0) {
        m_keeper.PartitionsAreSaved();
    }
    for (const Stick& stick : m_config.sticks) {
        m_keeper.Follow(stick.name);
    }
    m_keeper.Save();
    ::inotify_add_watch(m_watch.Get(), "/var/run", IN_CLOSE_WRITE | IN_MOVED_TO);
    return tooSmall;
}

Parts Agent::Disks() const {
    Parts paths;
    for (const Partition& partition : kPartitions) {
        paths.emplace_back(partition.path);
    }
    for (const std::string& stick : m_keeper.Sticks()) {
        paths.push_back(StickFolder(stick));
    }
    return paths;
}

std::string Agent::DiskRows() const {
    auto disks = nlohmann::ordered_json::array();
    for (const std::string& path : Disks()) {
        const DiskUse use = UseOf(path);
        disks.push_back({{"path", path}, {"size", use.size}, {"used", use.used}, {"free", use.free}});
    }
    return disks.dump();
}

// A stick that is not plugged gets its size when it is.
void Agent::ResizeDisk(const std::string& path, std::uint64_t size) const {
    const Parts disks = Disks();
    if (std::find(disks.begin(), disks.end(), path) != disks.end() && !Resize(path, size)) {
        throw std::runtime_error(path + " holds more than that: " + std::to_string(UseOf(path).used) + " bytes");
    }
}

void Agent::Start() {
    auto [readEnd, writeEnd] = MakePipe();
    m_application = ::fork();
    if (m_application < 0) {
        throw SystemError("fork");
    }
    if (m_application == 0) {
        BecomeApplication(writeEnd.Get());
    }
    writeEnd.Reset();
    for (int i = 0; i < 3; ++i) {
        ::close(kStreamsFd + i);
    }
    int code = 0;
    ssize_t got = 0;
    do {
        got = ::read(readEnd.Get(), &code, sizeof code);
    } while (got < 0 && errno == EINTR);
    if (got == static_cast<ssize_t>(sizeof code)) {
        throw SystemError("cannot execute " + m_config.application, code);
    }
}

void Agent::BecomeApplication(int errorPipe) {
    std::vector<std::string> command = CommandOf(
        m_config, std::string(kInsideApplications) + m_config.application.substr(m_config.application.rfind('/')));
    std::vector<char*> arguments;
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::vector<char*> environment;
    for (std::string& entry : m_config.environment) {
        environment.push_back(entry.data());
    }
    environment.push_back(nullptr);
    ::setsid();
    for (int i = 0; i < 3; ++i) {
        ::dup2(kStreamsFd + i, i);
        ::close(kStreamsFd + i);
    }
    SendMessage(kEventFd, {event::kStarting});
    for (const int fd : {kRequestFd, kEventFd, kStateFd}) {
        ::close(fd);
    }
    ::signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(arguments.front(), arguments.data(), environment.data());
    const int code = errno;
    if (::write(errorPipe, &code, sizeof code) < 0) {
        std::perror("simset");
    }
    ::_exit(127);
}

void Agent::Reap() {
    signalfd_siginfo info{};
    while (::read(m_signals.Get(), &info, sizeof info) > 0) {
    }
    int status = 0;
    pid_t pid = 0;
    while ((pid = ::waitpid(-1, &status, WNOHANG)) > 0) {
        if (pid == m_application) {
            m_application = -1;
            m_killAt.reset();
            SendMessage(kEventFd, {event::kExited, std::to_string(status)});
        }
    }
}

void Agent::ReadSupervisorFile() {
    alignas(inotify_event) std::array<char, 4096> buffer{};
    bool written = false;
    ssize_t size = 0;
    while ((size = ::read(m_watch.Get(), buffer.data(), buffer.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            if (event.len > 0 && std::strcmp(buffer.data() + at + sizeof event, "superwatch") == 0) {
                written = true;
            }
            at += sizeof event + event.len;
        }
    }
    if (written) {
        std::ifstream in(kSupervisorFile);
        std::string word;
        in >> word;
        SendMessage(kEventFd, {event::kSupervisor, word});
    }
}

Descriptor Agent::OpenForReading(const std::string& path) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        throw SystemError(path);
    }
    if (!S_ISREG(info.st_mode)) {
        throw std::runtime_error(path + " is not a file");
    }
    return fd;
}

void Agent::Put(const std::string& path, int content) {
    const Writable writable(path);
    MakeFolders(AT_FDCWD, path.substr(0, std::max<std::size_t>(path.rfind('/'), 1)));
    const Descriptor target(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, 0644));
    if (!target) {
        throw SystemError(path);
    }
    CopyContent(content, target.Get());
}

void Agent::Remove(const std::string& given) const {
    std::string folder = given.substr(0, given.find_last_not_of('/') + 1);
    const std::string name = folder.substr(std::min(folder.rfind('/'), folder.size() - 1) + 1);
    folder.resize(folder.size() - name.size());
    std::array<char, PATH_MAX> real{};
    if (!folder.empty() && ::realpath(folder.c_str(), real.data()) == nullptr) {
        throw SystemError(given);
    }
    const std::string parent = std::strcmp(real.data(), "/") == 0 ? "" : real.data();
    const std::string path = parent + "/" + name;
    const bool ofRoot = parent.empty() && std::find(m_root.begin(), m_root.end(), name) != m_root.end();
    if (name.empty() || name == "." || name == ".." || ofRoot || HoldsMount(path)) {
        throw std::runtime_error(given + " is not removed: the set is built on it");
    }
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        throw SystemError(path);
    }
    const Writable writable(path);
    RemoveTree(AT_FDCWD, path);
}

Parts Agent::List(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        throw SystemError(path);
    }
    if (!S_ISDIR(info.st_mode)) {
        return {path};
    }
    return ListFolder(OpenFolder(AT_FDCWD, path).Get());
}

void Agent::KillWhenLate() {
    if (m_killAt && Clock::now() >= *m_killAt) {
        m_killAt.reset();
        if (m_application > 0) {
            ::kill(m_application, SIGKILL);
        }
    }
}

int Agent::WaitTime() const {
    if (!m_killAt) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_killAt - Clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

}  // namespace

int RunAgent() {
    // Set again after the exec, and before the first read: if simset is already gone, that read ends at once.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_NAME, "init");
    ::setsid();
    return Agent().Run();
}

}  // namespace simset
