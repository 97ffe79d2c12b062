// Turns a byte stream into frames, resynchronising on damage.
#ifndef ZELFAC_PROTOCOL_RXPARSER_H
#define ZELFAC_PROTOCOL_RXPARSER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "protocol/FrameCodec.h"

namespace zel {

// The receive state: an assembly buffer and its fill count. It persists from byte to byte, so a frame may be
// split over any number of reads. One stream, one parser, one thread; no allocation, no I/O.
//
// Recovery: a byte that is no start byte is dropped while no frame is open. A length above 64 or a wrong end
// byte makes the next start byte already received the start of the next attempt (the bytes behind it are kept
// and looked at again when the next byte arrives). A wrong checksum drops everything received so far.
class RxParser {
  public:
    // Takes one byte. Returns true when it completed a frame, which is then in `frame` (untouched otherwise).
    bool ParseRxByte(std::uint8_t byte, UartFrame& frame) {
        if (m_count == 0 && byte != kFrameStart) {
            return false;
        }
        m_buffer[m_count++] = byte;
        return m_count >= m_wanted && Examine(frame);
    }

    // Takes `size` bytes in order and hands every frame completed to `sink(const UartFrame&)`. The same result
    // as byte by byte, only faster: a frame that lies whole in `bytes` is checked where it lies.
    template <typename Sink>
    void ParseRxBytes(const std::uint8_t* bytes, std::size_t size, Sink&& sink) {
        UartFrame frame;
        std::size_t at = 0;
        while (at < size) {
            if (m_count == 0) {
                const std::size_t taken = TakeWhole(bytes + at, size - at, frame);
                if (taken == kNotWhole) {
                    if (ParseRxByte(bytes[at++], frame)) {
                        sink(static_cast<const UartFrame&>(frame));
                    }
                    continue;
                }
                at += taken;
                if (m_tookFrame) {
                    sink(static_cast<const UartFrame&>(frame));
                }
            } else if (ParseRxByte(bytes[at++], frame)) {
                sink(static_cast<const UartFrame&>(frame));
            }
        }
    }

    // Forgets what was received of an unfinished frame.
    void Clear();

  private:
    static constexpr std::size_t kNotWhole = 0;

    // Looks at what is open once the header is in: waits for the rest, delivers, or recovers. Returns true when a
    // frame was delivered.
    bool Examine(UartFrame& frame);
    void Resynchronise();
    // With no frame open: skips noise, or takes a frame (good, or dropped for its checksum) that lies whole in
    // `bytes`. Returns the bytes consumed, kNotWhole when the byte-by-byte road has to decide.
    std::size_t TakeWhole(const std::uint8_t* bytes, std::size_t size, UartFrame& frame);

    std::array<std::uint8_t, kMaxWireFrame + 1> m_buffer{};
    std::uint16_t m_count = 0;             // bytes of m_buffer in use; below kMaxWireFrame between two bytes
    std::uint16_t m_wanted = kHeaderSize;  // count from which on there is something to look at
    bool m_tookFrame = false;
};

}  // namespace zel

#endif
