// Checksum and wire form of frames. No I/O, no state; callable from any thread.
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

// A zeroed record with start and end byte, kind and command id set.
UartFrame MakeFrame(FrameKind kind, std::uint16_t commandId);

// Copies `payload` into the record and sets its length. More than 64 bytes cannot be carried: the first 64 are
// taken and false is returned.
bool SetPayload(UartFrame& frame, std::string_view payload);

// The payload in use.
std::string_view Payload(const UartFrame& frame);

}  // namespace zel

#endif
