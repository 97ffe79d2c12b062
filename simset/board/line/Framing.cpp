#include "simset/board/line/Framing.h"

#include <algorithm>
#include <vector>

namespace simset {
namespace {

using Picos = std::uint64_t;
constexpr Picos kPicosPerSecond = 1'000'000'000'000;

Picos BitTime(const Framing& framing) {
    return std::max<Picos>(kPicosPerSecond / framing.speed, 1);
}

bool ParityBit(unsigned value, Parity parity) {
    bool odd = parity == Parity::Odd;
    for (; value != 0; value &= value - 1) {
        odd = !odd;
    }
    return odd;
}

// The levels of a line that carries bytes, bit after bit; high before and after.
class Wave {
  public:
    Wave(const std::string& bytes, const Framing& framing) : m_bit(BitTime(framing)) {
        for (const char byte : bytes) {
            const unsigned value = static_cast<unsigned char>(byte) & ((1U << framing.dataBits) - 1U);
            m_levels.push_back(false);
            for (unsigned bit = 0; bit < framing.dataBits; ++bit) {
                m_levels.push_back((value >> bit & 1U) != 0);
            }
            if (framing.parity != Parity::None) {
                m_levels.push_back(ParityBit(value, framing.parity));
            }
            m_levels.insert(m_levels.end(), framing.stopBits, true);
        }
    }

    bool At(Picos time) const {
        const std::size_t bit = time / m_bit;
        return bit >= m_levels.size() || m_levels[bit];
    }
    // The first moment from `time` on at which the line has that level; End when there is none.
    Picos Next(Picos time, bool level) const {
        if (At(time) == level) {
            return time;
        }
        std::size_t bit = time / m_bit + 1;
        while (bit < m_levels.size() && m_levels[bit] != level) {
            ++bit;
        }
        return bit * m_bit;
    }
    Picos End() const { return m_levels.size() * m_bit; }

  private:
    Picos m_bit;
    std::vector<bool> m_levels;
};

}  // namespace

std::string Describe(const Framing& framing) {
    constexpr const char* kParities = "NEO";
    return std::to_string(framing.speed) + ' ' + std::to_string(framing.dataBits) +
           kParities[static_cast<unsigned>(framing.parity)] + std::to_string(framing.stopBits);
}

std::string Received(const std::string& bytes, const Framing& from, const Framing& to, Receiver receiver) {
    if (from == to) {
        return bytes;
    }
    if (from.speed == 0 || to.speed == 0) {
        return {};
    }
    const Wave wave(bytes, from);
    const Picos bit = BitTime(to);
    const unsigned parityBits = to.parity == Parity::None ? 0 : 1;
    std::string received;
    Picos start = 0;
    while ((start = wave.Next(start, false)) < wave.End()) {
        if (wave.At(start + bit / 2)) {
            start += bit / 2;  // too short for a start bit
            continue;
        }
        unsigned value = 0;
        bool anyHigh = false;
        for (unsigned index = 0; index < to.dataBits + parityBits; ++index) {
            const bool level = wave.At(start + bit * (index + 1) + bit / 2);
            anyHigh = anyHigh || level;
            if (level && index < to.dataBits) {
                value |= 1U << index;
            }
        }
        received.push_back(static_cast<char>(value));
        const Picos stop = start + bit * (1 + to.dataBits + parityBits);
        Picos last = stop + bit / 2;
        if (receiver == Receiver::Port && to.stopBits == 2 && wave.At(last)) {
            last += bit;
        }
        if (wave.At(last)) {
            start = last;
        } else {
            // After a break everybody waits.
            start = receiver == Receiver::Adapter && anyHigh ? stop : wave.Next(last, true);
        }
    }
    return received;
}

}  // namespace simset
