// What is asked of the set, and what the command's row says about asking it.
#ifndef ZELLINE_WIRE_REQUEST_H
#define ZELLINE_WIRE_REQUEST_H

#include <array>
#include <cstdint>
#include <string>

#include "protocol/FrameCodec.h"
#include "protocol/UartFrame.h"
#include "wire/Units.h"

namespace zelline {

struct Request {
    std::uint16_t id = 0;
    std::string payload;        // at most 64 bytes
    std::uint8_t trailerA = 0;  // file chunks: index
    std::uint8_t trailerB = 0;  // file chunks: number of chunks
};

// What ends whatever a set still waits for: no start byte, as long as the longest frame.
constexpr std::array<std::uint8_t, zel::kMaxWireFrame> kFlush{};
constexpr char kFlushWords[] = "flush, zero bytes that end whatever the set still waits for";

UartFrame FrameOf(const Request& request);

// "The line is here": ends the set's ready frames, and is answered with success every time.
UartFrame ConnectFrame();

// Whether requests of `id` carry bytes of a file, which may be secret.
bool CarriesFileBytes(std::uint16_t id);

// How long the set may take to answer `id`, when the line tool's user says nothing else. The set answers 0.5 s
// after the last byte at the earliest, because silence is what ends a burst for it.
Millis DefaultTimeout(std::uint16_t id);

// Whether a missing answer to `id` may be followed by sending it again: not where the set would do one thing more.
bool MayRepeat(std::uint16_t id);

// Why the set may have left the command with this payload unanswered, as far as its own rules tell; empty when
// they do not. One of several reasons that a time-out message lists.
std::string DropReason(std::uint16_t id, const std::string& payload);

}  // namespace zelline

#endif
