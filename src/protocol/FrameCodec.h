// Checksum and wire form of frames, and the verdict on received bytes. No I/O, no state; callable from any thread.
#ifndef ZELFAC_PROTOCOL_FRAMECODEC_H
#define ZELFAC_PROTOCOL_FRAMECODEC_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "protocol/UartFrame.h"

// The two's complement of the sum of `size` bytes modulo 256; 0 for no bytes. Bytes and their checksum together
// add up to 0 modulo 256.
std::uint8_t FrameChecksum(const std::uint8_t* bytes, std::size_t size);

namespace zel {

struct WireFrame {
    std::array<std::uint8_t, kMaxWireFrame + 3> bytes;  // zero past `size`
    std::size_t size;                                   // LEN + 9
};

// The wire form of `frame`: start and end byte are the protocol's, the checksum is computed afresh, whatever the
// record holds. `frame.length` above 64 is taken as 64.
WireFrame EncodeFrame(const UartFrame& frame);

// What bytes that begin with a start byte are.
enum class FrameVerdict : std::uint8_t {
    NeedMore,     // a frame as far as they go
    BadEnvelope,  // no frame: a length above 64, or another end byte
    BadChecksum,  // a whole frame that was damaged on the way
    Good
};

struct Inspection {
    FrameVerdict verdict;
    // NeedMore: bytes that it takes to say more. Good, BadChecksum: the frame's. BadEnvelope: those that were
    // looked at to say so.
    std::size_t size;
};

// The verdict on `bytes`, of which the first is a start byte; what lies behind the frame is not looked at.
inline Inspection Inspect(const std::uint8_t* bytes, std::size_t size) {
    if (size < kHeaderSize) {
        return {FrameVerdict::NeedMore, kHeaderSize};
    }
    const std::size_t length = bytes[kHeaderSize - 1];
    if (length > kMaxPayload) {
        return {FrameVerdict::BadEnvelope, kHeaderSize};
    }
    const std::size_t whole = length + kFrameOverhead;
    if (size < whole) {
        return {FrameVerdict::NeedMore, whole};
    }
    if (bytes[whole - 1] != kFrameEnd) {
        return {FrameVerdict::BadEnvelope, whole};
    }
    const bool intact = FrameChecksum(bytes + 1, length + 6) == bytes[whole - 2];
    return {intact ? FrameVerdict::Good : FrameVerdict::BadChecksum, whole};
}

// The record of a Good frame.
UartFrame DecodeFrame(const std::uint8_t* wire);

// A zeroed record with start and end byte, kind and command id set.
UartFrame MakeFrame(FrameKind kind, std::uint16_t commandId);

// Copies `payload` into the record and sets its length. More than 64 bytes cannot be carried: the first 64 are
// taken and false is returned.
bool SetPayload(UartFrame& frame, std::string_view payload);

// The payload in use.
std::string_view Payload(const UartFrame& frame);

}  // namespace zel

#endif
