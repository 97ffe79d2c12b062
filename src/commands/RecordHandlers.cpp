// Handlers that write records and addresses.

#include "commands/Handlers.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"

namespace zel {
namespace {

constexpr char kMacVariable[] = "macaddr";
constexpr char kMacTag[] = "MAC=";

// Stores the address in both places. What reached the first stays there when the second fails.
CommandResult StoreMac(const std::string& mac) {
    const std::int32_t flash = FlashEnv::instance().setEnv(kMacVariable, mac);
    if (flash != 0) {
        return DecodeFailed(__LINE__, flash);
    }
    const std::int32_t metadata = writeStrMetaData(META_MAC, mac);
    if (metadata != 0) {
        return DecodeFailed(__LINE__, metadata);
    }
    return CommandResult::Success;
}

}  // namespace

CommandResult HandleWritePcbSn(UartManager& manager, const UartFrame& frame) {
    return manager.ZelSetPcbSn(PayloadText(frame)) != 0 ? CommandResult::Success : CommandResult::Failure;
}

CommandResult HandleWriteTestResult(UartManager& manager, const UartFrame& frame) {
    return SuccessIf(manager.ZelSetTestResult(PayloadText(frame)) != 0, __LINE__);
}

CommandResult HandleWriteMac(UartManager& /*manager*/, const UartFrame& frame) {
    return StoreMac(PayloadText(frame));
}

CommandResult HandleWriteMacTagged(UartManager& /*manager*/, const UartFrame& frame) {
    const std::string payload = PayloadText(frame);
    if (payload.find(kMacTag) == std::string::npos || payload.rfind("MAC", 0) != 0) {
        return DecodeFailed(__LINE__);
    }
    return StoreMac(payload.substr(sizeof kMacTag - 1));
}

}  // namespace zel
