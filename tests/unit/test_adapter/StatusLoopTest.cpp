#include <gtest/gtest.h>

#include "provisioning/usb/SecondUpdate.h"
#include "scripted/Script.h"
#include "test_adapter/StatusLoop.h"
#include "test_adapter/screen/RecordingCanvas.h"

namespace {

const std::string kFactoryEmpty =
    "fill 0,0,0,0 | PCB SN     : @1,1 252,252,252,255 | Test Result: @1,2 252,252,252,255";

class StatusLoopTest : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
        script.CaptureOutput();
    }
    void TearDown() override {
        script.Output();
        Test::TearDown();
    }

    // Expects a pause during which the run mode becomes `mode`.
    void ExpectPauseThenMode(int seconds, std::uint8_t mode) {
        script.Expect("delay-seconds " + std::to_string(seconds)).Then([this, mode] {
            m_manager->SetRunMode(mode);
        });
    }
    void ExpectPause(int seconds) { script.Expect("delay-seconds " + std::to_string(seconds)); }

    UartManager* m_manager = nullptr;
    shell::RecordingCanvas m_canvas;
};

TEST_F(StatusLoopTest, NoModeIsLeftAtOnce) {
    zel::StatusLoop(*m_manager, m_canvas).Run();
    m_manager->SetRunMode(4);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_TRUE(m_canvas.shown.empty());
}

TEST_F(StatusLoopTest, FactoryWaitsTenSecondsWhileNothingChanges) {
    m_manager->SetRunMode(1);
    ExpectPause(10);
    ExpectPause(10);
    ExpectPauseThenMode(10, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_TRUE(m_canvas.shown.empty());
    EXPECT_TRUE(m_canvas.waits.empty());
}

TEST_F(StatusLoopTest, FactoryRedrawsAChangeAndWaitsThirtySecondsWithoutInput) {
    m_manager->SetRunMode(1);
    m_manager->SetStatusChanged(1);
    script.PutFile("/var/local/ZelPcbSn", "SN9");
    script.PutFile("/var/local/ZelTestResult", "NG");
    script.Expect("delay-seconds 30").Then([this] { EXPECT_EQ(m_manager->GetStatusChanged(), 0); });
    ExpectPauseThenMode(10, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    ASSERT_EQ(m_canvas.shown.size(), 1U);
    EXPECT_EQ(m_canvas.shown[0],
              "fill 0,0,0,0 | PCB SN     : SN9@1,1 252,252,252,255 | Test Result: NG@1,2 252,252,252,255");
    EXPECT_EQ(m_canvas.waits, (std::vector<std::uint32_t>{800}));
}

TEST_F(StatusLoopTest, FactoryWaitsTenSecondsAfterAnyInput) {
    for (const zel::InputWait event : {zel::InputWait::FirstClass, zel::InputWait::Other}) {
        m_manager->SetRunMode(1);
        m_manager->SetStatusChanged(1);
        m_canvas.answer = event;
        ExpectPauseThenMode(10, 0);
        zel::StatusLoop(*m_manager, m_canvas).Run();
    }
    EXPECT_EQ(m_canvas.shown.size(), 2U);
}

TEST_F(StatusLoopTest, AChangeDuringTheRedrawCausesAnother) {
    m_manager->SetRunMode(1);
    m_manager->SetStatusChanged(1);
    m_canvas.duringWait = [this] {
        m_manager->SetStatusChanged(1);
        m_canvas.duringWait = nullptr;
    };
    ExpectPause(30);
    ExpectPauseThenMode(30, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_EQ(m_canvas.shown, (std::vector<std::string>{kFactoryEmpty, kFactoryEmpty}));
}

TEST_F(StatusLoopTest, TheFlagIsResetBeforeThePictureIsShown) {
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{1, 3}) {
        m_manager->SetRunMode(mode);
        m_manager->SetStatusChanged(1);
        m_canvas.shown.clear();
        m_canvas.duringShow = [this] {
            EXPECT_EQ(m_manager->GetStatusChanged(), 0);
            m_manager->SetStatusChanged(1);  // a change that this picture may not have
            m_canvas.duringShow = nullptr;
        };
        ExpectPause(mode == 1 ? 30 : 1);
        ExpectPauseThenMode(mode == 1 ? 30 : 1, 0);
        zel::StatusLoop(*m_manager, m_canvas).Run();
        EXPECT_EQ(m_canvas.shown.size(), 2U);
    }
}

TEST_F(StatusLoopTest, AgingCyclesThroughItsColors) {
    m_manager->SetRunMode(2);
    for (int i = 0; i < 5; ++i) {
        ExpectPause(2);
    }
    ExpectPauseThenMode(2, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_EQ(m_canvas.shown,
              (std::vector<std::string>{"fill 0,0,0,255", "fill 0,0,255,255", "fill 0,255,0,255",
                                        "fill 255,0,0,255", "fill 255,250,250,255", "fill 0,0,0,255"}));
}

TEST_F(StatusLoopTest, AgingPrintsItsCounterAndTheMeasures) {
    m_manager->SetRunMode(2);
    ExpectPause(2);
    ExpectPauseThenMode(2, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_EQ(script.Output(),
              "ZelGetFacAutoTestBurn u32Count:0 \n"
              "layer_config.width:1920 layer_config.height:1080 fontheight:54\n"
              "ZelGetFacAutoTestBurn u32Count:1 \n"
              "layer_config.width:1920 layer_config.height:1080 fontheight:54\n");
    script.CaptureOutput();
}

TEST_F(StatusLoopTest, AgingGoesOnWhereItStopped) {
    zel::StatusLoop loop(*m_manager, m_canvas);
    m_manager->SetRunMode(2);
    ExpectPause(2);
    ExpectPauseThenMode(2, 1);  // to factory mode and back
    ExpectPauseThenMode(10, 2);
    ExpectPauseThenMode(2, 0);
    loop.Run();
    m_manager->SetRunMode(2);
    ExpectPauseThenMode(2, 0);
    loop.Run();
    EXPECT_EQ(m_canvas.shown, (std::vector<std::string>{"fill 0,0,0,255", "fill 0,0,255,255", "fill 0,255,0,255",
                                                        "fill 255,0,0,255"}));
}

TEST_F(StatusLoopTest, UsbRedrawsAChangeAndPausesASecond) {
    m_manager->SetRunMode(3);
    ExpectPause(1);
    script.Expect("delay-seconds 1").Then([this] {
        m_secondUpdateStatus = 2;
        m_strSecondUpdateMessage.Set("ci Err;");
        m_manager->SetStatusChanged(1);
    });
    ExpectPause(1);  // also after a wait without input
    ExpectPauseThenMode(1, 0);
    zel::StatusLoop(*m_manager, m_canvas).Run();
    EXPECT_EQ(m_canvas.shown, (std::vector<std::string>{"fill 0,0,0,0 | Update NG:ci Err;@1,1 252,0,0,255 | "
                                                        "Please check the files of the USB@1,2 252,0,0,255"}));
    EXPECT_EQ(m_canvas.waits, (std::vector<std::uint32_t>{800}));
    EXPECT_EQ(m_manager->GetStatusChanged(), 0);
}

TEST_F(StatusLoopTest, FirstScreenOfEachMode) {
    script.PutFile("/var/local/ZelPcbSn", "SN9");
    zel::StatusLoop loop(*m_manager, m_canvas);
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{0, 1, 2, 3}) {
        m_manager->SetRunMode(mode);
        loop.ShowFirst();
    }
    EXPECT_EQ(m_canvas.shown,
              (std::vector<std::string>{
                  "fill 0,0,0,0",
                  "fill 0,0,0,0 | PCB SN     : SN9@1,1 252,252,252,255 | Test Result: @1,2 252,252,252,255",
                  "fill 0,0,0,0 | Aging Mode@1,2 252,252,252,255",
                  "fill 0,0,0,0 | Writing...@1,1 252,0,0,255 |  @1,2 252,0,0,255"}));
}

}  // namespace
