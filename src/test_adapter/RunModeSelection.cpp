#include "test_adapter/RunModeSelection.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include "flashenv/FlashEnv.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/usb/StickNames.h"

namespace {

constexpr const char* kModeVariable = "ZelFacMode";
constexpr char kAgingRequest = '2';

// The commands print on standard output themselves: what is buffered goes first.
void PrintProcesses() {
    std::puts("==================ps start=====================");
    std::fflush(stdout);
    zel::RunSystem("ps");
    std::puts("===============================================");
    std::fflush(stdout);
    zel::RunSystem("ps -aux | grep ZelFacTest_Eu4K");
    std::puts("==================ps end=======================");
}

// The result of the search, where no volume and an error count as more than found (0) and absent (1).
std::uint32_t SearchStick(UartManager& manager, const char* folder, const char* needle) {
    std::string foundFolder;
    std::string foundName;
    return static_cast<std::uint32_t>(manager.ZelGetUSBUpdateFileFullPath(folder, needle, foundFolder, foundName));
}

bool StickHasWork(UartManager& manager) {
    const std::uint32_t customer = SearchStick(manager, zel::stick::kCustomerFolder, zel::stick::kConfigName);
    const std::uint32_t copy = SearchStick(manager, zel::stick::kExportFolder, zel::stick::kConfigName);
    const std::uint32_t oem = SearchStick(manager, "", zel::stick::kOemEntry);
    return copy < 2 || customer < 2 || oem == 0;
}

zel::RunMode RequestedMode(UartManager& manager, char request) {
    switch (request) {
        case '1':
            return zel::RunMode::Factory;
        case kAgingRequest:
            return StickHasWork(manager) ? zel::RunMode::UsbUpdate : zel::RunMode::Aging;
        case '3':
            return zel::RunMode::UsbUpdate;
        default:
            return zel::RunMode::None;
    }
}

}  // namespace

void SelectRunMode(UartManager& manager) {
    char value[128] = {};
    FlashEnv::instance().getEnv(kModeVariable, value, sizeof value);
    std::printf("=========ZEL_FACMODE:%s=========\n", value);
    if (value[0] != '\0') {
        PrintProcesses();
    }
    const zel::RunMode mode = RequestedMode(manager, value[0]);
    manager.SetRunMode(mode);
    if (value[0] == kAgingRequest && mode == zel::RunMode::UsbUpdate) {
        // Once: the next start is a normal one.
        FlashEnv::instance().setEnv(kModeVariable, "0");
        zel::SyncStorage();
    }
}
