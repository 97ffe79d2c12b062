#include "wire/Answer.h"

#include <fmt/format.h>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

namespace id = zel::command;

constexpr std::uint8_t kCannotBeRead = 0x01;  // the one byte that stands for "no such text" in some answers

bool IsChecksum(std::uint16_t command) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    return command == id::kConfigFile || (row != nullptr && row->reply == zel::ReplyRule::KeyData);
}

Reading Text(std::string_view payload, bool emptyIsFailure) {
    Reading reading;
    reading.type = ValueType::Text;
    reading.text = std::string(payload);
    reading.success = !(emptyIsFailure && payload.empty());
    reading.words = payload.empty() ? "empty" : fmt::format("\"{}\"", Printable(payload));
    return reading;
}

Reading Unreadable() {
    Reading reading;
    reading.words = "cannot be read";
    return reading;
}

Reading Number(std::uint32_t number, const std::string& words) {
    Reading reading;
    reading.success = true;
    reading.type = ValueType::Number;
    reading.number = number;
    reading.text = fmt::to_string(number);
    reading.words = words;
    return reading;
}

std::uint32_t LittleEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
    }
    return value;
}

std::uint32_t BigEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<std::uint8_t>(byte);
    }
    return value;
}

Reading ReadResult(std::uint16_t command, std::string_view payload) {
    const bool single = payload.size() == 1;
    const auto first = payload.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(payload.front());
    if (IsChecksum(command) && payload.size() == 4) {
        Reading reading = Number(BigEndian(payload), "");
        reading.type = ValueType::Checksum;
        reading.text = fmt::format("{:08X}", reading.number);
        reading.words = "CRC-32 " + reading.text;
        return reading;
    }
    switch (command) {
        case id::kReadMac:
        case id::kReadWifiMac:
        case id::kNamedQuery:
            return single && first == kCannotBeRead ? Unreadable() : Text(payload, true);
        case id::kReadSoftwareVersion:
            return Text(payload, true);
        case id::kReadBacklight:
            if (single) {
                return Number(first, fmt::format("backlight {} %", first));
            }
            break;
        case id::kWifiProgress:
            if (single) {
                const int rounds = first > 101 ? 0 : 101 - first;
                return Number(first, fmt::format("progress {} ({} search round{} found an access point)", first,
                                                 rounds, rounds == 1 ? "" : "s"));
            }
            break;
        case id::kReadRunningTime:
        case id::kReadRunningTimeAlso:
            if (payload.size() == 4) {
                const std::uint32_t time = LittleEndian(payload);
                return Number(time, fmt::format("running time {}", time));
            }
            break;
        case id::kKeyPressReport: {
            Reading reading = Text(payload, false);
            reading.words = payload.empty() ? "another key" : fmt::format("key {}", Printable(payload));
            return reading;
        }
        default:
            break;
    }
    return Text(payload, false);
}

}  // namespace

FrameRole RoleOf(const UartFrame& frame) {
    if (frame.CommandId() == id::kReady) {
        return FrameRole::Ready;
    }
    const bool isKeyPress = frame.CommandId() == id::kKeyPressReport &&
                            frame.kind == static_cast<std::uint8_t>(zel::FrameKind::Result);
    return isKeyPress ? FrameRole::KeyPress : FrameRole::Answer;
}

Reading ReadAnswer(const UartFrame& frame) {
    const std::string_view payload = zel::Payload(frame);
    if (frame.kind == static_cast<std::uint8_t>(zel::FrameKind::Result)) {
        return ReadResult(frame.CommandId(), payload);
    }
    Reading reading;
    if (frame.kind == static_cast<std::uint8_t>(zel::FrameKind::LinkClosing)) {
        reading.success = true;
        reading.words = "link closing";
    } else if (payload.empty()) {
        reading.success = true;
        reading.type = frame.CommandId() == id::kReadPcbSn ? ValueType::Text : ValueType::None;
        reading.words = frame.CommandId() == id::kReadPcbSn ? "none stored" : "answered without data";
    } else {
        reading.success = payload.size() == 1 && payload.front() == 0;
        reading.words = reading.success ? "success" : "failure";
        if (payload.size() != 1 || static_cast<std::uint8_t>(payload.front()) > 1) {
            reading.words = "unknown status " + ToHex(frame.payload.data(), payload.size());
        }
    }
    return reading;
}

}  // namespace zelline
