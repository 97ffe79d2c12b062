// The forms that answers of the set have on the wire, and what they say: written once for both ends of the line.
// No I/O, no state; callable from any thread.
#ifndef ZELFAC_PROTOCOL_ANSWERFORM_H
#define ZELFAC_PROTOCOL_ANSWERFORM_H

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/UartFrame.h"

namespace zel {

// The form of a command's answer.
enum class AnswerForm : std::uint8_t {
    None,              // there is none
    Status,            // kind 0x10, one byte: 0 success, 1 failure
    Empty,             // kind 0x10, no payload
    LinkClosing,       // kind 0x20, no payload
    Text,              // kind 0x11, the characters
    TextOrNothing,     // as Text; kind 0x10 without payload when there are none
    TextOrUnreadable,  // as Text; one byte 0x01 when they cannot be read
    Byte,              // kind 0x11, one byte
    Bits32Little,      // kind 0x11, four bytes, least significant first
    Bits32Big          // kind 0x11, four bytes, most significant first
};

// What an answer says.
struct AnswerValue {
    enum class Says : std::uint8_t {
        Success,      // status 0
        Failure,      // status 1
        Nothing,      // no payload
        LinkClosing,  // the link stops
        Unreadable,   // the text cannot be read
        Text,         // `text`
        Number,       // `number`
        Unknown       // read only: a status that is none; `text` has its bytes
    };

    Says says = Says::Nothing;
    std::string text;
    std::uint32_t number = 0;

    static AnswerValue OfText(std::string text) { return {Says::Text, std::move(text), 0}; }
    static AnswerValue OfNumber(std::uint32_t number) { return {Says::Number, {}, number}; }
    static AnswerValue OfUnreadable() { return {Says::Unreadable, {}, 0}; }
};

// The answer to `id` that has the form `form` and these payload bytes; of more than 64 the first 64 are taken.
UartFrame AnswerFrame(std::uint16_t id, AnswerForm form, std::string_view payload);

// The answer to `id` that says `value`: in the form `form`, or as the status reply, the empty answer or the
// closing of the link where the value is one of those. A number goes into the low bits of a Byte. A text over 64
// bytes is cut. Unknown cannot be sent: its bytes go out as a text.
UartFrame EncodeAnswer(std::uint16_t id, AnswerForm form, const AnswerValue& value);

// What `frame` says as the answer to a command whose answers have the form `form`. A payload that the form does
// not allow is given as the text that it may be, also for a Status answered with kind 0x11 (a key press report).
AnswerValue DecodeAnswer(AnswerForm form, const UartFrame& frame);

}  // namespace zel

#endif
