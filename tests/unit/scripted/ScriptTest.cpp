// The script is what all other tests trust: that it fails a test which it has to fail is tried here.
#include <gtest/gtest-spi.h>

#include <memory>

#include "flashenv/FlashEnv.h"
#include "frame/Process.h"
#include "os/Delay.h"
#include "os/File.h"
#include "os/SerialPort.h"
#include "os/Shell.h"
#include "os/Thread.h"
#include "scripted/Script.h"
#include "vumodelapi/RootInterface.h"

using scripted::Script;

namespace {

// Most of these tests fail a script on purpose, so they hold one of their own.
class ScriptTest : public ::testing::Test {
  protected:
    std::unique_ptr<Script> m_script = std::make_unique<Script>();
};

TEST_F(ScriptTest, CallsInOrderPass) {
    m_script->Expect("delay 1");
    m_script->Expect("system ls").Returns(7);
    zel::DelayMicroseconds(1);
    EXPECT_EQ(zel::RunSystem("ls"), 7);
    m_script->Verify();
}

TEST_F(ScriptTest, AnUnexpectedCallFailsWithBothTexts) {
    m_script->Expect("delay 1");
    EXPECT_NONFATAL_FAILURE(zel::DelayMicroseconds(2), "unexpected call: delay 2\n  expected next: delay 1");
}

TEST_F(ScriptTest, ACallAfterTheLastFails) {
    EXPECT_NONFATAL_FAILURE(zel::DelayMicroseconds(2), "expected next: nothing more");
}

TEST_F(ScriptTest, AnUnexpectedCallFailsForItsCallerToo) {
    int result = 0;
    EXPECT_NONFATAL_FAILURE(result = zel::RunSystem("ls"), "unexpected call: system ls");
    EXPECT_EQ(result, -1);
}

TEST_F(ScriptTest, AMissingCallFails) {
    m_script->Expect("delay 1");
    m_script->Expect("sync");
    zel::DelayMicroseconds(1);
    EXPECT_NONFATAL_FAILURE(m_script->Verify(), "did not come:\n  sync");
}

TEST_F(ScriptTest, ACallThatComesTooSeldomFails) {
    m_script->Expect("delay 1").Times(3);
    zel::DelayMicroseconds(1);
    EXPECT_NONFATAL_FAILURE(m_script->Verify(), "delay 1 (2 times)");
}

TEST_F(ScriptTest, TheWrongOrderFails) {
    m_script->Expect("delay 1");
    m_script->Expect("delay 2");
    EXPECT_NONFATAL_FAILURE(zel::DelayMicroseconds(2), "unexpected call: delay 2");
}

TEST_F(ScriptTest, AnEndlessLoopAfterAFailureIsLeft) {
    EXPECT_NONFATAL_FAILURE(EXPECT_THROW(
                                while (true) { zel::DelayMicroseconds(1); }, std::runtime_error),
                            "unexpected call: delay 1");
}

TEST_F(ScriptTest, AnyOrderHoldsForItsPhaseOnly) {
    m_script->Expect("delay 0");
    m_script->AllowAnyOrder();
    m_script->Expect("delay 1");
    m_script->Expect("delay 2");
    m_script->InOrder();
    m_script->Expect("delay 3");
    zel::DelayMicroseconds(0);
    zel::DelayMicroseconds(2);
    EXPECT_NONFATAL_FAILURE(zel::DelayMicroseconds(3), "expected next: delay 1");
    zel::DelayMicroseconds(1);
    zel::DelayMicroseconds(3);
    m_script->Verify();
}

TEST_F(ScriptTest, AnAllowedCallNeedNotComeAndMayComeBetween) {
    m_script->Allow("delay 9");
    m_script->Expect("delay 1");
    zel::DelayMicroseconds(9);
    zel::DelayMicroseconds(1);
    zel::DelayMicroseconds(9);
    m_script->Verify();
}

TEST_F(ScriptTest, OutsideOfATestThereIsNoScript) {
    m_script.reset();
    EXPECT_THROW(zel::DelayMicroseconds(1), std::logic_error);
}

class Trace final : public vumodelapi::ObserverNumericInteger {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t value) override { last = value; }
    std::int32_t last = 0;
};

class ScriptedModel : public ScriptTest {
  protected:
    ScriptedModel() {
        m_script->Expect("interface some");
        m_script->Expect("root");
        EXPECT_EQ(frame::Process::getInstance()->getInterfaceReference(m_interface, "some"), 0);
        m_root = m_interface->getRootInterface();
    }
    Trace m_observer;
    boost::shared_ptr<frame::Interface> m_interface;
    vumodelapi::RootInterface* m_root = nullptr;
    vumodelapi::NumericInteger* m_handle = nullptr;
};

TEST_F(ScriptedModel, AnObserverIsNotifiedInsideACall) {
    m_script->Expect("connect key");
    m_script->Expect("set key 5").Then([this] {
        m_script->Observer<vumodelapi::ObserverNumericInteger>("key").notifyInteger(5);
    });
    m_script->Expect("disconnect key");
    ASSERT_EQ(m_root->connect("key", &m_observer, m_handle), 0);
    EXPECT_EQ(m_handle->setValue(5), 0);
    EXPECT_EQ(m_observer.last, 5);
    EXPECT_EQ(m_root->disconnect("key", &m_observer), 0);
    EXPECT_THROW(m_script->Observer<vumodelapi::ObserverNumericInteger>("key"), std::logic_error);
    m_script->Verify();
}

TEST_F(ScriptedModel, AReleasedInterfaceDropsItsObservers) {
    m_script->Expect("connect key");
    ASSERT_EQ(m_root->connect("key", &m_observer, m_handle), 0);
    m_interface.reset();
    EXPECT_THROW(m_script->Observer<vumodelapi::ObserverNumericInteger>("key"), std::logic_error);
}

TEST_F(ScriptedModel, AHandleIsGoneAfterTheDisconnect) {
    m_script->Expect("connect key");
    m_script->Expect("disconnect key");
    m_script->Expect("set key 5");
    ASSERT_EQ(m_root->connect("key", &m_observer, m_handle), 0);
    ASSERT_EQ(m_root->disconnect("key", &m_observer), 0);
    EXPECT_NONFATAL_FAILURE(m_handle->setValue(5), "set key 5 on a handle that was disconnected");
}

TEST_F(ScriptedModel, ADisconnectNeedsTheObserverOfItsConnect) {
    Trace other;
    m_script->Expect("connect key");
    m_script->Expect("disconnect key");
    ASSERT_EQ(m_root->connect("key", &m_observer, m_handle), 0);
    EXPECT_NONFATAL_FAILURE(m_root->disconnect("key", &other), "an observer that was not connected");
}

TEST_F(ScriptedModel, AFailedConnectLeavesTheHandle) {
    m_script->Expect("connect key").Returns(4);
    EXPECT_EQ(m_root->connect("key", &m_observer, m_handle), 4);
    EXPECT_EQ(m_handle, nullptr);
}

TEST_F(ScriptTest, FlashTextsAreCutToTheBuffer) {
    char buffer[4] = "old";
    m_script->Expect("flash.get NAME").Text("abcdef");
    m_script->Expect("flash.get NAME").Returns(1);
    m_script->Expect("flash.get NAME");
    EXPECT_EQ(FlashEnv::instance().getEnv("NAME", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(FlashEnv::instance().getEnv("NAME", buffer, sizeof buffer), 1);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(FlashEnv::instance().getEnv("NAME", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(ScriptTest, TheSerialPortGivesAndTakesBytes) {
    std::uint8_t bytes[8] = {};
    m_script->Expect("serial.read").Text(std::string("\xFF\x00\x01", 3));
    m_script->Expect("serial.read");
    m_script->Expect("serial.read").Returns(-1);
    m_script->Expect("serial.write FF 00 01");
    EXPECT_EQ(zel::ReadSerialPort(3, bytes, sizeof bytes), 3);
    EXPECT_EQ(bytes[0], 0xFF);
    EXPECT_EQ(zel::ReadSerialPort(3, bytes, sizeof bytes), 0);
    EXPECT_EQ(zel::ReadSerialPort(3, bytes, sizeof bytes), -1);
    EXPECT_EQ(zel::WriteSerialPort(3, bytes, 3), 3);
    m_script->Verify();
}

TEST_F(ScriptTest, StartedThreadsRunWhenTheTestSays) {
    static bool ran;
    ran = false;
    pthread_t thread{};
    m_script->Expect("start-thread").Returns(11);
    m_script->Expect("start-thread");
    const auto entry = [](void*) -> void* {
        zel::NameThread("name");
        ran = true;
        return nullptr;
    };
    EXPECT_EQ(zel::StartThread(thread, entry, nullptr, 1), 11);
    EXPECT_EQ(m_script->PendingThreads(), 0u);
    EXPECT_EQ(zel::StartThread(thread, entry, nullptr, 1), 0);
    EXPECT_FALSE(ran);
    m_script->RunThread();
    EXPECT_TRUE(ran);
    EXPECT_EQ(m_script->ThreadName(), "name");
    EXPECT_THROW(m_script->RunThread(), std::logic_error);
}

TEST_F(ScriptTest, FilesStayInTheTestsFolder) {
    EXPECT_EQ(zel::OpenFile("/etc/passwd", "r"), nullptr);
    m_script->PutFile("/zodata/a/b", "text");
    const zel::File file = zel::OpenFile("/zodata/a/b", "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(zel::ReadUpTo(file.get(), 9), "text");
    EXPECT_NE(zel::OpenFolder("/zodata/a"), nullptr);
    m_script->FailOpen("/zodata/a");
    EXPECT_EQ(zel::OpenFolder("/zodata/a"), nullptr);
    ASSERT_NE(zel::OpenFile("/tmp/new", "w"), nullptr);
    EXPECT_TRUE(m_script->Exists("/tmp/new"));
    m_script->RemoveFile("/tmp/new");
    EXPECT_FALSE(m_script->Exists("/tmp/new"));
}

}  // namespace
