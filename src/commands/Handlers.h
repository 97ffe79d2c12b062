// What each command of the line does. A handler does its work and says what came of it; the dispatcher alone
// sends the reply. All run on the command thread.
#ifndef ZELFAC_COMMANDS_HANDLERS_H
#define ZELFAC_COMMANDS_HANDLERS_H

#include <cstdint>
#include <string>

#include "UartManager/UartManager.h"
#include "protocol/UartFrame.h"

namespace zel {

enum class Outcome : std::uint8_t { Success, Failure };

using CommandHandler = Outcome (*)(UartManager& manager, const UartFrame& frame);

// The payload as the text that stands before its first zero byte.
std::string PayloadText(const UartFrame& frame);

// Logs the decoder's failure line, with the code where one is at hand, and gives Failure.
Outcome DecodeFailed(int line);
Outcome DecodeFailed(int line, std::int32_t code);

// The link itself, records and addresses (LineHandlers.cpp)
Outcome HandleConnect(UartManager& manager, const UartFrame& frame);
Outcome HandleAcknowledge(UartManager& manager, const UartFrame& frame);
Outcome HandleLeaveFactory(UartManager& manager, const UartFrame& frame);
Outcome HandleWritePcbSn(UartManager& manager, const UartFrame& frame);
Outcome HandleWriteTestResult(UartManager& manager, const UartFrame& frame);
Outcome HandleWriteMac(UartManager& manager, const UartFrame& frame);
Outcome HandleWriteMacTagged(UartManager& manager, const UartFrame& frame);
Outcome HandleFileChunk(UartManager& manager, const UartFrame& frame);
Outcome HandleFinish(UartManager& manager, const UartFrame& frame);

// The television (SetHandlers.cpp)
Outcome HandleSourceCheck(UartManager& manager, const UartFrame& frame);
Outcome HandleCamDetected(UartManager& manager, const UartFrame& frame);
Outcome HandleBacklightFull(UartManager& manager, const UartFrame& frame);
Outcome HandleBacklightOff(UartManager& manager, const UartFrame& frame);
Outcome HandleWiredNetwork(UartManager& manager, const UartFrame& frame);
Outcome HandleBluetoothSearch(UartManager& manager, const UartFrame& frame);
Outcome HandleUsbPort(UartManager& manager, const UartFrame& frame);
Outcome HandleVolume(UartManager& manager, const UartFrame& frame);
Outcome HandleLed(UartManager& manager, const UartFrame& frame);
Outcome HandlePanelAspectEthernet(UartManager& manager, const UartFrame& frame);

}  // namespace zel

#endif
