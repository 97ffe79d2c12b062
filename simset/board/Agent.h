#ifndef SIMSET_BOARD_AGENT_H
#define SIMSET_BOARD_AGENT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace simset {

/// The part of simset that lives inside the set's namespaces as their first process: it builds the file tree,
/// starts the application and does file work there on request. When it dies the kernel ends everything in the
/// namespaces and drops their mounts; it dies with simset, whatever way simset ends.
///
/// It is `simset` itself, executed with kAgentArgument, with four descriptors at fixed numbers.
constexpr const char* kAgentArgument = "--inside-the-set";

enum AgentFd : int {
    kRequestFd = 3,  ///< socket: requests and their answers, one at a time
    kEventFd = 4,    ///< socket: events of the agent, and the application's start (credentials and errors)
    kStateFd = 5,    ///< the state folder
    kStreamsFd = 6   ///< first of three: the application's standard input, output and error (6, 7, 8)
};

/// Requests are lists of texts, the first is one of these; the answer is {"ok", …} or {"error", SENTENCE}.
namespace request {
constexpr const char* kBuild = "build";            ///< AgentConfig as JSON: build the tree
constexpr const char* kStart = "start";            ///< start the application
constexpr const char* kStop = "stop";              ///< SIGTERM to the application, SIGKILL after GRACE ms
constexpr const char* kSave = "save";              ///< save what changed to the state folder
constexpr const char* kOpen = "open";              ///< PATH: answers with a descriptor to read from
constexpr const char* kPut = "put";                ///< PATH, with a descriptor whose content becomes that file
constexpr const char* kRemove = "rm";              ///< PATH
constexpr const char* kList = "ls";                ///< PATH: names follow
constexpr const char* kMounts = "mounts";          ///< the mount table
constexpr const char* kPlug = "plug";              ///< NAME, "rw" | "ro"
constexpr const char* kUnplug = "unplug";          ///< NAME
constexpr const char* kReadStick = "read-stick";   ///< NAME, with the target folder's descriptor
constexpr const char* kSupervisor = "supervisor";  ///< NUMBER, TEXT: the supervisor's answer into its marker
}  // namespace request

/// Events are lists of texts.
namespace event {
constexpr const char* kExited = "exited";          ///< STATUS as waitpid gives it
constexpr const char* kSupervisor = "supervisor";  ///< what was written into the supervisor's control file
constexpr const char* kStarting = "starting";      ///< sent by the application's process just before it executes
}  // namespace event

/// A stick that is in the set.
struct Stick {
    std::string name;  ///< "vu_sda1", …: the device's name as the set's mount table ends it
    bool readOnly = false;
};

/// What the agent needs to know to build the set; paths are those of the PC.
struct AgentConfig {
    std::string root;                      ///< empty folder on which the new root is mounted
    std::string application;               ///< the application's file
    std::string libraries;                 ///< folder of the shared libraries that the set provides
    std::string shim;                      ///< the preloaded redirecting library
    std::string shell;                     ///< the logging shell
    std::string serial;                    ///< terminal device that becomes "/dev/ttyS0"
    std::string middleware;                ///< the middleware's socket
    std::string xSocket;                   ///< the X server's socket; empty without a panel
    std::vector<std::string> environment;  ///< of the application, NAME=VALUE
    std::vector<Stick> sticks;
};

void to_json(nlohmann::json& json, const Stick& stick);
void from_json(const nlohmann::json& json, Stick& stick);
void to_json(nlohmann::json& json, const AgentConfig& config);
void from_json(const nlohmann::json& json, AgentConfig& config);

/// Body of the agent; to be called by main when its first argument is kAgentArgument.
/// @return the process's exit status
int RunAgent();

}  // namespace simset

#endif  // SIMSET_BOARD_AGENT_H
