// Status codes of the simulated middleware, as the client libraries hand them to the application.
#ifndef SIMSET_BASE_STATUS_H
#define SIMSET_BASE_STATUS_H

#include <cstdint>

namespace simset {

constexpr std::int32_t kOk = 0;
constexpr std::int32_t kUnknownKey = 2;
constexpr std::int32_t kWrongKind = 3;
constexpr std::int32_t kUnknownInterface = 4;
constexpr std::int32_t kNotConnected = 5;
constexpr std::int32_t kNotStarted = 6;
constexpr std::int32_t kOutOfRange = 7;
constexpr std::int32_t kRefused = 8;
constexpr std::int32_t kNotInstalled = 9;
constexpr std::int32_t kReadOnly = 10;
constexpr std::int32_t kBadRequest = 22;
constexpr std::int32_t kNotKept = 28;       // the state could not be written
constexpr std::int32_t kUnreachable = 111;  // the middleware is gone or does not answer

}  // namespace simset

#endif
