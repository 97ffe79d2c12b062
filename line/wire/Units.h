// Bytes and time, as every room of the tool writes them.
#ifndef ZELLINE_WIRE_UNITS_H
#define ZELLINE_WIRE_UNITS_H

#include <chrono>
#include <cstdint>
#include <vector>

namespace zelline {

using Bytes = std::vector<std::uint8_t>;
using Millis = std::chrono::milliseconds;

}  // namespace zelline

#endif
