#include "test_adapter/ApplicationTest.h"

#include "UartManager/UartManager.h"
#include "flashenv/FlashEnv.h"
#include "log/FixedLine.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Storage.h"
#include "protocol/CommandIds.h"
#include "protocol/ReportedKeys.h"

namespace {

constexpr std::int32_t kStatusStopped = 4;

constexpr std::int32_t kFirstConfirmedKey = 105;
constexpr std::int32_t kSecondConfirmedKey = 106;

// Every step is made: the set must restart even when its LED does not answer.
void LeaveModeAndRestart(UartManager& manager) {
    FlashEnv::instance().setEnv("ZelFacMode", "0");
    manager.SetRunMode(zel::RunMode::None);
    zel::PrintIfFailed(manager.ZelSetValue(zel::key::kLedFlicker, 0), "onKeyEvent", zel::FixedLine(213));
    zel::SyncStorage();
    zel::PrintIfFailed(manager.ZelSetAction(zel::key::kReboot), "onKeyEvent", zel::FixedLine(221));
}

}  // namespace

std::int32_t ApplicationTest::onKeyEvent(const qx::appmanager::KeyEvent& event) {
    UartManager* manager = UartManager::GetInstance();
    if (manager == nullptr) {
        return 0;
    }
    const std::int32_t key = event.keyCode;
    if ((key == kFirstConfirmedKey || key == kSecondConfirmedKey) && manager->IsFactoryMode()) {
        manager->SendStatusReply(zel::command::kConfirmedKey, 0);
    }
    if (zel::IsReportedKey(key) && manager->IsFactoryMode()) {
        manager->SendCommand(zel::command::kKeyPressReport, key, " ");
    }
    if (key == zel::kPowerKey && (manager->IsAgingMode() || manager->IsUsbUpdateMode())) {
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
