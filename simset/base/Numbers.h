// Numbers in texts from outside.
#ifndef SIMSET_BASE_NUMBERS_H
#define SIMSET_BASE_NUMBERS_H

#include <charconv>
#include <limits>
#include <optional>
#include <string>

namespace simset {

// The number that is the whole of `text` and lies between the two bounds; nothing otherwise.
template <typename Number>
std::optional<Number> ParseNumber(const std::string& text, Number least = std::numeric_limits<Number>::lowest(),
                                  Number most = std::numeric_limits<Number>::max()) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    const bool whole = result.ec == std::errc() && result.ptr == end;
    return whole && value >= least && value <= most ? std::optional<Number>(value) : std::nullopt;
}

}  // namespace simset

#endif
