// What the status screen shows: decisions only, no drawing.
#ifndef ZELFAC_TEST_ADAPTER_SCREEN_STATUSPICTURES_H
#define ZELFAC_TEST_ADAPTER_SCREEN_STATUSPICTURES_H

#include <cstdint>
#include <string>

#include "UartManager/UartManager.h"
#include "test_adapter/screen/Canvas.h"

namespace zel {

// What is shown first, on an empty panel; nothing at all in no mode. The records are those of factory mode.
Picture FirstPicture(RunMode mode, const std::string& pcbSn, const std::string& testResult);

// The records of factory mode.
Picture FactoryPicture(const std::string& pcbSn, const std::string& testResult);

// The result of the USB update by its status (m_secondUpdateStatus) with the words collected on the way.
Picture UsbPicture(std::int32_t status, const std::string& message);

// The colour cycle of aging mode.
constexpr std::uint32_t kAgingColorCount = 5;
Picture AgingPicture(std::uint32_t step);  // 0 to kAgingColorCount - 1

// A line of the application manager's: over a white panel in aging mode, else in a band of its own.
Picture ManagerLinePicture(bool aging, const std::string& line);

}  // namespace zel

#endif
