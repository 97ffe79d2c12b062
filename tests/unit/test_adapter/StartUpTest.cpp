#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "scripted/Script.h"
#include "test_adapter/StartUp.h"

namespace {

class StartUpTest : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
        setenv("LMQR2_UDPHOST", "elsewhere", 1);
        script.CaptureOutput();
    }
    void TearDown() override {
        script.Output();
        unsetenv("LMQR2_UDPHOST");
        Test::TearDown();
    }
    std::string Started(int auxResult) {
        return "*********begin  init_factory_aux*********\n=========init_factory_aux ret:" +
               std::to_string(auxResult) + "=========\n=========ZEL_FACMODE:=========\n[**APP-DEMO][" +
               std::to_string(getpid()) + "][Starting]\r\n";
    }

    UartManager* m_manager = nullptr;
    boost::shared_ptr<ApplicationTest> m_application;
};

TEST_F(StartUpTest, InOrder) {
    script.Expect("apm.setRpcEnv");
    script.Expect("apm.getInstance");
    script.Expect("apm.register ZelFactory_Eu4K");
    script.Expect("apm.status ZelFactory_Eu4K 1").Then([this] {
        EXPECT_NE(s_appManagerClientAdapter, nullptr);
        EXPECT_EQ(script.Application(), m_application);
    });
    script.Expect("csp.debug").Then([] { EXPECT_STREQ(std::getenv("LMQR2_UDPHOST"), "elsewhere"); });
    script.Expect("init_factory_aux").Then([] { EXPECT_STREQ(std::getenv("LMQR2_UDPHOST"), "127.0.0.1:12321"); });
    script.Expect("flash.get ZelFacMode");
    EXPECT_TRUE(zel::Register(*m_manager, m_application));
    EXPECT_EQ(script.Output(), "=========setRpcEnv=========\n" + Started(0));
    script.CaptureOutput();
}

TEST_F(StartUpTest, FailuresDoNotStopIt) {
    script.Expect("apm.setRpcEnv").Returns(1);
    script.Expect("apm.getInstance");
    script.Expect("apm.register ZelFactory_Eu4K").Returns(1);
    script.Expect("csp.debug").Returns(1);
    script.Expect("init_factory_aux").Returns(7);
    script.Expect("flash.get ZelFacMode");
    EXPECT_TRUE(zel::Register(*m_manager, m_application));
    EXPECT_EQ(script.Output(), "=========setRpcEnv=========\n main 455 fail\n" + Started(7));
    script.CaptureOutput();
}

TEST_F(StartUpTest, WithoutAnApplicationManagerItEnds) {
    script.Expect("apm.setRpcEnv");
    script.Expect("apm.getInstance").Returns(1);
    EXPECT_FALSE(zel::Register(*m_manager, m_application));
    EXPECT_EQ(script.Output(),
              "=========setRpcEnv=========\n=========NULL == s_appManagerClientAdapter=========\n");
    script.CaptureOutput();
}

TEST_F(StartUpTest, NoModeHasNoWork) {
    script.Expect("flash.set UARTOnOff=on");
    script.Expect("sync");
    zel::BeginWork(*m_manager);
    EXPECT_EQ(script.Output(), "");
    script.CaptureOutput();
}

TEST_F(StartUpTest, AFailedConsoleSwitchIsPrinted) {
    script.Expect("flash.set UARTOnOff=on").Returns(1);
    script.Expect("sync");
    zel::BeginWork(*m_manager);
    EXPECT_EQ(script.Output(), " main 618 fail\n");
    script.CaptureOutput();
}

TEST_F(StartUpTest, AgingWork) {
    m_manager->SetRunMode(2);
    script.Expect("flash.set UARTOnOff=on");
    script.Expect("sync");
    script.ExpectSet("tovix.sl2.i32.video.apply.mode", 1);
    script.ExpectSet("tovix.sl2.system.ctrl.led.flicker", 1);
    script.ExpectSet("tovix.sl2.i32.video.factory.testPattern", 0);
    zel::BeginWork(*m_manager);
}

// Of each half the calls that are its own; all model access fails.
TEST_F(StartUpTest, TheLinkStartsBetweenTheHalvesOfTheFactoryFlow) {
    m_manager->SetRunMode(1);
    script.Allow("proxy").Returns(1);
    for (const char* path : {"/zodata/critical", "/zodata/factory", "/zodata/model", "/var/local", "/var/run",
                             "/vendor/tvconfig/config", "/config", "/serialdata", "/certificate"}) {
        script.Allow(std::string("remount ") + path);
        script.Allow(std::string("system mount -o remount,rw ") + path);
    }
    for (const char* item : {"0", "1", "2", "3", "4"}) {
        script.Allow(std::string("meta.read ") + item);
    }
    script.Allow("meta.readstr 6");
    script.Allow("meta.readstr 8").Text("00:11:22:33:44:55");
    script.Allow("flash.get brand");

    script.Expect("flash.set UARTOnOff=on");
    script.Expect("sync");
    script.Expect("system echo ForceFreerun=TRUE > /proc/utopia_mdb/xc");
    script.Expect("system echo 18 > /var/run/superwatch").Then([] {
        EXPECT_EQ(UartManager::_bExitUartDebug, 1) << "the link runs before the first half has ended";
    });
    script.Expect("start-thread").Times(2);
    script.Expect("start-thread").Then([] {
        EXPECT_EQ(UartManager::_bExitUartDebug, 0) << "the second half runs before the link";
    });
    script.Expect("keys.write 6 [\"\"]");
    script.Expect("keys.check 6");
    script.Expect("keys.write 8 [\"\"]");
    script.Expect("keys.check 8");
    zel::BeginWork(*m_manager);
}

}  // namespace
