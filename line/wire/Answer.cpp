#include "wire/Answer.h"

#include <fmt/format.h>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

namespace id = zel::command;

using zel::AnswerForm;
using Says = zel::AnswerValue::Says;

AnswerForm FormOf(std::uint16_t command) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    return row == nullptr ? AnswerForm::None : row->answer;
}

// "running time 300", by the name of the command that reads it.
std::string NumberWords(std::uint16_t command, std::uint32_t number) {
    if (command == id::kWifiProgress) {
        const std::uint32_t rounds = number > 101 ? 0 : 101 - number;
        return fmt::format("progress {} ({} search round{} found an access point)", number, rounds,
                           rounds == 1 ? "" : "s");
    }
    constexpr std::string_view kRead = "read ";
    std::string_view name = zel::FindCommand(command)->name;
    if (name.substr(0, kRead.size()) == kRead) {
        name.remove_prefix(kRead.size());
    }
    return fmt::format("{} {}{}", name, number, command == id::kReadBacklight ? " %" : "");
}

Reading OfNumber(std::uint16_t command, std::uint32_t number) {
    if (FormOf(command) == AnswerForm::Bits32Big) {
        const std::string digits = fmt::format("{:08X}", number);
        return {true, ValueType::Checksum, digits, number, "CRC-32 " + digits};
    }
    return {true, ValueType::Number, fmt::to_string(number), number, NumberWords(command, number)};
}

Reading OfText(AnswerForm form, const std::string& text) {
    const bool mustBeThere = form == AnswerForm::Text || form == AnswerForm::TextOrUnreadable;
    return {!(mustBeThere && text.empty()), ValueType::Text, text, 0,
            text.empty() ? "empty" : fmt::format("\"{}\"", Printable(text))};
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
    const AnswerForm form = FormOf(frame.CommandId());
    const zel::AnswerValue value = zel::DecodeAnswer(form, frame);
    if (RoleOf(frame) == FrameRole::KeyPress) {
        return {true, ValueType::Text, value.text, 0,
                value.text.empty() ? "another key" : "key " + Printable(value.text)};
    }
    switch (value.says) {
        case Says::Success:
            return {true, ValueType::None, "", 0, "success"};
        case Says::Failure:
            return {false, ValueType::None, "", 0, "failure"};
        case Says::Nothing:
            return form == AnswerForm::TextOrNothing
                       ? Reading{true, ValueType::Text, "", 0, "none stored"}
                       : Reading{true, ValueType::None, "", 0, "answered without data"};
        case Says::LinkClosing:
            return {true, ValueType::None, "", 0, "link closing"};
        case Says::Unreadable:
            return {false, ValueType::None, "", 0, "cannot be read"};
        case Says::Number:
            return OfNumber(frame.CommandId(), value.number);
        case Says::Text:
            return OfText(form, value.text);
        case Says::Unknown:
            break;
    }
    return {false, ValueType::None, "", 0, "unknown status " + ToHex(Bytes(value.text.begin(), value.text.end()))};
}

}  // namespace zelline
