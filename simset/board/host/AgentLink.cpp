#include "simset/board/host/AgentLink.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "simset/base/Errors.h"

namespace simset {
namespace {

constexpr int kFirstSpareFd = 64;  // above every fixed descriptor of the agent

Pipe SocketPair() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw SystemError("socketpair");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string FirstLine(const char* path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

// Names the setting that stands in the way, as far as the machine tells.
[[noreturn]] void ThrowNoNamespaces(int code) {
    std::string text =
        "this machine does not allow simset its namespaces (" + std::string(std::strerror(code)) + "). ";
    for (const char* kind : {"user", "mnt", "pid", "net"}) {
        const std::string name = "max_" + std::string(kind) + "_namespaces";
        if (FirstLine(("/proc/sys/user/" + name).c_str()) == "0") {
            throw RunError(kExitNoNamespaces,
                           text + "Set user." + name + " above 0: sysctl -w user." + name + "=10000");
        }
    }
    if (FirstLine("/proc/sys/kernel/unprivileged_userns_clone") == "0") {
        text += "Allow them to ordinary users: sysctl -w kernel.unprivileged_userns_clone=1";
    } else if (FirstLine("/proc/sys/kernel/apparmor_restrict_unprivileged_userns") == "1") {
        text += "Allow them to ordinary users: sysctl -w kernel.apparmor_restrict_unprivileged_userns=0";
    } else {
        text +=
            "In a container, start it with --privileged, or with --cap-add SYS_ADMIN --security-opt "
            "seccomp=unconfined --security-opt apparmor=unconfined; elsewhere check user.max_user_namespaces and "
            "the system's security modules, or run simset as root";
    }
    throw RunError(kExitNoNamespaces, text);
}

bool WriteText(const char* path, const char* text) {
    const int fd = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool written = ::write(fd, text, std::strlen(text)) >= 0;
    ::close(fd);
    return written;
}

// What the cloned child does before it executes the agent: system calls only, since the parent has threads.
struct ChildPlan {
    std::array<int, 6> fds{};  // become kRequestFd and following
    bool userNamespace = false;
    char uidMap[64] = {};
    char gidMap[64] = {};
};

[[noreturn]] void RunChild(const ChildPlan& plan) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (plan.userNamespace) {
        WriteText("/proc/self/setgroups", "deny");
        if (!WriteText("/proc/self/uid_map", plan.uidMap) || !WriteText("/proc/self/gid_map", plan.gidMap)) {
            ::_exit(126);
        }
    }
    std::array<int, 6> spare{};
    for (std::size_t i = 0; i < plan.fds.size(); ++i) {
        spare[i] = ::fcntl(plan.fds[i], F_DUPFD, kFirstSpareFd);
    }
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, 0);
    ::dup2(null, 1);
    for (std::size_t i = 0; i < spare.size(); ++i) {
        ::dup2(spare[i], kRequestFd + static_cast<int>(i));
    }
    ::syscall(SYS_close_range, kRequestFd + spare.size(), ~0U, 0);
    ::execl("/proc/self/exe", "simset", kAgentArgument, static_cast<char*>(nullptr));
    ::_exit(127);
}

long CloneInto(unsigned long namespaces) {
    return ::syscall(SYS_clone, namespaces | SIGCHLD, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

AgentLink::AgentLink(const AgentConfig& config, int stateFolder, const std::array<int, 3>& streams) {
    auto [requests, requestEnd] = SocketPair();
    auto [events, eventEnd] = SocketPair();
    const int on = 1;
    ::setsockopt(events.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    m_requests = std::move(requests);
    m_events = std::move(events);
    Spawn(stateFolder, streams, requestEnd, eventEnd);
    requestEnd.Reset();
    eventEnd.Reset();
    try {
        m_tooSmall = Request({request::kBuild, nlohmann::json(config).dump()}).parts;
    } catch (const std::exception& error) {
        Kill();
        if (std::strstr(error.what(), std::strerror(ENOSPC)) != nullptr) {
            throw RunError(kExitState, std::string("the state folder cannot be written: ") + error.what());
        }
        throw RunError(kExitInternal, std::string("the set's file tree cannot be built: ") + error.what());
    }
}

AgentLink::~AgentLink() {
    Kill();
}

void AgentLink::Spawn(int stateFolder, const std::array<int, 3>& streams, const Descriptor& requestEnd,
                      const Descriptor& eventEnd) {
    ChildPlan plan;
    plan.fds = {requestEnd.Get(), eventEnd.Get(), stateFolder, streams[0], streams[1], streams[2]};
    std::snprintf(plan.uidMap, sizeof plan.uidMap, "0 %u 1\n", ::geteuid());
    std::snprintf(plan.gidMap, sizeof plan.gidMap, "0 %u 1\n", ::getegid());
    // Neither IPC nor user names are separated: shared memory with the X server stays possible.
    constexpr unsigned long kNamespaces = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET;
    long pid = ::geteuid() == 0 ? CloneInto(kNamespaces) : -1;
    if (pid < 0) {
        plan.userNamespace = true;
        pid = CloneInto(kNamespaces | CLONE_NEWUSER);
    }
    if (pid < 0) {
        ThrowNoNamespaces(errno);
    }
    if (pid == 0) {
        RunChild(plan);
    }
    m_init = static_cast<pid_t>(pid);
}

Message AgentLink::Request(const std::vector<std::string>& parts, const std::vector<int>& fds) {
    const std::lock_guard lock(m_requestMutex);
    std::optional<Message> answer;
    if (SendMessage(m_requests.Get(), parts, fds)) {
        answer = ReceiveMessage(m_requests.Get());
    }
    if (!answer || answer->parts.empty()) {
        throw std::runtime_error("the set is off");
    }
    if (answer->parts[0] != "ok") {
        throw std::runtime_error(answer->parts.size() > 1 ? answer->parts[1] : "refused");
    }
    answer->parts.erase(answer->parts.begin());
    return std::move(*answer);
}

pid_t AgentLink::StartApplication() {
    try {
        Request({request::kStart});
    } catch (const std::exception& error) {
        throw RunError(kExitUsage, error.what());
    }
    // Sent before the execution that the answer above confirms, so it is already there.
    const std::optional<Message> event = NextEvent();
    if (!event || event->parts.at(0) != event::kStarting) {
        throw RunError(kExitInternal, "the application did not start");
    }
    return event->sender;
}

void AgentLink::Kill() {
    if (m_init > 0) {
        ::kill(m_init, SIGKILL);
        int status = 0;
        while (::waitpid(m_init, &status, 0) < 0 && errno == EINTR) {
        }
        m_init = -1;
    }
}

}  // namespace simset
