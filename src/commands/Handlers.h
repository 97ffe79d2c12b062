// The handlers and the answers of the command table, by the file that defines them. Command thread, but for the
// answers, which any thread may ask for.
#ifndef ZELFAC_COMMANDS_HANDLERS_H
#define ZELFAC_COMMANDS_HANDLERS_H

#include <cstdint>
#include <string>

#include "commands/CommandTable.h"

namespace zel {

// The link itself (Decoder.cpp)
CommandResult HandleConnect(UartManager& manager, const UartFrame& frame);
CommandResult HandleAcknowledge(UartManager& manager, const UartFrame& frame);
CommandResult HandleLeaveFactory(UartManager& manager, const UartFrame& frame);
CommandResult HandleFileChunk(UartManager& manager, const UartFrame& frame);

// Records and addresses (Records.cpp)
CommandResult HandleWritePcbSn(UartManager& manager, const UartFrame& frame);
CommandResult HandleWriteTestResult(UartManager& manager, const UartFrame& frame);
CommandResult HandleWriteMac(UartManager& manager, const UartFrame& frame);
CommandResult HandleWriteMacTagged(UartManager& manager, const UartFrame& frame);

// The television (TelevisionHandlers.cpp)
CommandResult HandleSourceCheck(UartManager& manager, const UartFrame& frame);
CommandResult HandleCamDetected(UartManager& manager, const UartFrame& frame);
CommandResult HandleBacklightFull(UartManager& manager, const UartFrame& frame);
CommandResult HandleBacklightOff(UartManager& manager, const UartFrame& frame);
CommandResult HandleWiredNetwork(UartManager& manager, const UartFrame& frame);
CommandResult HandleBluetoothSearch(UartManager& manager, const UartFrame& frame);
CommandResult HandleUsbPort(UartManager& manager, const UartFrame& frame);
CommandResult HandleVolume(UartManager& manager, const UartFrame& frame);
CommandResult HandleLed(UartManager& manager, const UartFrame& frame);
CommandResult HandlePanelAspectEthernet(UartManager& manager, const UartFrame& frame);

// The end of the line (FactoryFinish.cpp)
CommandResult HandleFinish(UartManager& manager, const UartFrame& frame);

// Answers with data (Answers.cpp)
AnswerValue AnswerPcbSn(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerMac(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerWifiMac(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerKeyChecksum(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerWifiProgress(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerBacklight(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerRunningTime(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerSoftwareVersion(UartManager& manager, std::uint16_t id, const std::string& text);
AnswerValue AnswerLinkClosing(UartManager& manager, std::uint16_t id, const std::string& text);

// Facts about the set by name, `text`, which is compared by prefix: "MAC", "WIFIMAC", "SN", "DEVICEID", "TVID",
// "ESN", "UL", "ETH_IP"; any other name is answered "xxx" as the fixed ones are (NamedQuery.cpp).
AnswerValue AnswerNamedQuery(UartManager& manager, std::uint16_t id, const std::string& text);

}  // namespace zel

#endif
