#include "simset/board/line/LineModel.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "simset/base/Numbers.h"

namespace simset {
namespace {

constexpr std::uint64_t kBitsPerByte = 10;  // start bit, eight data bits, stop bit
constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;

template <typename Number>
void Take(const Arguments& arguments, const char* option, Number most, Number& value) {
    if (const auto text = arguments.Option(option)) {
        const auto number = ParseNumber<Number>(*text, 0, most);
        if (!number) {
            std::ostringstream message;
            message << option << " wants a number from 0 to " << most;
            throw ControlError(message.str());
        }
        value = *number;
    }
}

}  // namespace

LineSettings Changed(LineSettings settings, const Arguments& arguments) {
    Take(arguments, "--baud", kMaxBaud, settings.baud);
    Take(arguments, "--drop", 1.0, settings.drop);
    Take(arguments, "--flip", 1.0, settings.flip);
    Take(arguments, "--delay", kMaxDelayMs, settings.delayMs);
    Take(arguments, "--seed", std::numeric_limits<std::uint64_t>::max(), settings.seed);
    return settings;
}

LineClock::LineClock(unsigned baud) : m_baud(std::max(baud, 1U)) {}

LineClock::Nanos LineClock::FreeAt() const {
    // Whole seconds first: a run of hours stays inside 64 bits.
    const std::uint64_t bits = m_count * kBitsPerByte;
    const std::uint64_t nanos = bits / m_baud * kNanosPerSecond + bits % m_baud * kNanosPerSecond / m_baud;
    return m_start + Nanos(nanos);
}

LineClock::Nanos LineClock::Schedule(Nanos now, std::size_t count, bool waiting) {
    const Nanos oldest = waiting ? now - kMostLate : now;
    if (m_count == 0 || FreeAt() < oldest) {
        m_start = now;
        m_count = 0;
    }
    m_count += count;
    return FreeAt();
}

std::size_t LineClock::BytesIn(Nanos span) const {
    const double bytes = static_cast<double>(span.count()) / 1e9 * m_baud / static_cast<double>(kBitsPerByte);
    return std::max<std::size_t>(1, static_cast<std::size_t>(bytes));
}

FaultInjector::FaultInjector(const LineSettings& settings, unsigned direction)
    : m_drop(settings.drop), m_flip(settings.flip), m_random(settings.seed * 2 + direction) {}

bool FaultInjector::Happens(double probability) {
    // The standard distributions differ between libraries; 53 bits of the engine do not.
    const double draw = static_cast<double>(m_random() >> 11) / static_cast<double>(std::uint64_t{1} << 53);
    return draw < probability;
}

void FaultInjector::Apply(std::string& bytes) {
    if (m_drop <= 0 && m_flip <= 0) {
        return;
    }
    std::string kept;
    kept.reserve(bytes.size());
    for (const char byte : bytes) {
        if (Happens(m_drop)) {
            ++m_dropped;
            continue;
        }
        auto value = static_cast<unsigned char>(byte);
        if (Happens(m_flip)) {
            value = static_cast<unsigned char>(value ^ (1U << (m_random() % 8)));
            ++m_flipped;
        }
        kept.push_back(static_cast<char>(value));
    }
    bytes.swap(kept);
}

}  // namespace simset
