#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amclient/AmClientState.h"

namespace {

std::vector<std::string> s_calls;

std::string Shown(const char* text) {
    return text == nullptr ? "(null)" : text;
}

template <char kSlot>
void Record(const char* acknowledgement, const char* value, const char* name) {
    s_calls.push_back(std::string(1, kSlot) + " " + Shown(acknowledgement) + " " + Shown(value) + " " +
                      Shown(name));
}

class DispatchTest : public ::testing::Test {
  protected:
    void SetUp() override {
        s_calls.clear();
        g_record = &m_record;
        m_record.resume = Record<'R'>;
        m_record.pause = Record<'P'>;
        m_record.stop = Record<'S'>;
        m_record.shutdown = Record<'D'>;
        m_record.suspend = Record<'U'>;
        m_record.wakeup = Record<'W'>;
        m_record.command = Record<'C'>;
        m_record.background = Record<'B'>;
        m_record.foreground = Record<'F'>;
        m_record.deviceUiChange = Record<'V'>;
    }
    void TearDown() override { g_record = &g_am_client; }

    // What one dispatch called, empty when nothing.
    static std::string Dispatched(const char* name, const char* value, const char* acknowledgement) {
        s_calls.clear();
        AmClientDispatch(name, value, acknowledgement);
        EXPECT_LE(s_calls.size(), 1U);
        return s_calls.empty() ? "" : s_calls[0];
    }

    t_am_client m_record;
};

TEST_F(DispatchTest, EachNameHasItsCallback) {
    EXPECT_EQ(Dispatched("pause", "v", "7"), "P 7 v (null)");
    EXPECT_EQ(Dispatched("resume", "v", "7"), "R 7 v (null)");
    EXPECT_EQ(Dispatched("stop", "v", "7"), "S 7 v (null)");
    EXPECT_EQ(Dispatched("shutdown", "v", "7"), "D 7 v (null)");
    EXPECT_EQ(Dispatched("suspend", "v", "7"), "U 7 v (null)");
    EXPECT_EQ(Dispatched("wakeup", "v", "7"), "W 7 v (null)");
    EXPECT_EQ(Dispatched("foregm", "v", "7"), "F 7 v (null)");
    EXPECT_EQ(Dispatched("backgm", "v", "7"), "B 7 v (null)");
    EXPECT_EQ(Dispatched("device_ui_chg", "v", "7"), "V 7 v (null)");
    EXPECT_EQ(Dispatched("anything", "v", "7"), "C 7 v anything");
}

TEST_F(DispatchTest, NullsReachTheLifecycleCallbacks) {
    EXPECT_EQ(Dispatched("pause", nullptr, nullptr), "P (null) (null) (null)");
}

TEST_F(DispatchTest, NamesAreWhole) {
    EXPECT_EQ(Dispatched("pau", "v", nullptr), "C (null) v pau");
    EXPECT_EQ(Dispatched("pauses", "v", nullptr), "C (null) v pauses");
    EXPECT_EQ(Dispatched("Pause", "v", nullptr), "C (null) v Pause");
    EXPECT_EQ(Dispatched("", "v", nullptr), "C (null) v ");
}

TEST_F(DispatchTest, EmptySlotsAreSkipped) {
    g_record = &g_am_client;
    for (const char* name : {"pause", "resume", "stop", "shutdown", "suspend", "wakeup", "foregm", "backgm",
                             "device_ui_chg", "anything"}) {
        EXPECT_EQ(Dispatched(name, "v", nullptr), "") << name;
    }
}

TEST_F(DispatchTest, LogTurnsTheSwitch) {
    EXPECT_EQ(Dispatched("log", "on", nullptr), "");
    EXPECT_EQ(m_record.logRelay, 1);
    EXPECT_EQ(Dispatched("log", "maybe", nullptr), "");
    EXPECT_EQ(Dispatched("log", nullptr, nullptr), "");
    EXPECT_EQ(m_record.logRelay, 1);
    EXPECT_EQ(Dispatched("log", "off", nullptr), "");
    EXPECT_EQ(m_record.logRelay, 0);
    EXPECT_EQ(Dispatched("log", "on ", nullptr), "");
    EXPECT_EQ(m_record.logRelay, 0);
}

TEST_F(DispatchTest, AGenericCommandNeedsAValue) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Dispatched("volume", nullptr, "7"), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[AM_CLIENT] recvCmd invalid parameter\n");
}

TEST_F(DispatchTest, SendingBeforeTheStartFails) {
    EXPECT_EQ(AmClientSend("x", "y"), kAmFailed);
    EXPECT_EQ(AmClientSend("x", nullptr), kAmFailed);
    EXPECT_EQ(AmClientReportResumed("x", "y"), kAmFailed);
    EXPECT_EQ(AmClientShutdown(), 0);
    EXPECT_EQ(g_i4_done, 0);
}

TEST_F(DispatchTest, InitNeedsARecord) {
    EXPECT_EQ(AmClientInit(nullptr), kAmInitFailed);
    EXPECT_EQ(g_td, pthread_t{0});
}

}  // namespace
