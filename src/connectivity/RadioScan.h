// What the radio searches share: how far they are, what they have found, and when they have seen enough.
#ifndef ZELFAC_CONNECTIVITY_RADIOSCAN_H
#define ZELFAC_CONNECTIVITY_RADIOSCAN_H

#include <atomic>
#include <cstdint>

namespace zel {

constexpr std::uint32_t kWeakSignal = 29;  // a level above it shows that the Wi-Fi radio works
constexpr std::uint32_t kHighestLevel = 99;
constexpr std::uint8_t kLastScanRound = 29;  // no further round is begun once more than this were counted
constexpr std::uint8_t kMostScanRounds = 30;
constexpr std::uint8_t kBluetoothAttempts = 4;
constexpr std::int32_t kStopSearch = 0;  // value of the key that starts and stops it

// The searches of one UartManager. The scan thread and the command thread both run them; every field is complete
// in itself.
struct RadioScan {
    std::atomic<std::uint8_t> fWifiScanning{0};        // 1 while the Wi-Fi scan goes on
    std::atomic<std::uint8_t> fBTSearching{0};         // 1 while a Bluetooth search goes on
    std::atomic<std::uint32_t> m_u32WifiLevel{0};      // strongest signal seen, 0 to 99
    std::atomic<std::uint32_t> m_u32BTDeviceCount{0};  // devices of the last successful search
};

}  // namespace zel

// Wi-Fi scan rounds that found at least one access point, and Bluetooth searches attempted. Never reset.
inline std::atomic<std::uint8_t> m_u8WifiScanTestAPCount{0};
inline std::atomic<std::uint8_t> m_u8BTScanTestAPCount{0};

#endif
