// What an answer of the set says: success or failure, and the value that it carries.
#ifndef ZELLINE_WIRE_ANSWER_H
#define ZELLINE_WIRE_ANSWER_H

#include <cstdint>
#include <string>

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

}  // namespace zelline

#endif
