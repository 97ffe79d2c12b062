#include "protocol/AnswerForm.h"

#include <array>
#include <cstddef>

#include "protocol/FrameCodec.h"

namespace zel {
namespace {

using Says = AnswerValue::Says;

constexpr std::string_view kSuccess("\0", 1);
constexpr std::string_view kFailure("\x01", 1);
constexpr std::string_view kUnreadable("\x01", 1);  // in the place of a text
constexpr std::uint8_t kCarriesSomething = 1;       // trailer B of status replies and of answers with a result

FrameKind KindOf(AnswerForm form, std::string_view payload) {
    switch (form) {
        case AnswerForm::LinkClosing:
            return FrameKind::LinkClosing;
        case AnswerForm::TextOrNothing:
            return payload.empty() ? FrameKind::Plain : FrameKind::Result;
        case AnswerForm::Text:
        case AnswerForm::TextOrUnreadable:
        case AnswerForm::Byte:
        case AnswerForm::Bits32Little:
        case AnswerForm::Bits32Big:
            return FrameKind::Result;
        case AnswerForm::None:
        case AnswerForm::Status:
        case AnswerForm::Empty:
            break;
    }
    return FrameKind::Plain;
}

UartFrame NumberFrame(std::uint16_t id, AnswerForm form, std::uint32_t number) {
    std::array<char, 4> bytes = {static_cast<char>(number), static_cast<char>(number >> 8),
                                 static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
    if (form == AnswerForm::Bits32Big) {
        bytes = {bytes[3], bytes[2], bytes[1], bytes[0]};
    }
    const std::size_t size = form == AnswerForm::Byte ? 1 : bytes.size();
    return AnswerFrame(id, form, {bytes.data(), size});
}

AnswerValue DecodeResult(AnswerForm form, std::string_view payload) {
    const auto byte = [payload](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<std::uint8_t>(payload[at]));
    };
    if (form == AnswerForm::TextOrUnreadable && payload == kUnreadable) {
        return AnswerValue::OfUnreadable();
    }
    if (form == AnswerForm::Byte && payload.size() == 1) {
        return AnswerValue::OfNumber(byte(0));
    }
    if (form == AnswerForm::Bits32Little && payload.size() == 4) {
        return AnswerValue::OfNumber(byte(3) << 24 | byte(2) << 16 | byte(1) << 8 | byte(0));
    }
    if (form == AnswerForm::Bits32Big && payload.size() == 4) {
        return AnswerValue::OfNumber(byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3));
    }
    return AnswerValue::OfText(std::string(payload));
}

}  // namespace

UartFrame AnswerFrame(std::uint16_t id, AnswerForm form, std::string_view payload) {
    const FrameKind kind = KindOf(form, payload);
    UartFrame frame = MakeFrame(kind, id);
    SetPayload(frame, payload);
    frame.trailerB = kind == FrameKind::Result || form == AnswerForm::Status ? kCarriesSomething : 0;
    return frame;
}

UartFrame EncodeAnswer(std::uint16_t id, AnswerForm form, const AnswerValue& value) {
    switch (value.says) {
        case Says::Success:
            return AnswerFrame(id, AnswerForm::Status, kSuccess);
        case Says::Failure:
            return AnswerFrame(id, AnswerForm::Status, kFailure);
        case Says::Nothing:
            return AnswerFrame(id, AnswerForm::Empty, {});
        case Says::LinkClosing:
            return AnswerFrame(id, AnswerForm::LinkClosing, {});
        case Says::Unreadable:
            return AnswerFrame(id, form, kUnreadable);
        case Says::Number:
            return NumberFrame(id, form, value.number);
        case Says::Text:
        case Says::Unknown:
            break;
    }
    return AnswerFrame(id, form, value.text);
}

AnswerValue DecodeAnswer(AnswerForm form, const UartFrame& frame) {
    const std::string_view payload = Payload(frame);
    if (frame.kind == static_cast<std::uint8_t>(FrameKind::Result)) {
        return DecodeResult(form, payload);
    }
    AnswerValue value;
    if (frame.kind == static_cast<std::uint8_t>(FrameKind::LinkClosing)) {
        value.says = Says::LinkClosing;
    } else if (payload == kSuccess) {
        value.says = Says::Success;
    } else if (payload == kFailure) {
        value.says = Says::Failure;
    } else if (!payload.empty()) {
        value.says = Says::Unknown;
        value.text = std::string(payload);
    }
    return value;
}

}  // namespace zel
