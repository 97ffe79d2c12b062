#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "UartManager/UartManager.h"
#include "amclient/AmClientState.h"
#include "amclient/ClientProcess.h"
#include "scripted/Script.h"
#include "test_adapter/LifecycleCallbacks.h"
#include "test_adapter/screen/RecordingCanvas.h"

namespace {

std::string Line(const std::string& callback, const std::string& arguments) {
    return ("[APP-DEMO][" + std::to_string(getpid()) + "][" + callback + "]" + arguments + "\r\n").substr(0, 127);
}

class LifecycleCallbacksTest : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        UartManager::GetInstance();
        zel::SetCallbackCanvas(&m_canvas);
        script.CaptureOutput();
    }
    void TearDown() override {
        zel::SetCallbackCanvas(nullptr);
        script.Output();
        Test::TearDown();
    }
    std::string Output() {
        std::string output = script.Output();
        script.CaptureOutput();
        return output;
    }

    shell::RecordingCanvas m_canvas;
};

TEST_F(LifecycleCallbacksTest, EachPrintsItsLine) {
    const std::string arguments = "s_ack:1,s_name:2,s_comment:NULL";
    onResume_zel("1", "2", nullptr);
    EXPECT_EQ(Output(), Line("onResume_zel", arguments));
    onPause("1", "2", nullptr);
    EXPECT_EQ(Output(), Line("onPause", arguments));
    recvCmd("1", "2", nullptr);
    EXPECT_EQ(Output(), Line("recvCmd", arguments));
}

TEST_F(LifecycleCallbacksTest, ACommentIsAnError) {
    const std::string arguments = "s_ack:1,s_name:2,s_comment:3";
    onResume_zel("1", "2", "3");
    EXPECT_EQ(Output(), Line("onResume_zel", arguments) + "on Resume error\n");
    onPause("1", "2", "3");
    EXPECT_EQ(Output(), "on pause error\n" + Line("onPause", arguments));
    recvCmd("1", "2", "3");
    EXPECT_EQ(Output(), Line("recvCmd", arguments));
}

TEST_F(LifecycleCallbacksTest, Nulls) {
    const std::string arguments = "s_ack:NULL,s_name:NULL,s_comment:NULL";
    onResume_zel(nullptr, nullptr, nullptr);
    EXPECT_EQ(Output(), Line("onResume_zel", arguments));
    onPause(nullptr, nullptr, nullptr);
    EXPECT_EQ(Output(), Line("onPause", arguments));
    recvCmd(nullptr, nullptr, nullptr);
    EXPECT_EQ(Output(), Line("recvCmd", arguments));
}

TEST_F(LifecycleCallbacksTest, TheLineIsCutAt127Characters) {
    const std::string longText(500, 'x');
    recvCmd(longText.c_str(), "2", "3");
    const std::string line = Output();
    EXPECT_EQ(line.size(), 127U);
    EXPECT_EQ(line, Line("recvCmd", "s_ack:" + longText));
}

TEST_F(LifecycleCallbacksTest, TheLineIsShownInABandOrOverWhite) {
    std::string line = Line("onPause", "s_ack:1,s_name:2,s_comment:NULL");
    line.resize(line.size() - 2);
    onPause("1", "2", nullptr);
    UartManager::GetInstance()->SetRunMode(2);
    onPause("1", "2", nullptr);
    EXPECT_EQ(m_canvas.shown,
              (std::vector<std::string>{"band 5 0,0,60,160 | " + line + "@0,5 180,200,255,255",
                                        "fill 255,255,255,255 | " + line + "@0,5 180,200,255,255"}));
}

TEST_F(LifecycleCallbacksTest, EachShowsItsLine) {
    onResume_zel("1", "2", nullptr);
    onPause("1", "2", nullptr);
    recvCmd("1", "2", nullptr);
    EXPECT_EQ(m_canvas.shown.size(), 3U);
    zel::SetCallbackCanvas(nullptr);
    recvCmd("1", "2", nullptr);
    EXPECT_EQ(m_canvas.shown.size(), 3U);
}

// With the client at work, in a process of its own: the callbacks as start-up hands them to it.
int RunApplication() {
    UartManager::GetInstance();
    g_am_client.resume = onResume_zel;
    g_am_client.pause = onPause;
    g_am_client.stop = onStop;
    g_am_client.command = recvCmd;
    std::snprintf(g_am_client.name, sizeof g_am_client.name, "hello");
    g_am_client.logRelay = 1;
    AmClientInit(&g_am_client);
    for (;;) {
        pause();
    }
}

TEST(LifecycleCallbacks, ResumeAndPauseAreReported) {
    amclient::ClientProcess client(RunApplication);
    client.Write(":am,app,7:resume=x\n");
    EXPECT_TRUE(client.SeesOutput("s_ack:7,s_name:x,s_comment:NULL\r\n"));
    EXPECT_TRUE(client.SeesOutput("\n:hello,am,7:resumed=hello\n"));
    client.Write(":am:pause=\n");
    EXPECT_TRUE(client.SeesOutput("\n:hello,am,:paused=hello\n"));
    EXPECT_TRUE(client.SeesOutput("[onPause]s_ack:NULL,s_name:NULL,s_comment:NULL\r\n"));
    client.Write(":am,,8:volume=[1,2]\n");
    EXPECT_TRUE(client.SeesOutput("[recvCmd]s_ack:8,s_name:[1,2],s_comment:volume\r\n"));
}

TEST(LifecycleCallbacks, StopEndsTheProcessWithOneAfterItsLine) {
    amclient::ClientProcess client(RunApplication);
    client.Write(":am,app,9:stop=bye\n");
    EXPECT_EQ(client.Wait(), 1);
    EXPECT_NE(client.Output().find("[onStop]s_ack:9,s_name:bye,s_comment:NULL\r\n"), std::string::npos);
}

// Prints, reports and pictures on one stream, in the order in which they come: the manager's stream is standard
// output itself here.
class PrintingCanvas final : public zel::Canvas {
  public:
    std::int32_t Width() const override { return 1920; }
    std::int32_t Height() const override { return 1080; }
    std::int32_t FontHeight() const override { return 54; }
    void Show(const zel::Picture&) override {
        std::puts("(shown)");
        std::fflush(stdout);
    }
    zel::InputWait WaitForInput(std::uint32_t) override { return zel::InputWait::None; }
};

int RunCallbacks() {
    PrintingCanvas canvas;
    zel::SetCallbackCanvas(&canvas);
    std::snprintf(g_am_client.name, sizeof g_am_client.name, "hello");
    g_cmdcvt_info.realOutput.Attach(STDOUT_FILENO);
    onResume_zel("1", "2", "3");
    onPause("1", "2", "3");
    recvCmd("1", "2", "3");
    onStop("1", "2", "3");
}

TEST(LifecycleCallbacks, EachPrintsReportsAndShowsInItsOrder) {
    amclient::ClientProcess client(RunCallbacks);
    EXPECT_EQ(client.Wait(), 1);
    const std::regex pattern(R"(\[APP-DEMO\]\[[0-9]+\]\[(\w+)\]s_ack:1,s_name:2,s_comment:3\r\n)");
    EXPECT_EQ(std::regex_replace(client.Output(), pattern, "($1)\n"),
              "(onResume_zel)\n\n:hello,am,1:resumed=hello\non Resume error\n(shown)\n"
              "\n:hello,am,1:paused=hello\non pause error\n(shown)\n(onPause)\n"
              "(shown)\n(recvCmd)\n"
              "on stop error\n(shown)\n(onStop)\n");
}

}  // namespace
