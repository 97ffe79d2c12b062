// Input events of the panel, as DirectFB hands them out.
#ifndef ZELFAC_TEST_ADAPTER_SCREEN_SCREENINPUT_H
#define ZELFAC_TEST_ADAPTER_SCREEN_SCREENINPUT_H

#include <directfb.h>

#include <cstdint>

#include "test_adapter/screen/Canvas.h"

namespace zel {

// Canvas::WaitForInput on `events`; null: there is never one.
inline InputWait FetchInput(IDirectFBEventBuffer* events, std::uint32_t milliseconds) {
    DFBEvent event{};  // the union: the buffer writes whatever kind of event it holds
    if (events == nullptr || events->WaitForEventWithTimeout(events, 0, milliseconds) != DFB_OK ||
        events->GetEvent(events, &event) != DFB_OK) {
        return InputWait::None;
    }
    return event.clazz == DFEC_INPUT ? InputWait::FirstClass : InputWait::Other;
}

}  // namespace zel

#endif
