// The set's file tree: its partitions, devices, programs and sticks.
#ifndef SIMSET_INSIDE_SETTREE_H
#define SIMSET_INSIDE_SETTREE_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simset/board/inside/Protocol.h"

namespace simset {

// What the set keeps without power, by folder: the partitions except "/var/run", whose content lives in memory on
// a set too, and the folder in which the TV service counts its hours.
constexpr std::array<const char*, 9> kKeptFolders = {
    "/zodata/critical", "/zodata/factory", "/zodata/model", "/var/local",    "/vendor/tvconfig/config",
    "/config",          "/serialdata",     "/certificate",  "/var/tvservice"};

// Fixed places inside the set for what is not a television's.
constexpr const char* kInsideApplications = "/simset/bin";
constexpr const char* kInsideLibraries = "/simset/lib";
constexpr const char* kInsideShim = "/simset/libsimset_shim.so";
constexpr const char* kInsideShell = "/simset/dash";
constexpr const char* kInsideMiddleware = "/simset/middleware";
constexpr const char* kDriverFolder = "/simset/utopia_mdb";  // what "/proc/utopia_mdb" shows through the shim

constexpr const char* kSupervisorFile = "/var/run/superwatch";

// Builds the set's file tree in the calling process's own mount namespace and makes it the root: PC folders that
// programs need (read-only), devices, partitions filled from the state folder, temporary folders. The PC's own
// mounts are out of reach afterwards. `stateFolder` is the descriptor of the state folder, which holds
// "partitions" when the set is not factory-new. Returns the partitions and sticks that hold more than their size,
// and are full with what they hold. Throws std::system_error.
std::vector<std::string> BuildSetTree(const AgentConfig& config, int stateFolder);

// Puts what a factory-new set has in its partitions below the open folder `root`. Throws std::runtime_error.
void FillFactoryNew(int root);

// The folder at which a stick of that name ("vu_sda1") is mounted
std::string StickFolder(const std::string& name);

// Mounts a stick with the content of state folder's "usb/NAME", of `size` bytes (0: full). False when it holds
// more, and is full with that. Throws std::system_error.
bool MountStick(const Stick& stick, std::uint64_t size, int stateFolder);

// Takes a stick out of the mount table, also while files on it are open. Throws std::system_error.
void UnmountStick(const std::string& name);

}  // namespace simset

#endif
