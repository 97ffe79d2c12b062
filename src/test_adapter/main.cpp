// Start-up and end of the factory application.
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "UartManager/UartManager.h"
#include "amclient/AmClient.h"
#include "os/Delay.h"
#include "os/Thread.h"
#include "test_adapter/ApplicationTest.h"
#include "test_adapter/LifecycleCallbacks.h"
#include "test_adapter/StartUp.h"
#include "test_adapter/StatusLoop.h"
#include "test_adapter/screen/StatusScreen.h"

namespace {

constexpr std::uint32_t kEndPauseSeconds = 3;

void StartAmClient() {
    g_am_client.resume = onResume_zel;
    g_am_client.pause = onPause;
    g_am_client.stop = onStop;
    g_am_client.command = recvCmd;
    std::strncpy(g_am_client.name, "hello", kAmNameSize - 1);
    g_am_client.logRelay = 1;
    AmClientInit(&g_am_client);
}

bool ClientIsNamed(const char* beginning) {
    return std::strncmp(g_am_client.name, beginning, std::strlen(beginning)) == 0;
}

void RunTestHook() {
    if (ClientIsNamed("hello1")) {
        AmClientTestHook1();
    } else if (ClientIsNamed("hello2")) {
        AmClientTestHook2();
    }
}

// From the start to the end of the run mode. Returns the exit status; the screen is then released.
int Run(int argc, char* argv[]) {
    // Whoever reads the output through a pipe gets each line when it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    // Made before anybody can press a key: the other threads find it by itself.
    UartManager* const manager = UartManager::GetInstance();
    if (manager == nullptr) {
        return EXIT_FAILURE;
    }

    boost::shared_ptr<ApplicationTest> application;
    if (!zel::Register(*manager, application)) {
        return -1;
    }
    StartAmClient();
    std::fflush(stdout);

    StatusScreen screen(&argc, &argv);
    zel::StatusLoop loop(*manager, screen);
    loop.ShowFirst();
    zel::SetCallbackCanvas(&screen);
    RunTestHook();
    zel::BeginWork(*manager);
    loop.Run();

    zel::DelaySeconds(kEndPauseSeconds);
    std::puts("==========zel test end==========");
    zel::SetCallbackCanvas(nullptr);
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    const int status = Run(argc, argv);
    // The scan thread, a key worker, the command client and the set's libraries may still be at work: what they
    // use stays until the process is gone. Only what was printed is waited for.
    AmClientDrain();
    zel::EndProcess(status);
}
