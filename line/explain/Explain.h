// Frames in words, intact or damaged.
#ifndef ZELLINE_EXPLAIN_EXPLAIN_H
#define ZELLINE_EXPLAIN_EXPLAIN_H

#include <cstddef>
#include <string>
#include <vector>

#include "protocol/UartFrame.h"
#include "wire/Hex.h"

namespace zelline {

// One line about an intact frame: what it is, what it asks for or says.
std::string Explain(const UartFrame& frame);

// A stretch of a byte stream.
struct Stretch {
    std::size_t at = 0;  // offset of its first byte
    Bytes bytes;
    bool intact = false;  // a whole frame with the right checksum
    UartFrame frame{};    // when intact
    std::string words;    // what the frame says, or what is wrong with these bytes
};

// Cuts a byte stream into frames and what is none. Every byte is in exactly one stretch.
std::vector<Stretch> Dissect(const Bytes& stream);

}  // namespace zelline

#endif
