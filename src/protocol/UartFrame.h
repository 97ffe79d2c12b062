// The envelope of every exchange on the factory serial link: its layout on the wire and in memory.
//
// On the wire, LEN + 9 bytes, all fields one byte, numbers of several bytes big-endian:
//
//   0     start 0x79          5 + LEN   trailer A
//   1     kind                6 + LEN   trailer B
//   2, 3  command id          7 + LEN   checksum over bytes 1 to 6 + LEN
//   4     LEN, 0 to 64        8 + LEN   end 0xFE
//   5     LEN payload bytes
#ifndef ZELFAC_PROTOCOL_UARTFRAME_H
#define ZELFAC_PROTOCOL_UARTFRAME_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace zel {

constexpr std::uint8_t kFrameStart = 0x79;
constexpr std::uint8_t kFrameEnd = 0xFE;
constexpr std::size_t kMaxPayload = 64;
constexpr std::size_t kHeaderSize = 5;     // start, kind, command id, LEN
constexpr std::size_t kFrameOverhead = 9;  // everything but the payload
constexpr std::size_t kMaxWireFrame = kMaxPayload + kFrameOverhead;

// Kind byte of frames that the set sends.
enum class FrameKind : std::uint8_t {
    Ready = 0x00,       // the set announces itself
    Plain = 0x10,       // status reply, or answer without data
    Result = 0x11,      // answer carrying a result
    LinkClosing = 0x20  // answer to the command that leaves factory mode
};

}  // namespace zel

// A frame in memory, passed by value: 73 bytes without padding. Payload bytes past `length` are 0, so a text
// payload shorter than 64 bytes may also be read as a NUL-terminated string.
struct UartFrame {
    std::uint8_t start;
    std::uint8_t kind;
    std::uint8_t commandHigh;
    std::uint8_t commandLow;
    std::uint8_t length;  // payload bytes in use, 0 to 64
    std::array<std::uint8_t, zel::kMaxPayload> payload;
    std::uint8_t trailerA;  // key transfer: chunk index
    std::uint8_t trailerB;  // key transfer: number of chunks; replies: 1 with a result, 0 without
    std::uint8_t checksum;
    std::uint8_t end;

    std::uint16_t CommandId() const { return static_cast<std::uint16_t>(commandHigh << 8 | commandLow); }
};

static_assert(sizeof(UartFrame) == 73, "the frame record is byte-packed");
static_assert(offsetof(UartFrame, trailerA) == 69, "trailer, checksum and end sit at bytes 69 to 72");

#endif
