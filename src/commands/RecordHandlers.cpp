// Handlers that write records and addresses.

#include "commands/Handlers.h"
#include "provisioning/addresses/MacStore.h"

namespace zel {
namespace {

constexpr char kMacTag[] = "MAC=";

CommandResult WriteMac(const std::string& mac) {
    const bool stored = StoreMac(mac, [](int line, std::int32_t result) {
        DecodeFailed(line, result);
        return false;
    });
    return stored ? CommandResult::Success : CommandResult::Failure;
}

}  // namespace

CommandResult HandleWritePcbSn(UartManager& manager, const UartFrame& frame) {
    return manager.ZelSetPcbSn(PayloadText(frame)) != 0 ? CommandResult::Success : CommandResult::Failure;
}

CommandResult HandleWriteTestResult(UartManager& manager, const UartFrame& frame) {
    return SuccessIf(manager.ZelSetTestResult(PayloadText(frame)) != 0, __LINE__);
}

CommandResult HandleWriteMac(UartManager& /*manager*/, const UartFrame& frame) {
    return WriteMac(PayloadText(frame));
}

CommandResult HandleWriteMacTagged(UartManager& /*manager*/, const UartFrame& frame) {
    const std::string payload = PayloadText(frame);
    if (payload.find(kMacTag) == std::string::npos || payload.rfind("MAC", 0) != 0) {
        return DecodeFailed(__LINE__);
    }
    return WriteMac(payload.substr(sizeof kMacTag - 1));
}

}  // namespace zel
