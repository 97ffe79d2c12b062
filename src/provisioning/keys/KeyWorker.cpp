// The key worker: takes the assembled file to the place that its kind demands, has it installed and checked, and
// tells the line what it came to.
#include <array>
#include <cstdint>
#include <string>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "protocol/CommandIds.h"
#include "provisioning/keys/FileCrc.h"
#include "provisioning/keys/KeyInstaller.h"
#include "provisioning/keys/KeyTransfer.h"

namespace zel {
namespace {

constexpr char kWorker[] = "ZelKeyUpgradeThread";

// How a file that the line sends is installed.
struct KeyRow {
    KeyFile file;
    FileKind kind;
    const char* word;  // in the log, and the name of its staging folder
    const char* name;  // the file's there
};

constexpr char kKeybox[] = "KeyBox01.bin";

// By KeyFile.
constexpr std::array<KeyRow, kKeyFiles.size()> kKeyRows = {{
    {KeyFile::Hdcp1, KeyStoreKind(KEY_HDCP1), "HDCP1", "ZelHDCP1Key.bin"},
    {KeyFile::Hdcp2, KeyStoreKind(KEY_HDCP2), "HDCP2", "ZelHDCP2Key.bin"},
    {KeyFile::CiPlus, kCiPlusKind, "CIPLUS", "CIPLUSMTK9602QX00000001.bin"},
    {KeyFile::EsnUlpkMac, KeyStoreKind(KEY_WIDEVINE), "ESN_ULPK_MAC", "ESN_ULPK_MAC_123.bin"},
    {KeyFile::Widevine, KeyStoreKind(KEY_WIDEVINE), "WIDEVINE", kKeybox},
    {KeyFile::Netflix, KeyStoreKind(KEY_NETFLIX), "NETFLIX", "NETFLIX_123.bin"},
    {KeyFile::CiPlusEcp, kCiPlusEcpKind, "CIPLUSECP", "ECPCIPLUSMTK96020000QX00000002.bin"},
    {KeyFile::Config, kConfigurationKind, "CONFIG", "config.ini"},
}};

const KeyRow* FindRow(std::uint16_t commandId) {
    const KeyFileInfo* info = FindKeyTransfer(commandId);
    return info == nullptr ? nullptr : &kKeyRows[static_cast<std::size_t>(info->file)];
}

bool IsConfiguration(const KeyRow& row) {
    return row.kind.installer == Installer::Configuration;
}

void Run(const std::string& command, int line) {
    if (!RunUnread(command)) {
        LogFailLoud(kWorker, line);
    }
}

// Returns the result that decides the answer.
std::int32_t Install(UartManager& manager, const KeyRow& row, const std::string& path) {
    const Installed installed =
        InstallFile(manager, row.kind, path, [&row](const char* call, int line, std::int32_t result) {
            if (row.kind.installer == Installer::KeyStore) {
                LogPrint("=========%s %s ret:%d=========\n", call, row.word, result);
            } else {
                PrintFail(kWorker, line);
            }
        });
    return IsConfiguration(row) ? installed.written | installed.checked : installed.checked;
}

}  // namespace

void KeyTransfer::InstallReceived() {
    std::uint16_t commandId = 0;
    {
        const std::lock_guard<std::mutex> lock(m_keyFrameMutex);
        commandId = m_keyFrame.CommandId();
    }
    m_manager.ClearPendingFrames();
    InstallAndAnswer(commandId);
    Clear();
    m_worker = Worker::None;
}

void KeyTransfer::InstallAndAnswer(std::uint16_t commandId) {
    Run("rm /tmp/tmpkey/tmp_*.bin", __LINE__);
    SyncStorage();

    const KeyRow* const row = FindRow(commandId);
    std::uint32_t crc = 0;
    if (FileCrc(kAssemblyFile, crc) == 1) {
        LogPrint(" u16CmdId:0x%x u32Crc:0x%x\n", commandId, crc);
        if (row != nullptr) {
            m_crcs[static_cast<std::size_t>(row->file)] = crc;
        }
    } else {
        LogPrint(" %s %d 32 bit crc fail!!!\n", kWorker, __LINE__);
    }
    if (row == nullptr) {
        SyncStorage();
        LogFailLoud(kWorker, __LINE__);
        m_manager.SendStatusReply(commandId, 1);
        return;
    }

    const std::string folder = std::string(kStagingFolder) + "/" + row->word + "/";
    const std::string staged = folder + row->name;
    Run("rm -rf " + folder, __LINE__);
    Run("mkdir -p " + folder, __LINE__);
    Run(std::string("mv ") + kAssemblyFile + " " + staged, __LINE__);
    SyncStorage();

    // ESN_ULPK_MAC is staged under its own name and installed as the Widevine keybox: the library knows the pair.
    const std::int32_t result =
        Install(m_manager, *row,
                row->file == KeyFile::EsnUlpkMac ? std::string(kStagingFolder) + "/WIDEVINE/" + kKeybox : staged);

    Run("rm -rf " + (IsConfiguration(*row) ? staged : folder), __LINE__);
    RemoveEmptyFolder(kStagingFolder);  // another file waits until the answer: nobody makes it anew meanwhile
    SyncStorage();

    if (result != 0) {
        LogFailLoud(kWorker, __LINE__);
        m_manager.SendStatusReply(commandId, 1);
        return;
    }
    m_manager.ClearPendingFrames();
    if (IsConfiguration(*row)) {
        m_manager.SendCommand(command::kConfigFile, 0, " ");
    } else {
        m_manager.SendStatusReply(commandId, 0);
        m_bCurrentKeyFinish = true;
    }
}

}  // namespace zel
