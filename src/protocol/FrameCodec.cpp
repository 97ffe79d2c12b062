#include "protocol/FrameCodec.h"

#include <algorithm>
#include <cstring>

std::uint8_t FrameChecksum(const std::uint8_t* bytes, std::size_t size) {
    // Eight bytes per step: even and odd bytes add up in four lanes of 16 bits, of which only the low byte counts.
    constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
    std::uint64_t lanes = 0;
    for (; size >= sizeof lanes; bytes += sizeof lanes, size -= sizeof lanes) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        lanes = (lanes & kEvenBytes) + (word & kEvenBytes) + ((word >> 8) & kEvenBytes);
    }
    auto sum = static_cast<std::uint8_t>(lanes + (lanes >> 16) + (lanes >> 32) + (lanes >> 48));
    for (std::size_t i = 0; i < size; ++i) {
        sum = static_cast<std::uint8_t>(sum + bytes[i]);
    }
    return static_cast<std::uint8_t>(-sum);
}

namespace zel {

WireFrame EncodeFrame(const UartFrame& frame) {
    WireFrame wire{};
    const std::size_t length = std::min<std::size_t>(frame.length, kMaxPayload);
    auto& bytes = wire.bytes;
    bytes[0] = kFrameStart;
    bytes[1] = frame.kind;
    bytes[2] = frame.commandHigh;
    bytes[3] = frame.commandLow;
    bytes[4] = static_cast<std::uint8_t>(length);
    std::copy_n(frame.payload.begin(), length, bytes.begin() + kHeaderSize);
    bytes[kHeaderSize + length] = frame.trailerA;
    bytes[kHeaderSize + length + 1] = frame.trailerB;
    bytes[kHeaderSize + length + 2] = FrameChecksum(bytes.data() + 1, length + 6);
    bytes[kHeaderSize + length + 3] = kFrameEnd;
    wire.size = length + kFrameOverhead;
    return wire;
}

UartFrame DecodeFrame(const std::uint8_t* wire) {
    UartFrame frame{};
    frame.start = wire[0];
    frame.kind = wire[1];
    frame.commandHigh = wire[2];
    frame.commandLow = wire[3];
    frame.length = wire[4];
    std::memcpy(frame.payload.data(), wire + kHeaderSize, frame.length);
    const std::uint8_t* const behind = wire + kHeaderSize + frame.length;
    frame.trailerA = behind[0];
    frame.trailerB = behind[1];
    frame.checksum = behind[2];
    frame.end = behind[3];
    return frame;
}

UartFrame MakeFrame(FrameKind kind, std::uint16_t commandId) {
    UartFrame frame{};
    frame.start = kFrameStart;
    frame.kind = static_cast<std::uint8_t>(kind);
    frame.commandHigh = static_cast<std::uint8_t>(commandId >> 8);
    frame.commandLow = static_cast<std::uint8_t>(commandId);
    frame.end = kFrameEnd;
    return frame;
}

bool SetPayload(UartFrame& frame, std::string_view payload) {
    const std::size_t length = std::min(payload.size(), kMaxPayload);
    frame.payload.fill(0);
    std::copy_n(payload.begin(), length, frame.payload.begin());
    frame.length = static_cast<std::uint8_t>(length);
    return length == payload.size();
}

std::string_view Payload(const UartFrame& frame) {
    return {reinterpret_cast<const char*>(frame.payload.data()), std::min<std::size_t>(frame.length, kMaxPayload)};
}

}  // namespace zel
