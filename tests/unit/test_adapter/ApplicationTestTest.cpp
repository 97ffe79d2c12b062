#include <gtest/gtest.h>

#include "UartManager/LinkFixture.h"
#include "test_adapter/ApplicationTest.h"

namespace {

class ApplicationTestTest : public scripted::LinkTest {
  protected:
    void SetUp() override {
        LinkTest::SetUp();
        UartManager::m_UartInstance = m_manager.get();
        script.CaptureOutput();
    }
    void TearDown() override {
        UartManager::m_UartInstance = nullptr;
        script.Output();
        LinkTest::TearDown();
    }

    void Press(std::int32_t key) {
        qx::appmanager::KeyEvent event;
        event.keyCode = key;
        EXPECT_EQ(m_application.onKeyEvent(event), 0);
    }
    void ExpectLeaving(bool ledFails, bool rebootFails) {
        script.Expect("flash.set ZelFacMode=0").Then([this] {
            EXPECT_TRUE(m_manager->IsAgingMode() || m_manager->IsUsbUpdateMode());
        });
        if (ledFails) {
            script.ExpectModelFailure();
        } else {
            script.ExpectSet("tovix.sl2.system.ctrl.led.flicker", 0);
        }
        script.Expect("sync").Then([this] {
            EXPECT_FALSE(m_manager->IsAgingMode() || m_manager->IsUsbUpdateMode() || m_manager->IsFactoryMode());
        });
        if (rebootFails) {
            script.ExpectModelFailure();
        } else {
            script.ExpectInvoke("tovix.action.system.reboot.tv");
        }
    }

    ApplicationTest m_application;
};

TEST_F(ApplicationTestTest, AppId) {
    EXPECT_EQ(ApplicationTest::appId, "ZelFactory_Eu4K");
    EXPECT_EQ(m_application.getAppId(), "ZelFactory_Eu4K");
}

TEST_F(ApplicationTestTest, StopTellsTheManagerAndLeavesItsList) {
    script.Expect("apm.getInstance");
    s_appManagerClientAdapter = qx::apmclient::AppManagerClientAdapter::getInstance();
    script.Expect("apm.status ZelFactory_Eu4K 4").Returns(1);
    script.Expect("apm.unregister ZelFactory_Eu4K").Returns(1);
    EXPECT_EQ(m_application.requestStop("now"), 0);
}

TEST_F(ApplicationTestTest, AStopThatCannotBeReportedTakesTheApplicationOffTheListAllTheSame) {
    script.Expect("apm.getInstance");
    s_appManagerClientAdapter = qx::apmclient::AppManagerClientAdapter::getInstance();
    script.Expect("apm.status ZelFactory_Eu4K 4").Returns(3);
    script.Expect("apm.unregister ZelFactory_Eu4K").Returns(5);
    EXPECT_EQ(m_application.requestStop("now"), 0);
}

TEST_F(ApplicationTestTest, StopWithoutAManager) {
    EXPECT_EQ(m_application.requestStop("now"), 0);
}

TEST_F(ApplicationTestTest, OtherRequestsAreAccepted) {
    qx::appmanager::AppInterface& application = m_application;
    EXPECT_EQ(application.requestStart("a"), 0);
    EXPECT_EQ(application.requestPause("a"), 0);
    EXPECT_EQ(application.requestResume("a"), 0);
    EXPECT_EQ(application.requestSuspend("a"), 0);
    EXPECT_EQ(application.requestWakeup("a"), 0);
    EXPECT_EQ(application.requestForeground("a"), 0);
    EXPECT_EQ(application.requestBackground("a"), 0);
    EXPECT_EQ(application.requestShow("a"), 0);
    EXPECT_EQ(application.requestHide("a"), 0);
    EXPECT_EQ(application.requestReload("a"), 0);
    EXPECT_EQ(application.requestLanguageChange("a"), 0);
    EXPECT_EQ(application.requestCountryChange("a"), 0);
    EXPECT_EQ(application.requestDisplayChange("a"), 0);
    EXPECT_EQ(application.requestUserData("a", "b"), 0);
    EXPECT_EQ(application.requestMessage("a", "b"), 0);
    EXPECT_EQ(application.requestFocus("a"), 0);
    EXPECT_EQ(application.requestUnfocus("a"), 0);
    EXPECT_EQ(application.requestStatus("a"), 0);
}

TEST_F(ApplicationTestTest, FactoryReportsItsKeys) {
    m_manager->SetRunMode(1);
    m_manager->m_bConnected = 1;
    const std::vector<std::pair<std::int32_t, std::string>> keys = {
        {70, "POWER"}, {161, "CHUP"}, {162, "VODOWN"}, {163, "CHDOWN"},
        {164, "MENU"}, {166, "VOUP"}, {168, "SOURCE"}};
    for (const auto& [key, text] : keys) {
        ExpectResult(0x1287, text);
        Press(key);
    }
    EXPECT_TRUE(m_manager->IsFactoryMode());  // the power key too is only reported
}

TEST_F(ApplicationTestTest, TheEleventhPressOfAKeyIsNotReported) {
    m_manager->SetRunMode(1);
    m_manager->m_bConnected = 1;
    for (int i = 0; i < 10; ++i) {
        ExpectResult(0x1287, "MENU");
    }
    for (int i = 0; i < 11; ++i) {
        Press(164);
    }
    ExpectResult(0x1287, "VOUP");
    Press(166);
}

TEST_F(ApplicationTestTest, FactoryConfirmsTwoKeysEvenUnconnected) {
    m_manager->SetRunMode(1);
    ExpectStatus(0x1290, 0);
    ExpectStatus(0x1290, 0);
    Press(105);
    Press(106);
}

TEST_F(ApplicationTestTest, UnconnectedFactoryReportsNothing) {
    m_manager->SetRunMode(1);
    for (const std::int32_t key : {70, 161, 162, 163, 164, 166, 168}) {
        Press(key);
    }
    EXPECT_TRUE(m_manager->IsFactoryMode());
}

TEST_F(ApplicationTestTest, OtherKeysAndModesAreIgnored) {
    m_manager->m_bConnected = 1;
    m_manager->SetRunMode(1);
    for (const std::int32_t key : {0, -1, 69, 71, 104, 107, 160, 165, 167, 169, 1000}) {
        Press(key);
    }
    m_manager->SetRunMode(0);
    for (const std::int32_t key : {70, 105, 106, 161, 168}) {
        Press(key);
    }
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{2, 3}) {
        m_manager->SetRunMode(mode);
        for (const std::int32_t key : {105, 106, 161, 168}) {
            Press(key);
        }
    }
}

TEST_F(ApplicationTestTest, PowerKeyEndsAgingAndUsbUpdate) {
    m_manager->m_bConnected = 1;
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{2, 3}) {
        m_manager->SetRunMode(mode);
        ExpectLeaving(false, false);
        Press(70);
        script.Verify();
    }
    EXPECT_EQ(script.Output(), "");
    script.CaptureOutput();
}

TEST_F(ApplicationTestTest, PowerKeyRestartsEvenWhenTheLedFails) {
    m_manager->SetRunMode(2);
    ExpectLeaving(true, false);
    Press(70);
    EXPECT_NE(script.Output().find(" onKeyEvent 213 fail\n"), std::string::npos);
    script.CaptureOutput();
}

TEST_F(ApplicationTestTest, PowerKeyWithAFailingRestart) {
    m_manager->SetRunMode(3);
    ExpectLeaving(false, true);
    Press(70);
    EXPECT_NE(script.Output().find(" onKeyEvent 221 fail\n"), std::string::npos);
    script.CaptureOutput();
}

}  // namespace
