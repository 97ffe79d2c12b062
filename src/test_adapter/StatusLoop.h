// Keeps the status screen current for the life of the process.
#ifndef ZELFAC_TEST_ADAPTER_STATUSLOOP_H
#define ZELFAC_TEST_ADAPTER_STATUSLOOP_H

#include <cstdint>

#include "UartManager/UartManager.h"
#include "test_adapter/screen/Canvas.h"

namespace zel {

class StatusLoop {
  public:
    // Both outlive the loop.
    StatusLoop(UartManager& manager, Canvas& canvas) : m_manager(manager), m_canvas(canvas) {}

    // Shows the first picture of the run mode.
    void ShowFirst();

    // Runs until the run mode is none of factory, aging and USB update. A change of the run mode is seen when the
    // pause that is running ends: 2 s in aging, 10 or 30 s in factory, 1 s in USB update mode. Main thread.
    void Run();

  private:
    void RunAging();
    void RunFactoryPass();
    void RunUsbPass();
    bool TakeStatusChanged();
    InputWait WaitForInput();

    UartManager& m_manager;
    Canvas& m_canvas;
    std::uint32_t m_agingStep = 0;  // kept when aging mode is left
};

}  // namespace zel

#endif
