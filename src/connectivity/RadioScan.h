// What the radio searches share: how far they are and what they have found.
#ifndef ZELFAC_CONNECTIVITY_RADIOSCAN_H
#define ZELFAC_CONNECTIVITY_RADIOSCAN_H

#include <atomic>
#include <cstdint>
#include <memory>

namespace zel {

// The searches of one UartManager. The scan thread and the command thread both run them; every field is complete
// in itself.
struct RadioScan {
    std::atomic<std::uint8_t> fWifiScanning{0};        // 1 while the Wi-Fi scan goes on
    std::atomic<std::uint8_t> fBTSearching{0};         // 1 while a Bluetooth search goes on
    std::atomic<std::uint32_t> m_u32WifiLevel{0};      // strongest signal seen, 0 to 99
    std::atomic<std::uint32_t> m_u32BTDeviceCount{0};  // devices of the last successful search
};

// Searches that have not begun.
std::shared_ptr<RadioScan> MakeRadioScan();

}  // namespace zel

// Wi-Fi scan rounds that found at least one access point, and Bluetooth searches attempted. Never reset.
extern std::atomic<std::uint8_t> m_u8WifiScanTestAPCount;
extern std::atomic<std::uint8_t> m_u8BTScanTestAPCount;

#endif
