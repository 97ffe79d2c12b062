#include "provisioning/keys/KeyInstaller.h"

#include "UartManager/UartManager.h"

namespace zel {

Installed InstallFile(UartManager& manager, const FileKind& kind, const std::string& path,
                      const CallFailed& failed) {
    const auto report = [&failed](const char* call, int line, std::int32_t result) {
        if (result != 0 && failed) {
            failed(call, line, result);
        }
        return result;
    };
    std::int32_t written = 0;
    std::int32_t checked = 0;
    switch (kind.installer) {
        case Installer::KeyStore:
            written = report("writeKeys", __LINE__, writeKeys({path}, kind.key));
            checked = report("checkKeyFile", __LINE__, checkKeyFile(kind.key));
            break;
        case Installer::CiPlus:
            written = report("ZelWriteCIKey", __LINE__, manager.ZelWriteCIKey(kind.ciType, path));
            if (written == 0) {
                written = report("writeKeys", __LINE__, writeKeys({path}, kind.key));
            }
            manager.ClearPendingFrames();
            checked = report("ZelCheckCIKey", __LINE__, manager.ZelCheckCIKey(kind.ciType));
            break;
        case Installer::Configuration:
            written = report("ZelWriteConfigFile", __LINE__, manager.ZelWriteConfigFile(path.c_str()));
            checked = report("ZelCheckConfig", __LINE__, manager.ZelCheckConfig());
            break;
    }
    return {written, checked};
}

}  // namespace zel
