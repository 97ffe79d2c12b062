#include "test_adapter/ApplicationTest.h"

#include <algorithm>
#include <array>

#include "UartManager/UartManager.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Storage.h"

namespace {

constexpr std::int32_t kStatusStopped = 4;

constexpr std::int32_t kPowerKey = 70;
constexpr std::array<std::int32_t, 7> kReportedKeys{kPowerKey, 161, 162, 163, 164, 166, 168};
constexpr std::array<std::int32_t, 2> kConfirmedKeys{105, 106};

constexpr std::uint16_t kConfirmedKeyCommand = 0x1290;
constexpr std::int32_t kKeyReportCommand = 0x1287;

template <std::size_t size>
bool Contains(const std::array<std::int32_t, size>& keys, std::int32_t key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

// Every step is made: the set must restart even when its LED does not answer.
void LeaveModeAndRestart(UartManager& manager) {
    FlashEnv::instance().setEnv("ZelFacMode", "0");
    manager.SetRunMode(zel::RunMode::None);
    zel::PrintIfFailed(manager.ZelSetValue(zel::key::kLedFlicker, 0), "onKeyEvent", 213);
    zel::SyncStorage();
    zel::PrintIfFailed(manager.ZelSetAction(zel::key::kReboot), "onKeyEvent", 221);
}

}  // namespace

std::atomic<qx::apmclient::AppManagerClientAdapter*> s_appManagerClientAdapter{nullptr};

const std::string ApplicationTest::appId = "ZelFactory_Eu4K";

std::int32_t ApplicationTest::onKeyEvent(const qx::appmanager::KeyEvent& event) {
    UartManager* manager = UartManager::GetInstance();
    if (manager == nullptr) {
        return 0;
    }
    const std::int32_t key = event.keyCode;
    if (Contains(kConfirmedKeys, key) && manager->IsFactoryMode()) {
        manager->SendStatusReply(kConfirmedKeyCommand, 0);
    }
    if (Contains(kReportedKeys, key) && manager->IsFactoryMode()) {
        manager->SendCommand(kKeyReportCommand, key, " ");
    }
    if (key == kPowerKey && (manager->IsAgingMode() || manager->IsUsbUpdateMode())) {
        LeaveModeAndRestart(*manager);
    }
    return 0;
}

std::int32_t ApplicationTest::requestStop(const std::string&) {
    qx::apmclient::AppManagerClientAdapter* adapter = s_appManagerClientAdapter;
    if (adapter != nullptr) {
        adapter->notifyAppStatusInfo(appId, kStatusStopped);
        adapter->unRegisterApp(appId);
    }
    return 0;
}

std::string ApplicationTest::getAppId() {
    return appId;
}

std::int32_t ApplicationTest::requestStart(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestPause(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestResume(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestSuspend(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestWakeup(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestForeground(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestBackground(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestShow(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestHide(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestReload(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestLanguageChange(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestCountryChange(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestDisplayChange(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestUserData(const std::string&, const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestMessage(const std::string&, const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestFocus(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestUnfocus(const std::string&) {
    return 0;
}

std::int32_t ApplicationTest::requestStatus(const std::string&) {
    return 0;
}
