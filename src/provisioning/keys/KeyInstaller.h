// How a customer's file gets into the set once it stands on a disk, whoever brought it: line or stick.
#ifndef ZELFAC_PROVISIONING_KEYS_KEYINSTALLER_H
#define ZELFAC_PROVISIONING_KEYS_KEYINSTALLER_H

#include <cstdint>
#include <functional>
#include <string>

#include "factory_aux/FactoryAux.h"

class UartManager;

namespace zel {

enum class Installer : std::uint8_t {
    KeyStore,  // the factory auxiliary library alone
    CiPlus,    // the television's software first, then the library
    Configuration
};

// What a file is to the set.
struct FileKind {
    Installer installer;
    KEY key;              // not for configurations
    std::int32_t ciType;  // of CI+ credentials
};

constexpr FileKind KeyStoreKind(KEY key) {
    return {Installer::KeyStore, key, 0};
}
inline constexpr FileKind kCiPlusKind = {Installer::CiPlus, KEY_CIPLUS, 1};
inline constexpr FileKind kCiPlusEcpKind = {Installer::CiPlus, KEY_CIPLUSECP, 2};
inline constexpr FileKind kConfigurationKind = {Installer::Configuration, KEY_NETFLIX, 0};

// What an installation came to; 0 is success. Who ordered it decides what counts.
struct Installed {
    std::int32_t written;  // the OR of the calls that take the file in
    std::int32_t checked;
};

// Called for each call that failed, before the next is made; `line` tells the calls of one kind apart.
using CallFailed = std::function<void(const char* call, int line, std::int32_t result)>;

// Installs the file at `path` and checks it. Every call is made even when an earlier one failed, but for the
// library's after a refused CI+ key. Worker, or main thread during a USB update.
Installed InstallFile(UartManager& manager, const FileKind& kind, const std::string& path,
                      const CallFailed& failed = nullptr);

}  // namespace zel

#endif
