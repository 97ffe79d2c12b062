#include "protocol/RxParser.h"

#include <algorithm>
#include <cstring>

#include "protocol/FrameCodec.h"

namespace zel {
namespace {

// Builds the record of the frame that starts at `wire`.
void Unpack(const std::uint8_t* wire, std::size_t length, UartFrame& frame) {
    frame.start = wire[0];
    frame.kind = wire[1];
    frame.commandHigh = wire[2];
    frame.commandLow = wire[3];
    frame.length = wire[4];
    frame.payload.fill(0);
    std::memcpy(frame.payload.data(), wire + kHeaderSize, length);
    frame.trailerA = wire[kHeaderSize + length];
    frame.trailerB = wire[kHeaderSize + length + 1];
    frame.checksum = wire[kHeaderSize + length + 2];
    frame.end = wire[kHeaderSize + length + 3];
}

}  // namespace

void RxParser::Clear() {
    m_buffer.fill(0);
    m_count = 0;
    m_wanted = kHeaderSize;
}

bool RxParser::Examine(UartFrame& frame) {
    const std::size_t length = m_buffer[4];
    if (length > kMaxPayload) {
        Resynchronise();
        return false;
    }
    if (m_count < length + kFrameOverhead) {
        m_wanted = static_cast<std::uint16_t>(length + kFrameOverhead);
        return false;
    }
    if (m_buffer[length + 8] != kFrameEnd) {
        Resynchronise();
        return false;
    }
    const bool intact = FrameChecksum(m_buffer.data() + 1, length + 6) == m_buffer[length + 7];
    if (intact) {
        Unpack(m_buffer.data(), length, frame);
    }
    Clear();
    return intact;
}

void RxParser::Resynchronise() {
    const auto begin = m_buffer.begin();
    const auto end = begin + m_count;
    const auto next = std::find(begin + 1, end, kFrameStart);
    if (next == end) {
        Clear();
        return;
    }
    std::copy(next, end, begin);
    m_count = static_cast<std::uint16_t>(end - next);
    m_wanted = kHeaderSize;
}

std::size_t RxParser::TakeWhole(const std::uint8_t* bytes, std::size_t size, UartFrame& frame) {
    m_tookFrame = false;
    if (bytes[0] != kFrameStart) {
        const auto* start = static_cast<const std::uint8_t*>(std::memchr(bytes, kFrameStart, size));
        return start == nullptr ? size : static_cast<std::size_t>(start - bytes);
    }
    if (size < kFrameOverhead) {
        return kNotWhole;
    }
    const std::size_t length = bytes[4];
    if (length > kMaxPayload || size < length + kFrameOverhead || bytes[length + 8] != kFrameEnd) {
        return kNotWhole;
    }
    if (FrameChecksum(bytes + 1, length + 6) == bytes[length + 7]) {
        Unpack(bytes, length, frame);
        m_tookFrame = true;
    }
    return length + kFrameOverhead;
}

}  // namespace zel
