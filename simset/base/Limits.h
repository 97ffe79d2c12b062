// Bounds that several rooms of simset share.
#ifndef SIMSET_BASE_LIMITS_H
#define SIMSET_BASE_LIMITS_H

#include <cstddef>

namespace simset {

// Bytes of the longest key file that the key store takes.
constexpr std::size_t kLongestKeyFile = 16U << 20U;

}  // namespace simset

#endif
