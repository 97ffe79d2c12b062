#include <array>
#include <cstdio>
#include <string_view>

#include "UartManager/NamedQueries.h"
#include "UartManager/SendLock.h"
#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "connectivity/RadioScan.h"
#include "factory_aux/FactoryAux.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/SerialPort.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace {

using zel::FrameKind;

constexpr std::uint8_t kWithResult = 1;  // trailer B of answers that carry something
constexpr char kUnreadable[] = "\x01";   // the one-byte payload that says "cannot be read"
constexpr std::uint32_t kMaxKeyReports = 10;
constexpr std::uint8_t kProgressBase = 101;  // Wi-Fi test progress counts down from here

struct ReportedKeyRow {
    std::int32_t keyCode;  // the set's remote-control codes
    std::string_view word;
    zel::ReportedKey counter;
};

constexpr std::array<ReportedKeyRow, zel::kReportedKeyCount> kReportedKeys = {{
    {70, "POWER", zel::ReportedKey::Power},
    {161, "CHUP", zel::ReportedKey::ChannelUp},
    {162, "VODOWN", zel::ReportedKey::VolumeDown},
    {163, "CHDOWN", zel::ReportedKey::ChannelDown},
    {164, "MENU", zel::ReportedKey::Menu},
    {166, "VOUP", zel::ReportedKey::VolumeUp},
    {168, "SOURCE", zel::ReportedKey::Source},
}};

struct QueryValueRow {
    std::uint16_t id;
    zel::QueryValue value;
};

constexpr std::array<QueryValueRow, zel::kQueryValueCount> kQueryValueRows = {{
    {zel::command::kCrcHdcp1, zel::QueryValue::Hdcp1},
    {zel::command::kCrcHdcp2, zel::QueryValue::Hdcp2},
    {zel::command::kCrcCiPlus, zel::QueryValue::CiPlus},
    {zel::command::kCrcEsnUlpkMac, zel::QueryValue::EsnUlpkMac},
    {zel::command::kCrcWidevine, zel::QueryValue::Widevine},
    {zel::command::kConfigFile, zel::QueryValue::Config},
    {zel::command::kCrcNetflix, zel::QueryValue::Netflix},
    {zel::command::kCrcCiPlusEcp, zel::QueryValue::CiPlusEcp},
}};

struct IdRange {
    std::int32_t first;
    std::int32_t last;
};

// Ids that are answered without data; those with data have been dealt with before these are looked at.
constexpr std::array<IdRange, 15> kAnsweredEmpty = {{{0x1273, 0x1274},
                                                     {0x1276, 0x1278},
                                                     {0x127A, 0x127A},
                                                     {0x127C, 0x1281},
                                                     {0x1283, 0x1283},
                                                     {0x1285, 0x1285},
                                                     {0x1288, 0x1291},
                                                     {0x1293, 0x1294},
                                                     {0x1298, 0x1298},
                                                     {0x129A, 0x129D},
                                                     {0x129F, 0x12A2},
                                                     {0x12A5, 0x12A5},
                                                     {0x12B3, 0x12B3},
                                                     {0x12B9, 0x12B9},
                                                     {zel::command::kEmptyAnswer, zel::command::kEmptyAnswer}}};

UartFrame ResultFrame(std::uint16_t commandId, std::string_view payload) {
    UartFrame frame = zel::MakeFrame(FrameKind::Result, commandId);
    if (!zel::SetPayload(frame, payload)) {
        zel::LogPrint("reply 0x%x: %zu bytes, sending the first %zu\n", commandId, payload.size(),
                      zel::kMaxPayload);
    }
    frame.trailerB = kWithResult;
    return frame;
}

UartFrame BigEndianFrame(std::uint16_t commandId, std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    const std::array<char, 4> bytes = {static_cast<char>(bits >> 24), static_cast<char>(bits >> 16),
                                       static_cast<char>(bits >> 8), static_cast<char>(bits)};
    return ResultFrame(commandId, {bytes.data(), bytes.size()});
}

UartFrame RunningTimeFrame(std::uint16_t commandId, std::int32_t runningTime) {
    // Never zero: the line takes 0 for a set that has not run at all.
    const std::uint32_t bits = runningTime > 0 ? static_cast<std::uint32_t>(runningTime) : 0x0A;
    const std::array<char, 4> bytes = {static_cast<char>(bits), static_cast<char>(bits >> 8),
                                       static_cast<char>(bits >> 16), static_cast<char>(bits >> 24)};
    return ResultFrame(commandId, {bytes.data(), bytes.size()});
}

UartFrame ByteFrame(std::uint16_t commandId, std::uint8_t value) {
    const char byte = static_cast<char>(value);
    return ResultFrame(commandId, {&byte, 1});
}

// Adds 1 unless `counter` has reached `limit`; tells whether it did.
bool CountUpTo(std::uint32_t limit, std::atomic<std::uint32_t>& counter) {
    std::uint32_t seen = counter;
    while (seen < limit && !counter.compare_exchange_weak(seen, seen + 1)) {
    }
    return seen < limit;
}

}  // namespace

void UartManager::SendFrame(UartFrame frame) {
    if (input_fd == -1) {
        std::printf("input_fd open failed\n");
        return;
    }
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    const zel::SendLock lock(m_sendMutex);
    const std::int32_t port = input_fd;
    if (port != -1) {
        zel::WriteSerialPort(port, wire.bytes.data(), wire.size);
    }
}

void UartManager::SendStatusReply(std::uint16_t commandId, std::uint8_t status) {
    UartFrame frame = zel::MakeFrame(FrameKind::Plain, commandId);
    frame.length = 1;
    frame.payload[0] = status;
    frame.trailerB = kWithResult;
    SendFrame(frame);
}

void UartManager::SendCommand(std::int32_t commandId, std::int32_t subCode, const std::string& text) {
    const auto id = static_cast<std::uint16_t>(commandId);
    switch (commandId) {
        case zel::command::kReady: {
            UartFrame frame = zel::MakeFrame(FrameKind::Ready, id);
            frame.length = 1;
            frame.payload[0] = 0x02;
            frame.trailerB = 1;
            SendFrame(frame);
            return;
        }
        case zel::command::kLeaveFactory:
            SendFrame(zel::MakeFrame(FrameKind::LinkClosing, id));
            return;
        case zel::command::kReadPcbSn: {
            const std::string serialNumber = ZelGetPcbSn();
            SendFrame(serialNumber.empty() ? zel::MakeFrame(FrameKind::Plain, id) : ResultFrame(id, serialNumber));
            return;
        }
        case zel::command::kReadMac: {
            char mac[256] = {};
            const bool read = readStrMetaData(META_MAC, mac, sizeof mac) == 0;
            if (!read) {
                zel::LogFail("SendCommand", 4367);
            }
            SendFrame(ResultFrame(id, read ? mac : kUnreadable));
            return;
        }
        case zel::command::kReadWifiMac: {
            std::string mac;
            const bool read = ZelGetString(zel::key::kWifiMac, mac) == 0;
            SendFrame(ResultFrame(id, read ? mac : kUnreadable));
            return;
        }
        case zel::command::kKeyPressReport: {
            if (m_bConnected == 0) {
                return;
            }
            for (const ReportedKeyRow& row : kReportedKeys) {
                if (row.keyCode == subCode) {
                    if (CountUpTo(kMaxKeyReports, m_keyPressCounters[static_cast<std::size_t>(row.counter)])) {
                        SendFrame(ResultFrame(id, row.word));
                    }
                    return;
                }
            }
            SendFrame(ResultFrame(id, ""));
            return;
        }
        case zel::command::kWifiProgress:
            SendFrame(ByteFrame(id, static_cast<std::uint8_t>(kProgressBase - m_u8WifiScanTestAPCount)));
            return;
        case zel::command::kReadBacklight: {
            std::int32_t backlight = 0;
            ZelGetValue(zel::key::kBacklight, backlight);
            SendFrame(ByteFrame(id, static_cast<std::uint8_t>(backlight)));
            return;
        }
        case zel::command::kReadRunningTime:
        case zel::command::kReadRunningTimeAlso:
            SendFrame(RunningTimeFrame(id, ZelGetRunningTime()));
            return;
        case zel::command::kReadSoftwareVersion: {
            std::string version;
            ZelGetString(zel::key::kSoftwareVersion, version);
            // A version without a dot has no prefix to leave out.
            SendFrame(ResultFrame(id, version.substr(version.find('.') + 1)));
            return;
        }
        case zel::command::kNamedQuery:
            SendFrame(ResultFrame(id, zel::AnswerNamedQuery(*this, text)));
            return;
        default:
            break;
    }
    for (const QueryValueRow& row : kQueryValueRows) {
        if (row.id == commandId) {
            SendFrame(BigEndianFrame(id, m_queryValues[static_cast<std::size_t>(row.value)]));
            return;
        }
    }
    for (const IdRange& range : kAnsweredEmpty) {
        if (commandId >= range.first && commandId <= range.last) {
            SendFrame(zel::MakeFrame(FrameKind::Plain, id));
            return;
        }
    }
}
