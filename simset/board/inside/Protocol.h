// What simset and its agent inside the set say to each other.
#ifndef SIMSET_INSIDE_PROTOCOL_H
#define SIMSET_INSIDE_PROTOCOL_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace simset {

// simset is executed with this argument to become the agent, with its descriptors at fixed numbers.
constexpr const char* kAgentArgument = "--inside-the-set";

constexpr int kRequestFd = 3;  // socket: requests and their answers, one at a time
constexpr int kEventFd = 4;    // socket: events of the agent, and the application's start (credentials and errors)
constexpr int kStateFd = 5;    // the state folder
constexpr int kStreamsFd = 6;  // first of three: the application's standard input, output and error (6, 7, 8)

// Requests are lists of texts, the first is one of these; the answer is {"ok", …} or {"error", SENTENCE}.
namespace request {
constexpr const char* kBuild = "build";            // AgentConfig as JSON: build the tree; TOO-SMALL paths follow
constexpr const char* kStart = "start";            // start the application
constexpr const char* kStop = "stop";              // SIGTERM to the application, SIGKILL after GRACE ms
constexpr const char* kSave = "save";              // save what changed to the state folder
constexpr const char* kOpen = "open";              // PATH: answers with a descriptor to read from
constexpr const char* kPut = "put";                // PATH, with a descriptor whose content becomes that file
constexpr const char* kRemove = "rm";              // PATH
constexpr const char* kList = "ls";                // PATH: names follow
constexpr const char* kMounts = "mounts";          // the mount table
constexpr const char* kUnsaved = "unsaved";        // mount points with changes that are not saved follow
constexpr const char* kWritten = "written";        // as unsaved, but for what requests have changed
constexpr const char* kDisks = "disks";            // answers with a JSON list of path, size, used, free in bytes
constexpr const char* kResize = "resize";          // PATH, BYTES (0: no more than it holds)
constexpr const char* kPlug = "plug";              // NAME, "rw" | "ro", BYTES; answers as build
constexpr const char* kUnplug = "unplug";          // NAME
constexpr const char* kReadStick = "read-stick";   // NAME, with the target folder's descriptor
constexpr const char* kSupervisor = "supervisor";  // NUMBER, TEXT: the supervisor's answer into its marker
}  // namespace request

// Events are lists of texts.
namespace event {
constexpr const char* kExited = "exited";          // STATUS as waitpid gives it
constexpr const char* kSupervisor = "supervisor";  // what was written into the supervisor's control file
constexpr const char* kStarting = "starting";      // sent by the application's process just before it executes
}  // namespace event

// A stick that is in the set.
struct Stick {
    std::string name;  // "vu_sda1", …: the device's name as the set's mount table ends it
    bool readOnly = false;
};

// What the agent needs to know to build the set; paths are those of the PC.
struct AgentConfig {
    std::string root;         // empty folder on which the new root is mounted
    std::string application;  // the application's file
    std::string libraries;    // folder of the shared libraries that the set provides
    std::string shim;         // the preloaded redirecting library
    std::string shell;        // the logging shell
    std::string emulator;     // runs the application; empty: it runs by itself
    std::string sysroot;      // with an emulator: root that holds the application's own "/lib" and "/usr/lib"
    std::string serial;       // terminal device that becomes "/dev/ttyS0"
    std::string middleware;   // the middleware's socket
    std::string xSocket;      // the X server's socket; empty without a panel
    std::vector<std::string> environment;  // of the application, NAME=VALUE
    std::vector<Stick> sticks;
    std::map<std::string, std::uint64_t> sizes;  // of partitions and sticks, by path, where they are not their own
};

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Stick, name, readOnly)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AgentConfig, root, application, libraries, shim, shell, emulator, sysroot,
                                   serial, middleware, xSocket, environment, sticks, sizes)

}  // namespace simset

#endif
