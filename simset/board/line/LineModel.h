// The arithmetic of the serial line: when bytes arrive, and which of them are damaged.
#ifndef SIMSET_LINE_LINEMODEL_H
#define SIMSET_LINE_LINEMODEL_H

#include <chrono>
#include <cstdint>
#include <random>
#include <string>

#include "simset/control/Verbs.h"

namespace simset {

// What a user can change on the serial line while the set runs.
struct LineSettings {
    unsigned baud = 115200;  // bits per second, 10 bits per byte (8N1); 0 = as fast as both ends go
    double drop = 0;         // probability per byte that it is lost, 0..1
    double flip = 0;         // probability per byte that one of its bits is inverted, 0..1
    unsigned delayMs = 0;    // milliseconds by which every byte arrives later
    std::uint64_t seed = 1;  // start of the random sequence of the faults; the same seed repeats the same faults
};

// The most that the settings take.
constexpr unsigned kMaxBaud = 12'000'000;
constexpr unsigned kMaxDelayMs = 60'000;

// The settings with what the arguments of `line [--baud N] [--drop P] [--flip P] [--delay MS] [--seed N]` change.
// Throws ControlError when one is unusable.
LineSettings Changed(LineSettings settings, const Arguments& arguments);

// When bytes of a paced line arrive. Time is handed in, so that the arithmetic is tested without waiting. Keeps
// nanosecond positions of its own, so that rounding in the waits never adds up.
class LineClock {
  public:
    using Nanos = std::chrono::nanoseconds;

    // A caller later than this was not just scheduled late (the machine slept): no burst makes up for it.
    static constexpr Nanos kMostLate = std::chrono::milliseconds(250);

    // `baud`: bits per second, above 0.
    explicit LineClock(unsigned baud);

    // The moment at which the last of `count` bytes handed over at `now` has arrived; bytes handed over while
    // earlier ones are still on the wire follow these without a gap. `waiting`: the bytes were already there when
    // the wire became free, so they follow without a gap even if the caller comes late; at most kMostLate is made
    // up for.
    Nanos Schedule(Nanos now, std::size_t count, bool waiting = false);

    // The moment at which everything handed over so far has arrived
    Nanos FreeAt() const;

    // How many bytes the wire carries in that time, at least 1
    std::size_t BytesIn(Nanos span) const;

  private:
    unsigned m_baud;
    Nanos m_start{0};           // when the current uninterrupted run of bytes began
    std::uint64_t m_count = 0;  // bytes of that run
};

// Damages a stream of bytes: drops each with one probability, flips one bit of each with another. The sequence
// depends on the settings' seed, the direction and the number of bytes so far, and on nothing else.
class FaultInjector {
  public:
    // `direction`: 0 towards the set, 1 from the set: each has a sequence of its own
    FaultInjector(const LineSettings& settings, unsigned direction);

    // Applies the faults to `bytes` in place.
    void Apply(std::string& bytes);

    std::uint64_t Dropped() const { return m_dropped; }
    std::uint64_t Flipped() const { return m_flipped; }

  private:
    bool Happens(double probability);

    double m_drop;
    double m_flip;
    std::mt19937_64 m_random;
    std::uint64_t m_dropped = 0;
    std::uint64_t m_flipped = 0;
};

}  // namespace simset

#endif
