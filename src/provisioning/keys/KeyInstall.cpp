// The key worker: takes the assembled file to the place that its kind demands, has it installed and checked, and
// tells the line what it came to.
#include <array>
#include <cstdint>
#include <mutex>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "log/LogPrint.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "protocol/CommandCatalogue.h"
#include "provisioning/keys/FileCrc.h"
#include "provisioning/keys/KeyStaging.h"

namespace {

constexpr char kWorker[] = "ZelKeyUpgradeThread";

enum class Installer : std::uint8_t {
    KeyStore,  // the factory auxiliary library alone
    CiPlus,    // the television's software first, then the library
    Configuration
};

// One kind of file that the line sends: its commands and texts as they stand in the trace and the log.
struct KeyRow {
    std::uint16_t commandId;
    Installer installer;
    KEY key;              // not for configurations
    std::int32_t ciType;  // of CI+ credentials
    zel::QueryValue crc;
    const char* clearFolder;
    const char* makeFolder;
    const char* stage;
    const char* path;  // handed to the installer
    const char* removeStaged;
    const char* writeFailed;  // the key store's own lines, null for the other installers
    const char* checkFailed;
};

constexpr std::int32_t kNoCiType = 0;
constexpr KEY kNoKey = KEY_NETFLIX;

// ESN_ULPK_MAC is staged under its own name and installed as the Widevine keybox: the library knows the pair.
constexpr std::array<KeyRow, 8> kKeyRows = {{
    {zel::command::kKeyHdcp1, Installer::KeyStore, KEY_HDCP1, kNoCiType, zel::QueryValue::Hdcp1,
     "rm -rf /tmp/tmpkey/HDCP1/", "mkdir -p /tmp/tmpkey/HDCP1/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/HDCP1/ZelHDCP1Key.bin", "/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin",
     "rm -rf /tmp/tmpkey/HDCP1/", "=========writeKeys HDCP1 ret:%d=========\n",
     "=========checkKeyFile HDCP1 ret:%d=========\n"},
    {zel::command::kKeyHdcp2, Installer::KeyStore, KEY_HDCP2, kNoCiType, zel::QueryValue::Hdcp2,
     "rm -rf /tmp/tmpkey/HDCP2/", "mkdir -p /tmp/tmpkey/HDCP2/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/HDCP2/ZelHDCP2Key.bin", "/tmp/tmpkey/HDCP2/ZelHDCP2Key.bin",
     "rm -rf /tmp/tmpkey/HDCP2/", "=========writeKeys HDCP2 ret:%d=========\n",
     "=========checkKeyFile HDCP2 ret:%d=========\n"},
    {zel::command::kKeyCiPlus, Installer::CiPlus, KEY_CIPLUS, 1, zel::QueryValue::CiPlus,
     "rm -rf /tmp/tmpkey/CIPLUS/", "mkdir -p /tmp/tmpkey/CIPLUS/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin",
     "/tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin", "rm -rf /tmp/tmpkey/CIPLUS/", nullptr, nullptr},
    {zel::command::kKeyEsnUlpkMac, Installer::KeyStore, KEY_WIDEVINE, kNoCiType, zel::QueryValue::EsnUlpkMac,
     "rm -rf /tmp/tmpkey/ESN_ULPK_MAC/", "mkdir -p /tmp/tmpkey/ESN_ULPK_MAC/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/ESN_ULPK_MAC/ESN_ULPK_MAC_123.bin", "/tmp/tmpkey/WIDEVINE/KeyBox01.bin",
     "rm -rf /tmp/tmpkey/ESN_ULPK_MAC/", "=========writeKeys ESN_ULPK_MAC ret:%d=========\n",
     "=========checkKeyFile ESN_ULPK_MAC ret:%d=========\n"},
    {zel::command::kKeyWidevine, Installer::KeyStore, KEY_WIDEVINE, kNoCiType, zel::QueryValue::Widevine,
     "rm -rf /tmp/tmpkey/WIDEVINE/", "mkdir -p /tmp/tmpkey/WIDEVINE/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/WIDEVINE/KeyBox01.bin", "/tmp/tmpkey/WIDEVINE/KeyBox01.bin",
     "rm -rf /tmp/tmpkey/WIDEVINE/", "=========writeKeys WIDEVINE ret:%d=========\n",
     "=========checkKeyFile WIDEVINE ret:%d=========\n"},
    {zel::command::kConfigFile, Installer::Configuration, kNoKey, kNoCiType, zel::QueryValue::Config,
     "rm -rf /tmp/tmpkey/CONFIG/", "mkdir -p /tmp/tmpkey/CONFIG/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/CONFIG/config.ini", "/tmp/tmpkey/CONFIG/config.ini",
     "rm -rf /tmp/tmpkey/CONFIG/config.ini", nullptr, nullptr},
    {zel::command::kKeyNetflix, Installer::KeyStore, KEY_NETFLIX, kNoCiType, zel::QueryValue::Netflix,
     "rm -rf /tmp/tmpkey/NETFLIX/", "mkdir -p /tmp/tmpkey/NETFLIX/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/NETFLIX/NETFLIX_123.bin", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin",
     "rm -rf /tmp/tmpkey/NETFLIX/", "=========writeKeys NETFLIX ret:%d=========\n",
     "=========checkKeyFile NETFLIX ret:%d=========\n"},
    {zel::command::kKeyCiPlusEcp, Installer::CiPlus, KEY_CIPLUSECP, 2, zel::QueryValue::CiPlusEcp,
     "rm -rf /tmp/tmpkey/CIPLUSECP/", "mkdir -p /tmp/tmpkey/CIPLUSECP/",
     "mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/CIPLUSECP/ECPCIPLUSMTK96020000QX00000002.bin",
     "/tmp/tmpkey/CIPLUSECP/ECPCIPLUSMTK96020000QX00000002.bin", "rm -rf /tmp/tmpkey/CIPLUSECP/", nullptr,
     nullptr},
}};

const KeyRow* FindRow(std::uint16_t commandId) {
    for (const KeyRow& row : kKeyRows) {
        if (row.commandId == commandId) {
            return &row;
        }
    }
    return nullptr;
}

void Run(const char* command, int line) {
    if (!zel::RunUnread(command)) {
        zel::LogFailLoud(kWorker, line);
    }
}

// Each returns the result that decides the answer.

std::int32_t InstallInKeyStore(const KeyRow& row) {
    const std::int32_t written = writeKeys({row.path}, row.key);
    if (written != 0) {
        zel::LogPrint(row.writeFailed, written);
    }
    const std::int32_t checked = checkKeyFile(row.key);
    if (checked != 0) {
        zel::LogPrint(row.checkFailed, checked);
    }
    return checked;
}

std::int32_t InstallCiPlus(UartManager& manager, const KeyRow& row) {
    if (zel::PrintIfFailed(manager.ZelWriteCIKey(row.ciType, row.path), kWorker, __LINE__) == 0) {
        zel::PrintIfFailed(writeKeys({row.path}, row.key), kWorker, __LINE__);
    }
    manager.ClearPendingFrames();
    return zel::PrintIfFailed(manager.ZelCheckCIKey(row.ciType), kWorker, __LINE__);
}

std::int32_t InstallConfiguration(UartManager& manager, const KeyRow& row) {
    const std::int32_t written = zel::PrintIfFailed(manager.ZelWriteConfigFile(row.path), kWorker, __LINE__);
    return written | zel::PrintIfFailed(manager.ZelCheckConfig(), kWorker, __LINE__);
}

std::int32_t Install(UartManager& manager, const KeyRow& row) {
    switch (row.installer) {
        case Installer::CiPlus:
            return InstallCiPlus(manager, row);
        case Installer::Configuration:
            return InstallConfiguration(manager, row);
        case Installer::KeyStore:
            break;
    }
    return InstallInKeyStore(row);
}

}  // namespace

void UartManager::InstallReceivedKey() {
    // Workers share the staging area; one that is started while another still ends waits for it.
    static std::mutex installation;
    const std::lock_guard<std::mutex> installing(installation);

    std::uint16_t commandId = 0;
    {
        const std::lock_guard<std::mutex> lock(m_keyFrameMutex);
        commandId = m_keyFrame.CommandId();
        m_keyTransfer.busy = 1;
    }
    ClearPendingFrames();
    Run("rm /tmp/tmpkey/tmp_*.bin", __LINE__);
    zel::SyncStorage();

    const KeyRow* const row = FindRow(commandId);
    std::uint32_t crc = 0;
    if (zel::FileCrc(zel::kAssemblyFile, crc) == 1) {
        zel::LogPrint(" u16CmdId:0x%x u32Crc:0x%x\n", commandId, crc);
        if (row != nullptr) {
            m_queryValues[static_cast<std::size_t>(row->crc)] = static_cast<std::int32_t>(crc);
        }
    } else {
        zel::LogPrint(" %s %d 32 bit crc fail!!!\n", kWorker, __LINE__);
    }

    if (row == nullptr) {
        zel::SyncStorage();
        zel::LogFailLoud(kWorker, __LINE__);
        SendStatusReply(commandId, 1);
        m_keyTransfer.Clear();
        m_keyTransfer.busy = 0;
        return;
    }

    Run(row->clearFolder, __LINE__);
    Run(row->makeFolder, __LINE__);
    Run(row->stage, __LINE__);
    zel::SyncStorage();

    const std::int32_t result = Install(*this, *row);

    Run(row->removeStaged, __LINE__);
    zel::RemoveEmptyFolder(zel::kStagingFolder);
    zel::SyncStorage();

    if (result != 0) {
        zel::LogFailLoud(kWorker, __LINE__);
        SendStatusReply(commandId, 1);
    } else {
        ClearPendingFrames();
        if (row->installer == Installer::Configuration) {
            SendCommand(zel::command::kConfigFile, 0, " ");
        } else {
            SendStatusReply(commandId, 0);
            m_bCurrentKeyFinish = true;
        }
    }
    m_keyTransfer.Clear();
    m_keyTransfer.busy = 0;
}
