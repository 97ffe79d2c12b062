#include "flashenv/FlashEnv.h"
#include "simset/base/Status.h"
#include "simset/core/Keys.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

class BehavingSet : public SimsetTest {
  protected:
    // Both end with the test; the observers of a connection are declared before it.
    ActionObserver m_reports;
    IntegerObserver m_message;
    boost::shared_ptr<frame::Interface> m_interface = OpenModel();
    vumodelapi::RootInterface* m_root = m_interface->getRootInterface();

    void Invoke(const std::string& key, const std::string& argument = "") {
        vumodelapi::Action* action = nullptr;
        ASSERT_EQ(m_root->connect(key, &m_reports, action), 0);
        vumodelapi::ArgumentList results;
        vumodelapi::ArgumentList arguments;
        if (!argument.empty()) {
            arguments.push_back({0, 0, 0, argument});
        }
        ASSERT_EQ(action->invoke(arguments, results), 0);
        if (key != kReady) {
            EXPECT_EQ(m_reports.reports.Take(), "Success");
            EXPECT_EQ(m_root->disconnect(key, &m_reports), 0);
        }
    }

    void PrepareFinish() {
        for (const char* partition : {"/zodata/critical", "/zodata/factory"}) {
            TheMiddleware().Trace(
                {{"who", "shell"}, {"command", std::string("mount -o remount,rw ") + partition}});
        }
        EXPECT_EQ(FlashEnv::instance().setEnv("FactoryOpenState", "Off"), 0);
        EXPECT_EQ(FlashEnv::instance().setEnv("FactoryOK", "On"), 0);
    }

    void SetInteger(const std::string& key, std::int32_t value) {
        IntegerObserver observer;
        vumodelapi::NumericInteger* handle = nullptr;
        ASSERT_EQ(m_root->connect(key, &observer, handle), 0);
        EXPECT_EQ(handle->setValue(value), 0);
        EXPECT_EQ(m_root->disconnect(key, &observer), 0);
    }
};

TEST_F(BehavingSet, ConfirmsThatTheFactoryIsReady) {
    Ctl({"behave", "factory-ready", "3000"});
    PrepareFinish();
    Invoke(kReady);
    Advance(2999);
    EXPECT_EQ(Trace("model").back()["call"], "invoke") << "confirmed too early";
    Advance(1);
    EXPECT_EQ(m_reports.reports.Take(), "1");
}

TEST_F(BehavingSet, NeverConfirmsWhatIsSwitchedOff) {
    Ctl({"behave", "factory-ready", "off"});
    PrepareFinish();
    Invoke(kReady);
    Advance(3600000);
    EXPECT_EQ(Trace("model").back()["call"], "invoke");
    EXPECT_TRUE(m_reports.reports.Empty());
}

TEST_F(BehavingSet, ReportsALoadedPreset) {
    vumodelapi::NumericInteger* message = nullptr;
    ASSERT_EQ(m_root->connect(kMessage, &m_message, message), 0);
    vumodelapi::Action* preset = nullptr;
    ASSERT_EQ(m_root->connect(kPreset, static_cast<vumodelapi::ObserverAction*>(nullptr), preset), 0);
    vumodelapi::ArgumentList results;
    ASSERT_EQ(preset->invoke({{0, 0, 0, "38"}}, results), 0);
    EXPECT_EQ(Value(kMessage), 0);
    Advance(400);
    EXPECT_EQ(m_message.values.Take(), 338);
    EXPECT_EQ(m_root->disconnect(kPreset, nullptr), 0);
    EXPECT_EQ(m_root->disconnect(kMessage, &m_message), 0);
}

TEST_F(BehavingSet, NoPowerNoReport) {
    Invoke(kPreset, "38");
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    Advance(60000);
    EXPECT_EQ(Value(kMessage), 0);
}

TEST_F(BehavingSet, TheWiredNetworkGetsAnAddress) {
    TextObserver observer;
    vumodelapi::String* address = nullptr;
    ASSERT_EQ(m_root->connect(kAddress, &observer, address), 0);
    Ctl({"behave", "wired", "off"});
    Invoke("tovix.sl2.action.network.wired.set");
    Advance(60000);
    EXPECT_EQ(Ctl({"model", "get", kAddress}), "\n");
    Ctl({"behave", "wired", "on"});
    Invoke("tovix.sl2.action.network.wired.set");
    Advance(1000);
    EXPECT_EQ(observer.texts.Take(), "192.168.1.57");
    // What is set from outside is what the next set-up brings.
    Ctl({"model", "set", kAddress, "10.0.0.5"});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    EXPECT_EQ(Ctl({"model", "get", kAddress}), "\n");
    m_interface = OpenModel();
    m_root = m_interface->getRootInterface();
    Invoke("tovix.sl2.action.network.wired.set");
    Advance(1000);
    EXPECT_EQ(Ctl({"model", "get", kAddress}), "10.0.0.5\n");
}

TEST_F(BehavingSet, AnAccessPointSearchFindsPointsAfterAWhile) {
    SetInteger(kPointSearch, 1);
    Advance(1000);
    SetInteger(kPointSearch, 1);  // asked again while it runs: it does not begin anew
    EXPECT_EQ(Value(kPoints), 0);
    Advance(500);
    EXPECT_EQ(Value(kPoints), 3);
    EXPECT_EQ(Value(kSignal).size(), 3U);
}

TEST_F(BehavingSet, AStoppedSearchFindsNothing) {
    SetInteger(kPointSearch, 1);
    SetInteger(kPointSearch, 0);
    Advance(60000);
    EXPECT_EQ(Value(kPoints), 0);
    SetInteger(kPointSearch, 1);
    Advance(1500);
    EXPECT_EQ(Value(kPoints), 3);
}

TEST_F(BehavingSet, SignalsAreFoundAsTheyWereGiven) {
    Ctl({"model", "set", kSignal, "[29,120]"});
    EXPECT_EQ(Value(kPoints), 2) << "the count goes with the list";
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    EXPECT_EQ(Value(kPoints), 0);
    m_interface = OpenModel();
    m_root = m_interface->getRootInterface();
    SetInteger(kPointSearch, 1);
    Advance(1500);
    EXPECT_EQ(Value(kSignal), nlohmann::json::array({29, 120}));
    EXPECT_EQ(Value(kPoints), 2);
}

TEST_F(BehavingSet, ABluetoothSearchNeedsTheRadio) {
    vumodelapi::Action* start = nullptr;
    vumodelapi::ArgumentList results;
    ASSERT_EQ(m_root->connect("tovix.sl2.action.bluetooth.search.start", &m_reports, start), 0);
    EXPECT_EQ(start->invoke({}, results), kRefused);
    Advance(60000);
    EXPECT_EQ(Value(kDevices), 0);
    Invoke("tovix.sl2.action.bluetooth.enable");
    EXPECT_EQ(Value("tovix.sl2.i32.bluetooth.enum.status"), 0);
    Invoke("tovix.sl2.action.bluetooth.search.start");
    Advance(2500);
    EXPECT_EQ(Value(kDevices), 0) << "found by the first look already";
    Advance(1500);
    EXPECT_EQ(Value(kDevices), 2);
    EXPECT_EQ(Value(kNames).size(), 2U);
    Invoke("tovix.sl2.action.bluetooth.search.stop");
    Invoke("tovix.sl2.action.bluetooth.disable");
    EXPECT_EQ(Value("tovix.sl2.i32.bluetooth.enum.status"), 1);
}

TEST_F(BehavingSet, AStoppedBluetoothSearchFindsNothing) {
    Invoke("tovix.sl2.action.bluetooth.enable");
    for (const char* end : {"search.stop", "disable"}) {
        Invoke("tovix.sl2.action.bluetooth.search.start");
        Invoke(std::string("tovix.sl2.action.bluetooth.") + end);
        Advance(60000);
        EXPECT_EQ(Value(kDevices), 0) << end;
    }
}

TEST_F(BehavingSet, ARadioThatDoesNotAnswerLeavesValuesAlone) {
    Ctl({"behave", "bluetooth", "off"});
    Ctl({"model", "set", kNames, "[\"one\"]"});
    Invoke("tovix.sl2.action.bluetooth.enable");
    Invoke("tovix.sl2.action.bluetooth.search.start");
    Advance(60000);
    EXPECT_EQ(Value(kDevices), 1);
}

TEST_F(BehavingSet, TheRebootActionReachesTheBoard) {
    int reboots = 0;
    m_hooks.onReboot = [&] {
        ++reboots;
        EXPECT_EQ(TheMiddleware().Flash("ZelFacMode"), "1") << "the hook may use the middleware";
    };
    Invoke("tovix.action.system.reboot.tv");
    Advance(0);
    EXPECT_EQ(reboots, 0) << "whoever asks is answered first";
    Advance(1000);
    EXPECT_EQ(reboots, 1);
    Advance(1000);
    EXPECT_EQ(reboots, 1);
}

}  // namespace
}  // namespace simset::test
