#include "test_adapter/StatusLoop.h"

#include <cstdio>

#include "os/Delay.h"
#include "provisioning/usb/SecondUpdate.h"
#include "test_adapter/screen/StatusPictures.h"

namespace zel {
namespace {

constexpr std::uint32_t kInputMilliseconds = 800;
constexpr std::uint32_t kAgingPauseSeconds = 2;
constexpr std::uint32_t kFactoryPauseSeconds = 10;
constexpr std::uint32_t kNoInputPauseSeconds = 30;
constexpr std::uint32_t kUsbPauseSeconds = 1;

}  // namespace

void StatusLoop::ShowFirst() {
    const RunMode mode = m_manager.GetRunMode();
    const bool factory = mode == RunMode::Factory;
    m_canvas.Show(FirstPicture(mode, factory ? m_manager.ZelGetPcbSn() : std::string(),
                               factory ? m_manager.ZelGetTestResult() : std::string()));
}

void StatusLoop::Run() {
    for (;;) {
        RunAging();
        if (m_manager.IsFactoryMode()) {
            RunFactoryPass();
        } else if (m_manager.IsUsbUpdateMode()) {
            RunUsbPass();
        } else {
            return;
        }
    }
}

void StatusLoop::RunAging() {
    while (m_manager.IsAgingMode()) {
        std::printf("ZelGetFacAutoTestBurn u32Count:%d \n", static_cast<int>(m_agingStep));
        std::printf("layer_config.width:%d layer_config.height:%d fontheight:%d\n", m_canvas.Width(),
                    m_canvas.Height(), m_canvas.FontHeight());
        m_canvas.Show(AgingPicture(m_agingStep));
        DelaySeconds(kAgingPauseSeconds);
        m_agingStep = (m_agingStep + 1) % kAgingColorCount;
    }
}

void StatusLoop::RunFactoryPass() {
    if (TakeStatusChanged()) {
        m_canvas.Show(FactoryPicture(m_manager.ZelGetPcbSn(), m_manager.ZelGetTestResult()));
        if (WaitForInput() == InputWait::None) {
            DelaySeconds(kNoInputPauseSeconds);
            return;
        }
    }
    DelaySeconds(kFactoryPauseSeconds);
}

void StatusLoop::RunUsbPass() {
    if (TakeStatusChanged()) {
        m_canvas.Show(UsbPicture(m_secondUpdateStatus, m_strSecondUpdateMessage.Get()));
        WaitForInput();
    }
    DelaySeconds(kUsbPauseSeconds);
}

// Reset before what changed is read, so that a change during the redraw causes another one.
bool StatusLoop::TakeStatusChanged() {
    if (m_manager.GetStatusChanged() == 0) {
        return false;
    }
    m_manager.SetStatusChanged(0);
    return true;
}

InputWait StatusLoop::WaitForInput() {
    const InputWait event = m_canvas.WaitForInput(kInputMilliseconds);
    if (event == InputWait::FirstClass) {
        std::fflush(stdout);
    }
    return event;
}

}  // namespace zel
