// Takes customer files from the stick into the set. A key file that was installed and checked is removed from the
// stick, so that each set consumes one.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/usb/SecondUpdate.h"
#include "text/ShellWord.h"

namespace {

constexpr char kImport[] = "ZelSecondUpdateImport";
constexpr std::size_t kPathSize = 128;

enum class Kind : std::uint8_t { Configuration, Key, CiPlus, MacRange };

struct ImportItem {
    const char* folder;
    const char* needle;
    const char* emptyWord;
    const char* label;
    const char* errorWord;
    Kind kind;
    KEY key;              // of Key and CiPlus
    std::int32_t ciType;  // of CiPlus
};

constexpr KEY kNoKey = KEY_NETFLIX;
constexpr std::int32_t kNoCiType = 0;

// In the order in which they are taken.
constexpr std::array<ImportItem, 8> kItems = {{
    {"RW9602CustomerFile/CONFIG", zel::kConfigName, "config;", "Config", "config Err;", Kind::Configuration,
     kNoKey, kNoCiType},
    {"RW9602CustomerFile/HDCP14KEY", "HDCP14MTK9602", "hdcp14;", "HDCP14", "hdcp14 Err;", Kind::Key, KEY_HDCP1,
     kNoCiType},
    {"RW9602CustomerFile/HDCP22KEY", "HDCP22MTK9602", "hdcp22;", "HDCP22", "hdcp22 Err;", Kind::Key, KEY_HDCP2,
     kNoCiType},
    {"RW9602CustomerFile/widevine_9602", "WIDEVNMTK9602", "wvcenc;", "WVCENC", "wvcenc Err;", Kind::Key,
     KEY_WIDEVINE, kNoCiType},
    {"RW9602CustomerFile/Netflix_9602", "NETFLIXMT9602", "netflix;", "NETFLIX", "netflix Err;", Kind::Key,
     KEY_NETFLIX, kNoCiType},
    {"RW9602CustomerFile/CI+", "CIPLUSMTK9602", "ci;", "CIPLUS", "ci Err;", Kind::CiPlus, KEY_CIPLUS, 1},
    {"RW9602CustomerFile/ECP_CI+", "ECPCIPLUSMTK9602", "ecp;", "CIPLUS_ECP", "ci ecp Err;", Kind::CiPlus,
     KEY_CIPLUSECP, 2},
    {"RW9602CustomerFile/MAC", "mac.txt", "mac;", "", "mac Err;", Kind::MacRange, kNoKey, kNoCiType},
}};

constexpr zel::SupervisorRequest kOemImport = {
    kImport,
    "/var/run/.superwatch13",
    "touch /var/run/.superwatch13",
    " %s %d touch .superwatch13 fail\n",
    "oem Err;",
    "echo 13 > /var/run/superwatch",
    " %s %d echo 13 > /var/run/superwatch fail\n",
    "oem3 Err;",
    " %s %d fopen /var/run/.superwatch13 fail\n",
    "oem2 Err;",
    "oem1 Err;",
    " %s %d superwatch13 ssssssssssssssssssssssssssssss\n",
    "rm -rf /var/run/.superwatch13",
    " %s %d rm .superwatch13 fail\n",
};

// Every call is made even when an earlier one failed, but for the library's after a refused CI+ key.
bool Install(UartManager& manager, const ImportItem& item, const std::string& path) {
    bool succeeded = true;
    const auto check = [&succeeded](std::int32_t result) {
        succeeded = succeeded && result == 0;
        return result;
    };
    switch (item.kind) {
        case Kind::Configuration:
            check(manager.ZelWriteConfigFile(path.c_str()));
            check(manager.ZelCheckConfig());
            break;
        case Kind::Key:
            check(writeKeys({path}, item.key));
            check(checkKeyFile(item.key));
            break;
        case Kind::CiPlus:
            if (check(manager.ZelWriteCIKey(item.ciType, path)) == 0) {
                check(writeKeys({path}, item.key));
            }
            check(manager.ZelCheckCIKey(item.ciType));
            break;
        case Kind::MacRange:
            check(manager.ZelUpdateMac(path));
            break;
    }
    return succeeded;
}

// Keys are used up; the configuration serves every set and the range file looks after itself.
bool IsConsumed(const ImportItem& item) {
    return item.kind == Kind::Key || item.kind == Kind::CiPlus;
}

std::string ItemPath(const std::string& folder, const std::string& name) {
    std::array<char, kPathSize> path{};
    std::snprintf(path.data(), path.size(), "%s/%s", folder.c_str(), name.c_str());
    return path.data();
}

// The number of items whose folder is there and holds no file for them.
int CountEmptyFolders(UartManager& manager) {
    int count = 0;
    std::string folder;
    std::string name;
    m_strSecondUpdateMessage.Append("the USB has empty folder:");
    for (const ImportItem& item : kItems) {
        if (manager.ZelGetUSBUpdateFileFullPath(item.folder, item.needle, folder, name) == 1) {
            ++count;
            m_strSecondUpdateMessage.Append(item.emptyWord);
            zel::LogFail(kImport, __LINE__);
        }
    }
    m_strSecondUpdateMessage.Set("");
    return count;
}

void ImportItems(UartManager& manager, zel::Outcome& outcome) {
    std::string folder;
    std::string name;
    for (const ImportItem& item : kItems) {
        if (manager.ZelGetUSBUpdateFileFullPath(item.folder, item.needle, folder, name) != 0) {
            continue;
        }
        const std::string path = ItemPath(folder, name);
        std::printf("%s strFullUsbPath:%s\n", item.label, path.c_str());
        if (!Install(manager, item, path)) {
            zel::LogFail(kImport, __LINE__);
            outcome.bits |= zel::Outcome::kFailed;
            m_strSecondUpdateMessage.Append(item.errorWord);
            continue;
        }
        outcome.bits |= zel::Outcome::kSucceeded;
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
    zel::Outcome outcome;
    if (!zel::NothingToSearch(
            ZelGetUSBUpdateFileFullPath(zel::kCustomerFolder, zel::kCustomerMarker, folder, name))) {
        const int emptyFolders = CountEmptyFolders(*this);
        ImportItems(*this, outcome);
        if (emptyFolders != 0) {
            m_secondUpdateStatus = 0;
            SetStatusChanged(1);
            return;
        }
        RequestRebuild();
    }
    if (ZelGetUSBUpdateFileFullPath("", zel::kOemEntry, folder, name) == 0) {
        zel::AskSupervisor(kOemImport, outcome);
        RequestRebuild();
    }

    if (outcome.bits == zel::Outcome::kSucceeded) {
        m_secondUpdateStatus = 1;
        zel::ShowSuccessOnLed(*this, kImport);
    } else {
        m_secondUpdateStatus = outcome.bits == 0 ? 0 : 2;
    }
    std::printf(" m_secondUpdateStatus:%d m_strSecondUpdateMessage:%s\n", m_secondUpdateStatus.load(),
                m_strSecondUpdateMessage.Get().c_str());
    SetStatusChanged(1);
}
