// Start-up and end of the factory application.
#include <unistd.h>

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "UartManager/UartManager.h"
#include "amclient/AmClient.h"
#include "csp/Csp.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "qx/AppManagerClientAdapter.h"
#include "support/Delay.h"
#include "support/LogPrint.h"
#include "support/Storage.h"
#include "test_adapter/ApplicationTest.h"
#include "test_adapter/LifecycleCallbacks.h"
#include "test_adapter/RunModeSelection.h"
#include "test_adapter/StatusLoop.h"
#include "test_adapter/StatusScreen.h"

namespace {

constexpr std::int32_t kStatusRunning = 1;
constexpr std::uint32_t kEndPauseSeconds = 3;

// False when there is no application manager.
bool RegisterApplication(const boost::shared_ptr<ApplicationTest>& application) {
    using qx::apmclient::AppManagerClientAdapter;
    AppManagerClientAdapter* adapter = AppManagerClientAdapter::getInstance();
    s_appManagerClientAdapter = adapter;
    if (adapter == nullptr) {
        std::puts("=========NULL == s_appManagerClientAdapter=========");
        return false;
    }
    if (adapter->registerApp(ApplicationTest::appId, application) == 0) {
        adapter->notifyAppStatusInfo(ApplicationTest::appId, kStatusRunning);
    }
    return true;
}

void InitFactoryAux() {
    std::puts("*********begin  init_factory_aux*********");
    const std::int32_t result = init_factory_aux();
    std::printf("=========init_factory_aux ret:%d=========\n", result);
}

void StartAmClient() {
    g_am_client.resume = onResume_zel;
    g_am_client.pause = onPause;
    g_am_client.stop = onStop;
    g_am_client.command = recvCmd;
    std::strncpy(g_am_client.name, "hello", kAmNameSize - 1);
    g_am_client.logRelay = 1;
    AmClientInit(&g_am_client);
}

void RunTestHook() {
    if (std::strncmp(g_am_client.name, "hello1", 6) == 0) {
        AmClientTestHook1();
    } else if (std::strncmp(g_am_client.name, "hello2", 6) == 0) {
        AmClientTestHook2();
    }
}

void StartWork(UartManager& manager) {
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

}  // namespace

int main(int argc, char* argv[]) {
    // Whoever reads the output through a pipe gets each line when it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    UartManager* manager = UartManager::GetInstance();
    if (manager == nullptr) {
        return EXIT_FAILURE;
    }

    std::puts("=========setRpcEnv=========");
    if (qx::apmclient::AppManagerClientAdapter::setRpcEnv() != 0) {
        zel::PrintFail("main", 455);
    }
    boost::shared_ptr<ApplicationTest> application(new ApplicationTest);
    if (!RegisterApplication(application)) {
        return -1;
    }
    cspDebugInit();
    setenv("LMQR2_UDPHOST", "127.0.0.1:12321", 1);
    InitFactoryAux();
    SelectRunMode(*manager);
    std::printf("[**APP-DEMO][%d][Starting]\r\n", getpid());
    StartAmClient();
    std::fflush(stdout);

    {
        StatusScreen screen(&argc, &argv);
        zel::StatusLoop loop(*manager, screen);
        loop.ShowFirst();
        zel::SetCallbackCanvas(&screen);
        RunTestHook();
        if (FlashEnv::instance().setEnv("UARTOnOff", "on") != 0) {
            zel::PrintFail("main", 618);
        }
        zel::SyncStorage();
        StartWork(*manager);
        loop.Run();

        zel::DelaySeconds(kEndPauseSeconds);
        std::puts("==========zel test end==========");
        zel::SetCallbackCanvas(nullptr);
    }
    application.reset();
    return 0;
}
