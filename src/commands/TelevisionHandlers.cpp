// Handlers that work on the television: picture, sound, inputs, board lines and radios.

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "commands/Handlers.h"
#include "connectivity/RadioScan.h"
#include "model/ModelKeys.h"
#include "os/Delay.h"
#include "protocol/FrameCodec.h"

namespace zel {
namespace {

constexpr std::int32_t kBacklightFull = 100;
constexpr std::int32_t kBacklightOff = 0;
constexpr std::uint32_t kOtherSearchSeconds = 9;
constexpr std::size_t kPingMinLength = 15;  // the tag and the shortest IPv4 address
constexpr std::string_view kPingTag = "ETHPING=";

struct ValueRow {
    std::string_view text;
    std::int32_t value;
};

// The LED is one two-colour output: 0 lights red, 1 green. Switching one colour off lights the other.
constexpr std::array<ValueRow, 4> kLedRows = {{{"RED_ON", 0}, {"RED_OFF", 1}, {"GREEN_ON", 1}, {"GREEN_OFF", 0}}};

constexpr std::array<ValueRow, 3> kAspectRows = {{{"ASPECT=16_9", 0}, {"ASPECT=FULL", 2}, {"ASPECT=4_3", 1}}};

// Board GPIO 45 switches the panel's supply, 7 its backlight.
struct GpioRow {
    std::string_view text;
    const char* number;
    const char* value;
};
constexpr std::array<GpioRow, 4> kGpioRows = {{{"PANEL_VCC_ON", "45", "1"},
                                               {"PANEL_VCC_OFF", "45", "0"},
                                               {"PANEL_BL_ON", "7", "1"},
                                               {"PANEL_BL_OFF", "7", "0"}}};

constexpr std::array<const char*, 4> kUsbPorts = {"USB1", "USB2", "USB3", "USB4"};

CommandResult TestEthernet(UartManager& manager, const std::string& target) {
    std::string address;
    const std::int32_t status = manager.ZelGetString(key::kIpAddress, address);
    std::printf("ret:%d, strIPAddress:%s\n", status, address.c_str());
    if (status == 0 && !address.empty()) {
        UartManager::LogPrint(" %s %d eth connected!\n", "ZelDecodeFacAutoTestCommand", __LINE__);
        return CommandResult::Success;
    }
    return SuccessIf(manager.ZelEthPingTest(target) != 0, __LINE__);
}

}  // namespace

CommandResult HandleSourceCheck(UartManager& manager, const UartFrame& frame) {
    return SuccessIf(manager.ZelUartCmdSourceCheck(frame) == 0, __LINE__);
}

CommandResult HandleCamDetected(UartManager& manager, const UartFrame& /*frame*/) {
    std::int32_t count = 0;
    if (manager.ZelGetValue(key::kCamCount, count) != 0) {
        return DecodeFailed(__LINE__);
    }
    return SuccessIf(count >= 1, __LINE__);
}

CommandResult HandleBacklightFull(UartManager& manager, const UartFrame& /*frame*/) {
    manager.ZelSetValue(key::kBacklight, kBacklightFull);
    return CommandResult::Success;
}

CommandResult HandleBacklightOff(UartManager& manager, const UartFrame& /*frame*/) {
    manager.ZelSetValue(key::kBacklight, kBacklightOff);
    return CommandResult::Success;
}

CommandResult HandleWiredNetwork(UartManager& manager, const UartFrame& /*frame*/) {
    std::string address;
    const bool up = manager.ZelGetString(key::kIpAddress, address) == 0 && !address.empty();
    return SuccessIf(up, __LINE__);
}

CommandResult HandleBluetoothSearch(UartManager& manager, const UartFrame& /*frame*/) {
    RadioScan& scan = *manager.m_radioScan;
    if (scan.m_u32BTDeviceCount != 0) {
        return CommandResult::Success;
    }
    if (scan.fBTSearching != 0) {
        DelaySeconds(kOtherSearchSeconds);
    } else {
        manager.ZelBTSearchAP();
    }
    const std::uint32_t found = scan.m_u32BTDeviceCount;
    UartManager::LogPrint("%s %d m_u32BTDeviceCount:%d\n", "ZelDecodeFacAutoTestCommand", __LINE__,
                          static_cast<int>(found));
    return found != 0 ? CommandResult::Success : CommandResult::Failure;
}

CommandResult HandleUsbPort(UartManager& manager, const UartFrame& frame) {
    const std::string payload = PayloadText(frame);
    for (std::size_t port = 0; port < kUsbPorts.size(); ++port) {
        // Over the length received: a shortened name means the first port that it could be.
        if (std::strncmp(payload.c_str(), kUsbPorts[port], frame.length) == 0) {
            return SuccessIf(manager.ZelGetUsbMarkerCount() > static_cast<std::int32_t>(port), __LINE__);
        }
    }
    return DecodeFailed(__LINE__);
}

CommandResult HandleVolume(UartManager& manager, const UartFrame& frame) {
    manager.ZelSetValue(key::kMainVolume, frame.payload[0]);
    return CommandResult::Success;
}

CommandResult HandleLed(UartManager& manager, const UartFrame& frame) {
    for (const ValueRow& row : kLedRows) {
        if (Payload(frame) == row.text) {
            return SuccessIf(manager.ZelSetValue(key::kLedGpio, row.value) == 0, __LINE__);
        }
    }
    return DecodeFailed(__LINE__);
}

CommandResult HandlePanelAspectEthernet(UartManager& manager, const UartFrame& frame) {
    const std::string_view payload = Payload(frame);
    for (const GpioRow& row : kGpioRows) {
        if (payload == row.text) {
            return SuccessIf(manager.ZelSetGpio(row.number, row.value) == 0, __LINE__);
        }
    }
    for (const ValueRow& row : kAspectRows) {
        if (payload == row.text) {
            return SuccessIf(manager.ZelSetValue(key::kVideoFormat, row.value) == 0, __LINE__);
        }
    }
    if (payload.size() >= kPingMinLength && payload.substr(0, kPingTag.size()) == kPingTag) {
        return TestEthernet(manager, PayloadText(frame).substr(kPingTag.size()));
    }
    return DecodeFailed(__LINE__);
}

}  // namespace zel
