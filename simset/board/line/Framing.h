// How bytes look on the wire, and what a receiver with other settings makes of them.
#ifndef SIMSET_LINE_FRAMING_H
#define SIMSET_LINE_FRAMING_H

#include <cstdint>
#include <string>

namespace simset {

enum class Parity : std::uint8_t { None, Even, Odd };

// What both ends of a serial line have to agree on.
struct Framing {
    unsigned speed = 115200;  // bits per second; 0: the end is switched off
    unsigned dataBits = 8;    // 5 to 8
    Parity parity = Parity::None;
    unsigned stopBits = 1;  // 1 or 2

    bool operator==(const Framing& other) const {
        return speed == other.speed && dataBits == other.dataBits && parity == other.parity &&
               stopBits == other.stopBits;
    }
    bool operator!=(const Framing& other) const { return !(*this == other); }
};

// "115200 8N1"
std::string Describe(const Framing& framing);

// Receivers differ in what they do when a stop bit is missing.
enum class Receiver : std::uint8_t {
    Adapter,  // as the usual adapters of PCs: looks at one stop bit, and takes a missing one for the next start
    Port,     // as the set's own: looks at every stop bit it is set to, and waits for the next start after silence
};

// What a receiver set to `to` makes of `bytes` that were sent one after the other as `from` says, on a line that
// is silent before and after. It looks at the middle of each bit and hands on every byte, also one without its
// stop bit; nothing looks at the parity.
std::string Received(const std::string& bytes, const Framing& from, const Framing& to, Receiver receiver);

}  // namespace simset

#endif
