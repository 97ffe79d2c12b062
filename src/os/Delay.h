// The one place where the application waits for time to pass.
#ifndef ZELFAC_OS_DELAY_H
#define ZELFAC_OS_DELAY_H

#include <cstdint>

namespace zel {

// Block the calling thread, any, for at least that long.
void DelayMicroseconds(std::uint32_t microseconds);
inline void DelayMilliseconds(std::uint32_t milliseconds) {
    DelayMicroseconds(milliseconds * 1000);
}
void DelaySeconds(std::uint32_t seconds);

}  // namespace zel

#endif
