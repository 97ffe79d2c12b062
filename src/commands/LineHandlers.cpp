#include "UartManager/SharedState.h"
#include "commands/Handlers.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"

namespace zel {
namespace {

constexpr char kMacVariable[] = "macaddr";
constexpr char kMacTag[] = "MAC=";

// Stores the address in both places. What reached the first stays there when the second fails.
Outcome StoreMac(const std::string& mac) {
    const std::int32_t flash = FlashEnv::instance().setEnv(kMacVariable, mac);
    if (flash != 0) {
        return DecodeFailed(__LINE__, flash);
    }
    const std::int32_t metadata = writeStrMetaData(META_MAC, mac);
    if (metadata != 0) {
        return DecodeFailed(__LINE__, metadata);
    }
    return Outcome::Success;
}

}  // namespace

Outcome HandleConnect(UartManager& manager, const UartFrame& /*frame*/) {
    manager.m_bConnected = 1;
    return Outcome::Success;
}

Outcome HandleAcknowledge(UartManager& /*manager*/, const UartFrame& /*frame*/) {
    return Outcome::Success;
}

Outcome HandleLeaveFactory(UartManager& manager, const UartFrame& /*frame*/) {
    manager.SetRunMode(RunMode::None);
    manager.Stop();
    return Outcome::Success;
}

Outcome HandleWritePcbSn(UartManager& manager, const UartFrame& frame) {
    return manager.ZelSetPcbSn(PayloadText(frame)) != 0 ? Outcome::Success : Outcome::Failure;
}

Outcome HandleWriteTestResult(UartManager& manager, const UartFrame& frame) {
    return manager.ZelSetTestResult(PayloadText(frame)) != 0 ? Outcome::Success : DecodeFailed(__LINE__);
}

Outcome HandleWriteMac(UartManager& /*manager*/, const UartFrame& frame) {
    return StoreMac(PayloadText(frame));
}

Outcome HandleWriteMacTagged(UartManager& /*manager*/, const UartFrame& frame) {
    const std::string payload = PayloadText(frame);
    if (payload.find(kMacTag) == std::string::npos || payload.rfind("MAC", 0) != 0) {
        return DecodeFailed(__LINE__);
    }
    return StoreMac(payload.substr(sizeof kMacTag - 1));
}

Outcome HandleFileChunk(UartManager& manager, const UartFrame& frame) {
    return manager.ZelUartCmdProcessRxCmd(frame) != 0 ? Outcome::Success : DecodeFailed(__LINE__);
}

Outcome HandleFinish(UartManager& manager, const UartFrame& /*frame*/) {
    if (m_i32RetCheckPlayreadyYoutube != 0) {
        return DecodeFailed(__LINE__);
    }
    return manager.ZelFactoryFinish(0) != 0 ? Outcome::Success : DecodeFailed(__LINE__);
}

}  // namespace zel
