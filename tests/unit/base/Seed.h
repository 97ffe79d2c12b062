// The seed of tests that draw: the same in every run but the long one's, and the one to repeat that with.
#ifndef TESTS_BASE_SEED_H
#define TESTS_BASE_SEED_H

#include <cstdlib>

namespace tests {

// ZELFAC_SEED of the environment; 1 without it.
inline unsigned Seed() {
    const char* const given = std::getenv("ZELFAC_SEED");
    return given == nullptr ? 1 : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
}

}  // namespace tests

#endif
