// The key worker: takes the assembled file to the place that its kind demands, has it installed and checked, and
// tells the line what it came to.
#include <array>
#include <cstdint>
#include <string>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "protocol/CommandCatalogue.h"
#include "provisioning/FileCrc.h"
#include "provisioning/KeyStaging.h"
#include "support/LogPrint.h"
#include "support/Shell.h"
#include "support/Storage.h"

namespace {

constexpr char kWorker[] = "ZelKeyUpgradeThread";

enum class Installer : std::uint8_t {
    KeyStore,  // the factory auxiliary library alone
    CiPlus,    // the television's software first, then the library
    Configuration
};

// One kind of file that the line sends. It is staged in a folder of its name.
struct KeyRow {
    std::uint16_t commandId;
    const char* name;  // of the staging folder and in the log
    const char* file;
    Installer installer;
    KEY key;                 // not for configurations
    std::int32_t ciType;     // of CI+ credentials
    const char* listedFile;  // what the library is handed, null: the staged file
    zel::QueryValue crc;
};

constexpr std::int32_t kNoCiType = 0;
constexpr KEY kNoKey = KEY_NETFLIX;

// ESN_ULPK_MAC is staged under its own name and installed as the Widevine keybox: the library knows the pair.
constexpr std::array<KeyRow, 8> kKeyRows = {{
    {zel::command::kKeyHdcp1, "HDCP1", "ZelHDCP1Key.bin", Installer::KeyStore, KEY_HDCP1, kNoCiType, nullptr,
     zel::QueryValue::Hdcp1},
    {zel::command::kKeyHdcp2, "HDCP2", "ZelHDCP2Key.bin", Installer::KeyStore, KEY_HDCP2, kNoCiType, nullptr,
     zel::QueryValue::Hdcp2},
    {zel::command::kKeyCiPlus, "CIPLUS", "CIPLUSMTK9602QX00000001.bin", Installer::CiPlus, KEY_CIPLUS, 1, nullptr,
     zel::QueryValue::CiPlus},
    {zel::command::kKeyEsnUlpkMac, "ESN_ULPK_MAC", "ESN_ULPK_MAC_123.bin", Installer::KeyStore, KEY_WIDEVINE,
     kNoCiType, "/tmp/tmpkey/WIDEVINE/KeyBox01.bin", zel::QueryValue::EsnUlpkMac},
    {zel::command::kKeyWidevine, "WIDEVINE", "KeyBox01.bin", Installer::KeyStore, KEY_WIDEVINE, kNoCiType, nullptr,
     zel::QueryValue::Widevine},
    {zel::command::kConfigFile, "CONFIG", "config.ini", Installer::Configuration, kNoKey, kNoCiType, nullptr,
     zel::QueryValue::Config},
    {zel::command::kKeyNetflix, "NETFLIX", "NETFLIX_123.bin", Installer::KeyStore, KEY_NETFLIX, kNoCiType, nullptr,
     zel::QueryValue::Netflix},
    {zel::command::kKeyCiPlusEcp, "CIPLUSECP", "ECPCIPLUSMTK96020000QX00000002.bin", Installer::CiPlus,
     KEY_CIPLUSECP, 2, nullptr, zel::QueryValue::CiPlusEcp},
}};

const KeyRow* FindRow(std::uint16_t commandId) {
    for (const KeyRow& row : kKeyRows) {
        if (row.commandId == commandId) {
            return &row;
        }
    }
    return nullptr;
}

void Run(const std::string& command, int line) {
    if (!zel::RunUnread(command)) {
        zel::LogFailLoud(kWorker, line);
    }
}

std::int32_t Printed(std::int32_t result, int line) {
    if (result != 0) {
        zel::PrintFail(kWorker, line);
    }
    return result;
}

// Each returns the result that decides the answer.

std::int32_t InstallInKeyStore(const KeyRow& row, const std::string& path) {
    const std::int32_t written = writeKeys({path}, row.key);
    if (written != 0) {
        zel::LogPrint("=========writeKeys %s ret:%d=========\n", row.name, written);
    }
    const std::int32_t checked = checkKeyFile(row.key);
    if (checked != 0) {
        zel::LogPrint("=========checkKeyFile %s ret:%d=========\n", row.name, checked);
    }
    return checked;
}

std::int32_t InstallCiPlus(UartManager& manager, const KeyRow& row, const std::string& path) {
    if (Printed(manager.ZelWriteCIKey(row.ciType, path), __LINE__) == 0) {
        Printed(writeKeys({path}, row.key), __LINE__);
    }
    manager.ClearPendingFrames();
    return Printed(manager.ZelCheckCIKey(row.ciType), __LINE__);
}

std::int32_t InstallConfiguration(UartManager& manager, const std::string& path) {
    const std::int32_t written = Printed(manager.ZelWriteConfigFile(path.c_str()), __LINE__);
    return written | Printed(manager.ZelCheckConfig(), __LINE__);
}

std::int32_t Install(UartManager& manager, const KeyRow& row, const std::string& staged) {
    const std::string path = row.listedFile == nullptr ? staged : row.listedFile;
    switch (row.installer) {
        case Installer::CiPlus:
            return InstallCiPlus(manager, row, path);
        case Installer::Configuration:
            return InstallConfiguration(manager, path);
        case Installer::KeyStore:
            break;
    }
    return InstallInKeyStore(row, path);
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

    const std::string folder = zel::kStagingFolder + std::string(row->name) + "/";
    const std::string staged = folder + row->file;
    Run("rm -rf " + folder, __LINE__);
    Run("mkdir -p " + folder, __LINE__);
    Run("mv " + std::string(zel::kAssemblyFile) + " " + staged, __LINE__);
    zel::SyncStorage();

    const std::int32_t result = Install(*this, *row, staged);

    const bool isConfiguration = row->installer == Installer::Configuration;
    Run("rm -rf " + (isConfiguration ? staged : folder), __LINE__);
    zel::SyncStorage();

    if (result != 0) {
        zel::LogFailLoud(kWorker, __LINE__);
        SendStatusReply(commandId, 1);
    } else {
        ClearPendingFrames();
        if (isConfiguration) {
            SendCommand(zel::command::kConfigFile, 0, " ");
        } else {
            SendStatusReply(commandId, 0);
            m_bCurrentKeyFinish = true;
        }
    }
    m_keyTransfer.Clear();
    m_keyTransfer.busy = 0;
}
