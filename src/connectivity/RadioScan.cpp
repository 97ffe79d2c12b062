#include "connectivity/RadioScan.h"

std::atomic<std::uint8_t> m_u8WifiScanTestAPCount{0};
std::atomic<std::uint8_t> m_u8BTScanTestAPCount{0};

std::shared_ptr<zel::RadioScan> zel::MakeRadioScan() {
    return std::make_shared<RadioScan>();
}
