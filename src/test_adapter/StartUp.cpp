#include "test_adapter/StartUp.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "csp/Csp.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "log/FixedLine.h"
#include "log/LogPrint.h"
#include "os/Storage.h"
#include "os/Thread.h"
#include "qx/AppManagerClientAdapter.h"
#include "test_adapter/RunModeSelection.h"

namespace zel {
namespace {

constexpr std::int32_t kStatusRunning = 1;

void InitFactoryAux() {
    std::puts("*********begin  init_factory_aux*********");
    const std::int32_t result = init_factory_aux();
    std::printf("=========init_factory_aux ret:%d=========\n", result);
}

}  // namespace

bool Register(UartManager& manager, boost::shared_ptr<ApplicationTest>& application) {
    using qx::apmclient::AppManagerClientAdapter;
    std::puts("=========setRpcEnv=========");
    PrintIfFailed(AppManagerClientAdapter::setRpcEnv(), "main", FixedLine(455));
    application.reset(new ApplicationTest);
    AppManagerClientAdapter* const adapter = AppManagerClientAdapter::getInstance();
    s_appManagerClientAdapter = adapter;
    if (adapter == nullptr) {
        std::puts("=========NULL == s_appManagerClientAdapter=========");
        return false;
    }
    if (adapter->registerApp(ApplicationTest::appId, application) == 0) {
        adapter->notifyAppStatusInfo(ApplicationTest::appId, kStatusRunning);
    }
    cspDebugInit();
    setenv("LMQR2_UDPHOST", "127.0.0.1:12321", 1);
    InitFactoryAux();
    SelectRunMode(manager);
    std::printf("[**APP-DEMO][%d][Starting]\r\n", ProcessId());
    return true;
}

void BeginWork(UartManager& manager) {
    PrintIfFailed(FlashEnv::instance().setEnv("UARTOnOff", "on"), "main", FixedLine(618));
    SyncStorage();
    if (manager.IsAgingMode()) {
        manager.ZelBurnModeBeforSetDefaultSetting();
    } else if (manager.IsFactoryMode()) {
        manager.ZelFacAutoTestBeforSetDefaultSetting();
        manager.Start();
        manager.ZelFacAutoTestAfterSetDefaultSetting();
    } else if (manager.IsUsbUpdateMode()) {
        manager.ZelSecondUpdate();
    }
}

}  // namespace zel
