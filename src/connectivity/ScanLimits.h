// When the radio searches have seen enough, and what ends the search for access points.
#ifndef ZELFAC_CONNECTIVITY_SCANLIMITS_H
#define ZELFAC_CONNECTIVITY_SCANLIMITS_H

#include <cstdint>

namespace zel {

constexpr std::uint32_t kWeakSignal = 29;  // a level above it shows that the Wi-Fi radio works
constexpr std::uint32_t kHighestLevel = 99;
constexpr std::uint8_t kLastScanRound = 29;  // no further round is begun once more than this were counted
constexpr std::uint8_t kMostScanRounds = 30;
constexpr std::uint8_t kBluetoothAttempts = 4;
constexpr std::int32_t kStopSearch = 0;  // value of the key that starts and stops it

}  // namespace zel

#endif
