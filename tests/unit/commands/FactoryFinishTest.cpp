// The end of the line: handshake, closing, and the command in front of both.
#include "UartManager/LinkFixture.h"
#include "commands/FactoryFinish.h"
#include "model/ModelGlobals.h"
#include "vumodelapi/Observers.h"

namespace {

constexpr char kReady[] = "tovix.sl2.i32.qorfactory.action.factory.ready";

class FactoryFinish : public scripted::LinkTest {
  protected:
    std::string Finish(std::int32_t expected) {
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelFactoryFinish(0), expected);
        return script.Output();
    }
    void ExpectFinishBegins() {
        script.Expect("flash.set FactoryOpenState=Off");
        script.Expect("flash.set FactoryOK=On");
        script.Expect("system mount -o remount,rw /zodata/critical");
        script.Expect("system mount -o remount,rw /zodata/factory");
        script.ExpectConnect(kReady);
    }
    void ExpectFinishCloses() {
        script.Expect("delay 100000");
        script.Expect(std::string("disconnect ") + kReady);
        ExpectSetIsClosed();
    }
    void ExpectSetIsClosed() {
        script.Expect("system echo ForceFreerun=FLASE > /proc/utopia_mdb/xc");
        script.Expect("system mount -o remount,ro /zodata/critical");
        script.Expect("system mount -o remount,ro /zodata/factory");
        script.Expect("sync");
    }
    void Report(const std::string& value) {
        script.Observer<vumodelapi::ObserverAction>(kReady).notifyExecutionResult({{0, 0, 0, value}});
    }
};

TEST_F(FactoryFinish, ConfirmedAtOnce) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []").Then([this] { Report("1"); });
    ExpectFinishCloses();
    EXPECT_EQ(Finish(1), "");
}

TEST_F(FactoryFinish, ConfirmedAfterThreeSeconds) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []");
    script.Expect("delay 500000").Times(5);
    script.Expect("delay 500000").Then([this] { Report("1"); });
    ExpectFinishCloses();
    EXPECT_EQ(Finish(1), "");
}

TEST_F(FactoryFinish, NeverConfirmedLeavesEverythingAsItIs) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []");
    script.Expect("delay 500000").Times(40);
    script.Expect("delay 100000");
    script.Expect(std::string("disconnect ") + kReady);
    EXPECT_EQ(Finish(0), "");
}

TEST_F(FactoryFinish, OnlyTheExactTextOneConfirms) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []").Then([this] { Report("01"); });
    script.Expect("delay 500000").Times(40);
    script.Expect("delay 100000");
    script.Expect(std::string("disconnect ") + kReady);
    EXPECT_EQ(Finish(0), "");
}

TEST_F(FactoryFinish, ASecondFinishDoesNotWait) {
    factory_ready_val = 1;
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []");
    ExpectFinishCloses();
    EXPECT_EQ(Finish(1), "");
}

TEST_F(FactoryFinish, AConfirmationInTheLastMomentCounts) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []");
    script.Expect("delay 500000").Times(40);
    script.Expect("delay 100000").Then([this] { Report("1"); });
    script.Expect(std::string("disconnect ") + kReady);
    ExpectSetIsClosed();
    EXPECT_EQ(Finish(1), "");
}

TEST_F(FactoryFinish, AFinishThatCannotBeInvokedFails) {
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []").Returns(8);
    EXPECT_EQ(Finish(0), "invoke failed, ret = 8\n");
}

TEST_F(FactoryFinish, AFinishThatCannotBeInvokedSucceedsWhenConfirmedBefore) {
    factory_ready_val = 1;
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []").Returns(8);
    ExpectSetIsClosed();
    EXPECT_EQ(Finish(1), "invoke failed, ret = 8\n");
}

TEST_F(FactoryFinish, FlashAndShellAreNotLookedAt) {
    script.Expect("flash.set FactoryOpenState=Off").Returns(1);
    script.Expect("flash.set FactoryOK=On").Returns(1);
    script.Expect("system mount -o remount,rw /zodata/critical").Returns(256);
    script.Expect("system mount -o remount,rw /zodata/factory").Returns(-1);
    script.ExpectConnect(kReady);
    script.Expect(std::string("invoke ") + kReady + " []").Then([this] { Report("1"); });
    script.Expect("delay 100000");
    script.Expect(std::string("disconnect ") + kReady);
    script.Expect("system echo ForceFreerun=FLASE > /proc/utopia_mdb/xc").Returns(256);
    script.Expect("system mount -o remount,ro /zodata/critical").Returns(256);
    script.Expect("system mount -o remount,ro /zodata/factory").Returns(-1);
    script.Expect("sync");
    EXPECT_EQ(Finish(1), "");
}

TEST_F(FactoryFinish, ReadyFailures) {
    const auto ready = [this](std::int32_t expected) {
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelU5FactoryReady(), expected);
        return script.Output();
    };
    script.Expect("proxy").Returns(3);
    EXPECT_EQ(ready(-1), "Start biz proxy failed, ret = 3\n");
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(4);
    EXPECT_EQ(ready(-1).rfind("getInterfaceReference failed, ZelU5FactoryReady ", 0), 0U);
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    EXPECT_EQ(ready(-1), "pRootInterface is NULL\n");
    script.ExpectConnect(kReady).Returns(5);
    EXPECT_EQ(ready(-1), "connect failed, ret = 5\n");
}

TEST_F(FactoryFinish, TheFinishCommandAnswersByTheResult) {
    m_i32RetCheckPlayreadyYoutube = 0;
    factory_ready_val = 1;
    for (const std::uint16_t id : Ids{0x129A, 0x129B, 0x12A6}) {
        ExpectFinishBegins();
        script.Expect(std::string("invoke ") + kReady + " []");
        ExpectFinishCloses();
        ExpectStatus(id, 0);
        Decode(id);
        script.Verify();
    }
    factory_ready_val = 0;
    ExpectFinishBegins();
    script.Expect(std::string("invoke ") + kReady + " []").Returns(1);
    ExpectStatus(0x129A, 1);
    EXPECT_NE(DecodeOutput(0x129A).find(" ZelDecodeFacAutoTestCommand "), std::string::npos);
}

TEST_F(FactoryFinish, IsRefusedUntilBothKeysPassedTheirCheck) {
    for (const std::int32_t result : {-1, 1}) {
        m_i32RetCheckPlayreadyYoutube = result;
        for (const std::uint16_t id : Ids{0x129A, 0x129B, 0x12A6}) {
            ExpectStatus(id, 1);
            EXPECT_NE(DecodeOutput(id).find(" ZelDecodeFacAutoTestCommand "), std::string::npos);
            script.Verify();
        }
    }
}

}  // namespace
