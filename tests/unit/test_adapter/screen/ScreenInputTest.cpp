#include <gtest/gtest.h>

#include <cstring>

#include "test_adapter/screen/ScreenInput.h"

namespace {

DFBEvent s_next;
unsigned s_waited = 0;
DFBResult s_waitResult = DFB_OK;
DFBResult s_getResult = DFB_OK;

DFBResult Wait(IDirectFBEventBuffer*, unsigned seconds, unsigned milliseconds) {
    s_waited = seconds * 1000 + milliseconds;
    return s_waitResult;
}

// Like the library: an event of any kind takes as much room as the largest.
DFBResult Get(IDirectFBEventBuffer*, DFBEvent* event) {
    std::memcpy(event, &s_next, sizeof s_next);
    return s_getResult;
}

class ScreenInput : public ::testing::Test {
  protected:
    void SetUp() override {
        std::memset(&s_next, 0x5A, sizeof s_next);
        s_waitResult = DFB_OK;
        s_getResult = DFB_OK;
        m_buffer.WaitForEventWithTimeout = Wait;
        m_buffer.GetEvent = Get;
    }
    zel::InputWait Fetch() { return zel::FetchInput(&m_buffer, 800); }

    IDirectFBEventBuffer m_buffer{};
};

// In a build with the address sanitizer, room for less than the union is a failure too.
TEST_F(ScreenInput, EventsOfAnyKindAreFetchedWhole) {
    s_next.clazz = DFEC_INPUT;
    EXPECT_EQ(Fetch(), zel::InputWait::FirstClass);
    EXPECT_EQ(s_waited, 800U);
    for (const DFBEventClass other : {DFEC_WINDOW, DFEC_USER, DFEC_UNIVERSAL, DFEC_VIDEOPROVIDER}) {
        s_next.clazz = other;
        EXPECT_EQ(Fetch(), zel::InputWait::Other) << other;
    }
}

TEST_F(ScreenInput, WithoutAnEventThereIsNone) {
    s_next.clazz = DFEC_INPUT;
    s_waitResult = DFB_TIMEOUT;
    EXPECT_EQ(Fetch(), zel::InputWait::None);
    s_waitResult = DFB_OK;
    s_getResult = DFB_BUFFEREMPTY;
    EXPECT_EQ(Fetch(), zel::InputWait::None);
    EXPECT_EQ(zel::FetchInput(nullptr, 800), zel::InputWait::None);
}

}  // namespace
