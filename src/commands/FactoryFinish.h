// The end of the line: the handshake with the TV service and what is closed after it, and the gate in front.
#ifndef ZELFAC_COMMANDS_FACTORYFINISH_H
#define ZELFAC_COMMANDS_FACTORYFINISH_H

#include <atomic>
#include <cstdint>

// 0 when both the PlayReady and the YouTube key passed their check, -1 until checked. The factory-finish commands
// are refused unless it is 0.
inline std::atomic<std::int32_t> m_i32RetCheckPlayreadyYoutube{-1};

#endif
