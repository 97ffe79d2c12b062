// What the set says of itself: the answers with data, the ready frame and the key press reports.

#include <array>
#include <atomic>

#include "commands/Handlers.h"
#include "connectivity/RadioScan.h"
#include "factory_aux/FactoryAux.h"
#include "log/FixedLine.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "protocol/KeyFiles.h"
#include "protocol/ReportedKeys.h"

namespace zel {

// How often each was reported. Any thread.
struct KeyPressCounters {
    std::array<std::atomic<std::uint32_t>, kReportedKeys.size()> counts{};
};

namespace {

constexpr std::uint32_t kMaxKeyReports = 10;
constexpr std::uint8_t kProgressBase = 101;  // Wi-Fi test progress counts down from here
constexpr std::uint32_t kUnknownRunningTime = 10;

// Ids of SendCommand that are answered without data, but for those that have an answer of their own.
constexpr bool IsAnsweredEmpty(std::int32_t id) {
    return (id >= kFirstCommand && id <= command::kPanelAspectEthernet) || id == command::kKeyNetflix ||
           id == command::kKeyCiPlusEcp || id == command::kEmptyAnswer;
}

UartFrame ReadyFrame() {
    UartFrame frame = MakeFrame(FrameKind::Ready, command::kReady);
    SetPayload(frame, "\x02");
    frame.trailerB = 1;
    return frame;
}

// Adds 1 unless `counter` has reached `limit`; tells whether it did.
bool CountUpTo(std::uint32_t limit, std::atomic<std::uint32_t>& counter) {
    std::uint32_t seen = counter;
    while (seen < limit && !counter.compare_exchange_weak(seen, seen + 1)) {
    }
    return seen < limit;
}

// Any key is reported, one without a name by an empty text, as often as it is pressed.
void ReportKeyPress(UartManager& manager, std::int32_t code) {
    if (manager.m_bConnected == 0) {
        return;
    }
    const std::size_t place = PlaceOfReportedKey(code);
    const bool named = place < kReportedKeys.size();
    if (!named || CountUpTo(kMaxKeyReports, manager.m_keyPressCounters->counts[place])) {
        manager.SendFrame(AnswerFrame(command::kKeyPressReport, AnswerForm::Text,
                                      named ? kReportedKeys[place].word : std::string_view()));
    }
}

}  // namespace

std::shared_ptr<KeyPressCounters> MakeKeyPressCounters() {
    return std::make_shared<KeyPressCounters>();
}

AnswerValue AnswerPcbSn(UartManager& manager, std::uint16_t /*id*/, const std::string& /*text*/) {
    return AnswerValue::OfText(manager.ZelGetPcbSn());
}

AnswerValue AnswerMac(UartManager& /*manager*/, std::uint16_t /*id*/, const std::string& /*text*/) {
    char mac[256] = {};
    if (readStrMetaData(META_MAC, mac, sizeof mac) != 0) {
        LogFail("SendCommand", FixedLine(4367));
        return AnswerValue::OfUnreadable();
    }
    return AnswerValue::OfText(mac);
}

AnswerValue AnswerWifiMac(UartManager& manager, std::uint16_t /*id*/, const std::string& /*text*/) {
    std::string mac;
    return manager.ZelGetString(key::kWifiMac, mac) == 0 ? AnswerValue::OfText(mac) : AnswerValue::OfUnreadable();
}

AnswerValue AnswerKeyChecksum(UartManager& manager, std::uint16_t id, const std::string& /*text*/) {
    return AnswerValue::OfNumber(manager.ReceivedFileCrc(FindKeyChecksum(id)->file));
}

AnswerValue AnswerWifiProgress(UartManager& /*manager*/, std::uint16_t /*id*/, const std::string& /*text*/) {
    return AnswerValue::OfNumber(static_cast<std::uint8_t>(kProgressBase - m_u8WifiScanTestAPCount));
}

AnswerValue AnswerBacklight(UartManager& manager, std::uint16_t /*id*/, const std::string& /*text*/) {
    std::int32_t backlight = 0;
    manager.ZelGetValue(key::kBacklight, backlight);
    return AnswerValue::OfNumber(static_cast<std::uint32_t>(backlight));
}

AnswerValue AnswerRunningTime(UartManager& manager, std::uint16_t /*id*/, const std::string& /*text*/) {
    // Never zero: the line takes 0 for a set that has not run at all.
    const std::int32_t time = manager.ZelGetRunningTime();
    return AnswerValue::OfNumber(time > 0 ? static_cast<std::uint32_t>(time) : kUnknownRunningTime);
}

AnswerValue AnswerSoftwareVersion(UartManager& manager, std::uint16_t /*id*/, const std::string& /*text*/) {
    std::string version;
    manager.ZelGetString(key::kSoftwareVersion, version);
    // A version without a dot has no prefix to leave out.
    return AnswerValue::OfText(version.substr(version.find('.') + 1));
}

AnswerValue AnswerLinkClosing(UartManager& /*manager*/, std::uint16_t /*id*/, const std::string& /*text*/) {
    return {AnswerValue::Says::LinkClosing, {}, 0};
}

}  // namespace zel

void UartManager::SendCommand(std::int32_t commandId, std::int32_t subCode, const std::string& text) {
    if (commandId == zel::command::kReady) {
        SendFrame(zel::ReadyFrame());
        return;
    }
    if (commandId == zel::command::kKeyPressReport) {
        zel::ReportKeyPress(*this, subCode);
        return;
    }
    const auto id = static_cast<std::uint16_t>(commandId);
    const zel::CommandRow* row = zel::FindCommandRow(static_cast<std::uint32_t>(commandId));
    if (row != nullptr && row->answer != nullptr) {
        const zel::AnswerValue value = row->answer(*this, id, text);
        if (value.text.size() > zel::kMaxPayload) {
            LogPrint("reply 0x%x: %zu bytes, sending the first %zu\n", id, value.text.size(), zel::kMaxPayload);
        }
        SendFrame(zel::EncodeAnswer(id, zel::FindCommand(id)->answer, value));
    } else if (zel::IsAnsweredEmpty(commandId)) {
        SendFrame(zel::AnswerFrame(id, zel::AnswerForm::Empty, {}));
    }
}
