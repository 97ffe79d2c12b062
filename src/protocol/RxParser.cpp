#include "protocol/RxParser.h"

#include <algorithm>
#include <cstring>

namespace zel {

void RxParser::Clear() {
    m_buffer.fill(0);
    m_count = 0;
    m_wanted = kHeaderSize;
}

bool RxParser::Examine(UartFrame& frame) {
    const Inspection inspection = Inspect(m_buffer.data(), m_count);
    switch (inspection.verdict) {
        case FrameVerdict::NeedMore:
            m_wanted = static_cast<std::uint16_t>(inspection.size);
            return false;
        case FrameVerdict::BadEnvelope:
            Resynchronise();
            return false;
        case FrameVerdict::Good:
            frame = DecodeFrame(m_buffer.data());
            break;
        case FrameVerdict::BadChecksum:
            break;
    }
    Clear();
    return inspection.verdict == FrameVerdict::Good;
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
    const Inspection inspection = Inspect(bytes, size);
    switch (inspection.verdict) {
        case FrameVerdict::NeedMore:
        case FrameVerdict::BadEnvelope:
            break;
        case FrameVerdict::Good:
            frame = DecodeFrame(bytes);
            m_tookFrame = true;
            return inspection.size;
        case FrameVerdict::BadChecksum:
            return inspection.size;
    }
    return kNotWhole;
}

}  // namespace zel
