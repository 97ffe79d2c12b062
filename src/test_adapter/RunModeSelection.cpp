#include "test_adapter/RunModeSelection.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include "flashenv/FlashEnv.h"
#include "os/Shell.h"
#include "os/Storage.h"

namespace {

constexpr const char* kModeVariable = "ZelFacMode";

void SetMode(UartManager& manager, zel::RunMode mode) {
    manager.SetRunMode(static_cast<std::uint8_t>(mode));
}

// The commands print on standard output themselves: what is buffered goes first.
void PrintProcesses() {
    std::puts("==================ps start=====================");
    std::fflush(stdout);
    zel::RunSystem("ps");
    std::puts("===============================================");
    std::fflush(stdout);
    char ownProcesses[64];
    std::snprintf(ownProcesses, sizeof ownProcesses, "ps -aux | grep %s", "ZelFacTest_Eu4K");
    zel::RunSystem(ownProcesses);
    std::puts("==================ps end=======================");
}

// The result of the search, where no volume and an error count as more than found (0) and absent (1).
std::uint32_t SearchStick(UartManager& manager, const char* folder, const char* needle) {
    std::string foundFolder;
    std::string foundName;
    return static_cast<std::uint32_t>(manager.ZelGetUSBUpdateFileFullPath(folder, needle, foundFolder, foundName));
}

bool StickHasWork(UartManager& manager) {
    const std::uint32_t customer = SearchStick(manager, "RW9602CustomerFile", "CONFIG.bin");
    const std::uint32_t copy = SearchStick(manager, "CopyRW9602CustomerFile", "CONFIG.bin");
    const std::uint32_t oem = SearchStick(manager, "", "OEM_data");
    return copy < 2 || customer < 2 || oem == 0;
}

}  // namespace

void SelectRunMode(UartManager& manager) {
    char value[128] = {};
    FlashEnv::instance().getEnv(kModeVariable, value, sizeof value);
    std::printf("=========ZEL_FACMODE:%s=========\n", value);
    if (value[0] == '\0') {
        SetMode(manager, zel::RunMode::None);
        return;
    }
    PrintProcesses();
    switch (value[0]) {
        case '1':
            SetMode(manager, zel::RunMode::Factory);
            break;
        case '2':
            if (StickHasWork(manager)) {
                SetMode(manager, zel::RunMode::UsbUpdate);
                FlashEnv::instance().setEnv(kModeVariable, "0");
                zel::SyncStorage();
            } else {
                SetMode(manager, zel::RunMode::Aging);
            }
            break;
        case '3':
            SetMode(manager, zel::RunMode::UsbUpdate);
            break;
        default:
            SetMode(manager, zel::RunMode::None);
            break;
    }
}
