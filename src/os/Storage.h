// The partitions that hold factory data, and what makes data reach the flash. Callable from any thread.
#ifndef ZELFAC_OS_STORAGE_H
#define ZELFAC_OS_STORAGE_H

#include <array>

// The set mounts them read-only until a mode makes them writable.
namespace zel::partition {

constexpr char kCritical[] = "/zodata/critical";
constexpr char kFactory[] = "/zodata/factory";
constexpr char kModel[] = "/zodata/model";
constexpr char kVarLocal[] = "/var/local";
constexpr char kVarRun[] = "/var/run";
constexpr char kTvConfig[] = "/vendor/tvconfig/config";
constexpr char kConfig[] = "/config";
constexpr char kSerialData[] = "/serialdata";
constexpr char kCertificate[] = "/certificate";

// In the order in which mount(2) goes through them.
constexpr std::array<const char*, 9> kAll = {kCritical, kFactory, kModel,      kVarLocal,   kVarRun,
                                             kTvConfig, kConfig,  kSerialData, kCertificate};

}  // namespace zel::partition

namespace zel {

// sync(): returns when everything written so far would survive a power cut.
void SyncStorage();

// mount(2) of `mountPoint` with MS_REMOUNT alone: read-write. Returns 0, or -1 as mount(2) does.
int RemountReadWrite(const char* mountPoint);

// Makes the folder at `path` (without a slash at its end), whose parent must exist, so that nobody but the owner
// ever gets into it; one that exists lets only the owner in from now on. What stands there and is no folder is
// removed, a link before it leads anywhere.
void MakePrivateFolder(const char* path);

// Removes the folder at `path` if nothing is in it.
void RemoveEmptyFolder(const char* path);

}  // namespace zel

#endif
