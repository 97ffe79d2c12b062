// Takes customer files from the stick into the set. A key file that was installed and checked is removed from the
// stick, so that each set consumes one.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "UartManager/UartManager.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/keys/KeyInstaller.h"
#include "provisioning/usb/SecondUpdate.h"
#include "provisioning/usb/StickNames.h"
#include "text/ShellWord.h"

namespace {

using zel::UpdateOutcome;

constexpr char kImport[] = "ZelSecondUpdateImport";
constexpr std::size_t kPathSize = 127;  // characters; a longer path is cut

struct ImportItem {
    const char* folder;  // of the customer folder
    const char* needle;
    const char* emptyWord;
    const char* label;
    const char* errorWord;
    const zel::FileKind* kind;  // null: the MAC range
};

constexpr zel::FileKind kHdcp14 = zel::KeyStoreKind(KEY_HDCP1);
constexpr zel::FileKind kHdcp22 = zel::KeyStoreKind(KEY_HDCP2);
constexpr zel::FileKind kWidevine = zel::KeyStoreKind(KEY_WIDEVINE);
constexpr zel::FileKind kNetflix = zel::KeyStoreKind(KEY_NETFLIX);

// In the order in which they are taken.
constexpr std::array<ImportItem, 8> kItems = {{
    {zel::stick::kConfigFolder, zel::stick::kConfigName, "config;", "Config", "config Err;",
     &zel::kConfigurationKind},
    {"HDCP14KEY", "HDCP14MTK9602", "hdcp14;", "HDCP14", "hdcp14 Err;", &kHdcp14},
    {"HDCP22KEY", "HDCP22MTK9602", "hdcp22;", "HDCP22", "hdcp22 Err;", &kHdcp22},
    {"widevine_9602", "WIDEVNMTK9602", "wvcenc;", "WVCENC", "wvcenc Err;", &kWidevine},
    {"Netflix_9602", "NETFLIXMT9602", "netflix;", "NETFLIX", "netflix Err;", &kNetflix},
    {"CI+", "CIPLUSMTK9602", "ci;", "CIPLUS", "ci Err;", &zel::kCiPlusKind},
    {"ECP_CI+", "ECPCIPLUSMTK9602", "ecp;", "CIPLUS_ECP", "ci ecp Err;", &zel::kCiPlusEcpKind},
    {"MAC", "mac.txt", "mac;", "", "mac Err;", nullptr},
}};

constexpr zel::SupervisorRequest kOemImport = {kImport,     13,          "oem Err;", "oem3 Err;",
                                               "oem2 Err;", "oem1 Err;", "rm"};

bool Install(UartManager& manager, const ImportItem& item, const std::string& path) {
    if (item.kind == nullptr) {
        return manager.ZelUpdateMac(path) == 0;
    }
    const zel::Installed installed = zel::InstallFile(manager, *item.kind, path);
    return (installed.written | installed.checked) == 0;
}

// Keys are used up; the configuration serves every set and the range file looks after itself.
bool IsConsumed(const ImportItem& item) {
    return item.kind != nullptr && item.kind->installer != zel::Installer::Configuration;
}

std::int32_t Find(UartManager& manager, const ImportItem& item, std::string& folder, std::string& name) {
    return manager.ZelGetUSBUpdateFileFullPath(std::string(zel::stick::kCustomerFolder) + "/" + item.folder,
                                               item.needle, folder, name);
}

// The number of items whose folder is there and holds no file for them.
int CountEmptyFolders(UartManager& manager) {
    int count = 0;
    std::string folder;
    std::string name;
    m_strSecondUpdateMessage.Append("the USB has empty folder:");
    for (const ImportItem& item : kItems) {
        if (Find(manager, item, folder, name) == 1) {
            ++count;
            m_strSecondUpdateMessage.Append(item.emptyWord);
            zel::LogFail(kImport, __LINE__);
        }
    }
    m_strSecondUpdateMessage.Set("");
    return count;
}

void ImportItems(UartManager& manager, UpdateOutcome& outcome) {
    std::string folder;
    std::string name;
    for (const ImportItem& item : kItems) {
        if (Find(manager, item, folder, name) != 0) {
            continue;
        }
        const std::string path = (folder + "/" + name).substr(0, kPathSize);
        std::printf("%s strFullUsbPath:%s\n", item.label, path.c_str());
        if (!Install(manager, item, path)) {
            zel::LogFail(kImport, __LINE__);
            outcome.bits |= UpdateOutcome::kFailed;
            m_strSecondUpdateMessage.Append(item.errorWord);
            continue;
        }
        outcome.bits |= UpdateOutcome::kSucceeded;
        if (IsConsumed(item) && !zel::RunUnread("rm -rf " + zel::ShellWord(path))) {
            zel::LogFail(kImport, __LINE__);
        }
    }
}

// The next start rebuilds its databases.
void RequestRebuild() {
    zel::LogIfFailed(FlashEnv::instance().setEnv("db_table", "0"), kImport, __LINE__);
    zel::SyncStorage();
}

}  // namespace

void UartManager::ZelSecondUpdateImport() {
    std::string folder;
    std::string name;
    UpdateOutcome outcome;
    if (!zel::NothingToSearch(
            ZelGetUSBUpdateFileFullPath(zel::stick::kCustomerFolder, zel::stick::kCustomerMarker, folder, name))) {
        const int emptyFolders = CountEmptyFolders(*this);
        ImportItems(*this, outcome);
        // The stick may be pulled as soon as the result is shown: what was used up must not come back.
        zel::SyncStorage();
        if (emptyFolders != 0) {
            m_secondUpdateStatus = zel::NothingUsable;
            SetStatusChanged(1);
            return;
        }
        RequestRebuild();
    }
    if (ZelGetUSBUpdateFileFullPath("", zel::stick::kOemEntry, folder, name) == 0) {
        zel::AskSupervisor(kOemImport, outcome);
        RequestRebuild();
    }

    zel::UpdateStatus status = zel::ImportErrors;
    if (outcome.bits == 0) {
        status = zel::NothingUsable;
    } else if (outcome.bits == UpdateOutcome::kSucceeded) {
        status = zel::ImportDone;
    }
    zel::EndUpdate(*this, kImport, status);
}
