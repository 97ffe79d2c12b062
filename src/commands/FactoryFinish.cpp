#include "commands/FactoryFinish.h"

#include "UartManager/UartManager.h"
#include "commands/Handlers.h"
#include "flashenv/FlashEnv.h"
#include "model/ModelCycle.h"
#include "model/ModelGlobals.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Delay.h"
#include "os/Shell.h"
#include "os/Storage.h"

namespace {

constexpr std::int32_t kConfirmationPolls = 40;
constexpr std::uint32_t kConfirmationPollMilliseconds = 500;
constexpr std::uint32_t kAfterConfirmationMilliseconds = 100;

void AwaitConfirmation() {
    for (std::int32_t left = kConfirmationPolls; left > 0 && factory_ready_val != 1; --left) {
        zel::DelayMilliseconds(kConfirmationPollMilliseconds);
    }
    zel::DelayMilliseconds(kAfterConfirmationMilliseconds);
}

}  // namespace

std::int32_t UartManager::ZelU5FactoryReady() {
    FactoryReadyActionObserver observer;
    return zel::InvokeAction({"ZelU5FactoryReady", __LINE__}, zel::key::kFactoryReady, observer, {},
                             AwaitConfirmation);
}

std::int32_t UartManager::ZelFactoryFinish(std::int32_t /*mode*/) {
    FlashEnv::instance().setEnv("FactoryOpenState", "Off");
    FlashEnv::instance().setEnv("FactoryOK", "On");
    zel::RunSystem("mount -o remount,rw /zodata/critical");
    zel::RunSystem("mount -o remount,rw /zodata/factory");
    ZelU5FactoryReady();
    if (factory_ready_val != 1) {
        // Not confirmed: the partitions stay writable, so that the line can try again.
        return 0;
    }
    zel::RunSystem("echo ForceFreerun=FLASE > /proc/utopia_mdb/xc");
    zel::RunSystem("mount -o remount,ro /zodata/critical");
    zel::RunSystem("mount -o remount,ro /zodata/factory");
    zel::SyncStorage();
    return 1;
}

zel::CommandResult zel::HandleFinish(UartManager& manager, const UartFrame& /*frame*/) {
    return m_i32RetCheckPlayreadyYoutube != 0 ? DecodeFailed(__LINE__)
                                              : SuccessIf(manager.ZelFactoryFinish(0) != 0, __LINE__);
}
