// What an answer of the set says: success or failure, and the value that it carries.
#ifndef ZELLINE_LINE_ANSWER_H
#define ZELLINE_LINE_ANSWER_H

#include <cstdint>
#include <string>

#include "Transport.h"
#include "protocol/UartFrame.h"

namespace zelline {

// What a frame from the set is, by its kind byte and command id.
enum class FrameRole {
    Ready,     // "I am on and nobody has connected yet", about every 2 s
    KeyPress,  // a key of the remote control or the panel was pressed
    Answer     // an answer to a command
};

FrameRole RoleOf(const UartFrame& frame);

enum class ValueType { None, Text, Number, Checksum };

struct Reading {
    bool success = false;
    ValueType type = ValueType::None;
    std::string text;          // Text: as sent; Number: decimal; Checksum: eight hexadecimal digits; None: empty
    std::uint32_t number = 0;  // Number and Checksum
    std::string words;         // a phrase for people, such as "success" or "backlight 100 %"
};

// Reads an answer frame of role Answer or KeyPress.
Reading ReadAnswer(const UartFrame& frame);

// How long the set may take to answer `id`, when the line tool's user says nothing else. The set answers 0.5 s
// after the last byte at the earliest, because silence is what ends a burst for it.
Millis DefaultTimeout(std::uint16_t id);

// Whether a missing answer to `id` may be followed by sending it again: not where the first try may still be
// running, or where the set would do a thing twice.
bool MayRepeat(std::uint16_t id);

// Why the set may have left the command with this payload unanswered, as far as its own rules tell; empty when
// they do not. One of several reasons that a time-out message lists.
std::string DropReason(std::uint16_t id, const std::string& payload);

}  // namespace zelline

#endif
