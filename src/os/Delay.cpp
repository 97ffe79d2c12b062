#include "os/Delay.h"

#include <chrono>
#include <thread>

namespace zel {

void DelayMicroseconds(std::uint32_t microseconds) {
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

void DelaySeconds(std::uint32_t seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

}  // namespace zel
