#include <algorithm>
#include <memory>
#include <sstream>
#include <thread>

#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "qx/AppManagerClientAdapter.h"
#include "simset/base/Status.h"
#include "simset/core/Keys.h"
#include "simset/core/rules/CallOrder.h"
#include "simset/core/rules/Finish.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

constexpr std::int32_t kSettle = 50;
constexpr char kLed[] = "tovix.sl2.system.ctrl.led.gpio";

using Rules = std::vector<std::string>;

class RuledSet : public SimsetTest {
  protected:
    // The rules that were broken since the last look.
    Rules Broken() {
        Rules rules;
        std::istringstream lines(Ctl({"violations"}));
        std::size_t seen = 0;
        for (std::string line; std::getline(lines, line); ++seen) {
            if (seen >= m_seen) {
                rules.push_back(nlohmann::json::parse(line)["rule"]);
            }
        }
        m_seen = seen;
        return rules;
    }

    // One whole cycle on an action, with its report; returns the status of the invocation.
    std::int32_t Invoke(const std::string& key, const vumodelapi::ArgumentList& arguments = {},
                        std::int32_t settle = kSettle) {
        const auto interface = OpenModel();
        vumodelapi::Action* action = nullptr;
        EXPECT_EQ(interface->getRootInterface()->connect(key, &m_reports, action), 0);
        vumodelapi::ArgumentList results;
        const std::int32_t status = action->invoke(arguments, results);
        if (status == kOk) {
            m_report = key == kReady ? "" : m_reports.reports.Take();  // that one comes later
            Advance(settle);
            EXPECT_EQ(interface->getRootInterface()->disconnect(key, &m_reports), 0);
        }
        return status;
    }

    std::int32_t SetVolume(std::int32_t value) { return SetInteger(kVolume, value); }

    std::int32_t SetInteger(const std::string& key, std::int32_t value) {
        IntegerObserver observer;
        const auto interface = OpenModel();
        vumodelapi::NumericInteger* integer = nullptr;
        EXPECT_EQ(interface->getRootInterface()->connect(key, &observer, integer), 0);
        const std::int32_t status = integer->setValue(value);
        if (status == kOk) {
            Advance(kSettle);
            EXPECT_EQ(interface->getRootInterface()->disconnect(key, &observer), 0);
        }
        return status;
    }

    // The application is about to write to its serial port.
    static void Answer() { AskStatus({{"op", "answering"}}); }

    // How many tuners the set has to show.
    std::int32_t CountTuners() {
        TableObserver observer;
        RowObserver rows;
        const auto interface = OpenModel();
        vumodelapi::Table* table = nullptr;
        EXPECT_EQ(interface->getRootInterface()->connect(kTuners, &observer, table), 0);
        const auto iterator = table->createIterator({}, &rows);
        EXPECT_EQ(iterator->totalCount(), 0);
        Advance(kSettle);
        const std::int32_t count = rows.counts.Take();
        EXPECT_EQ(interface->getRootInterface()->disconnect(kTuners, &observer), 0);
        return count;
    }

    void Mount(const std::string& how, const std::string& partition) {
        TheMiddleware().Trace({{"who", "shell"}, {"command", "mount -o remount," + how + " " + partition}});
    }

    void PrepareFinish() {
        Mount("rw", "/zodata/critical");
        TheMiddleware().Trace({{"who", "mount"}, {"call", "mount"}, {"target", "/zodata/factory"}, {"flags", 32}});
        FlashEnv::instance().setEnv("FactoryOpenState", "Off");
        FlashEnv::instance().setEnv("FactoryOK", "On");
    }

    // Finishes the set as far as the confirmation.
    void Confirm() {
        ActionObserver observer;
        PrepareFinish();
        const auto interface = OpenModel();
        vumodelapi::Action* action = nullptr;
        ASSERT_EQ(interface->getRootInterface()->connect(kReady, &observer, action), 0);
        vumodelapi::ArgumentList results;
        ASSERT_EQ(action->invoke({}, results), 0);
        Advance(300);
        EXPECT_EQ(observer.reports.Take(), "1");
        EXPECT_EQ(interface->getRootInterface()->disconnect(kReady, &observer), 0);
    }

    ActionObserver m_reports;
    std::string m_report;  // of the last action that Invoke was answered for

  private:
    std::size_t m_seen = 0;
};

TEST_F(RuledSet, ARightCycleBreaksNothing) {
    EXPECT_EQ(SetVolume(100), 0);
    TheMiddleware().ApplicationEnded(0);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AnOperationSettlesBeforeTheDisconnect) {
    Invoke(kEnable, {}, kSettle - 1);
    EXPECT_EQ(Broken(), Rules{"settle-before-disconnect"});
    Invoke(kEnable, {}, kSettle);
    // The credentials' actions are told to need less.
    Invoke(kEncrypt, {{0, 0, 0, "ECP"}, {0, 1, 0, "missing"}}, 10);
    EXPECT_EQ(Broken(), Rules{});
    Invoke(kEncrypt, {{0, 0, 0, "ECP"}, {0, 1, 0, "missing"}}, 9);
    EXPECT_EQ(Broken(), Rules{"settle-before-disconnect"});
}

TEST_F(RuledSet, WhatWasConnectedIsDisconnected) {
    IntegerObserver observer;
    auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    EXPECT_EQ(volume->setValue(1), 0);
    interface.reset();
    EXPECT_EQ(Broken(), Rules{"connect-without-disconnect"});
}

TEST_F(RuledSet, AFailedOperationIsDroppedWithTheInterface) {
    IntegerObserver observer;
    auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    Ctl({"model", "fail", kVolume, "operate", "5", "--times", "1"});
    EXPECT_EQ(volume->setValue(1), 5);
    interface.reset();
    // And so is what was connected before a connect that failed.
    interface = OpenModel();
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    Ctl({"model", "fail", kEnable, "connect", "5", "--times", "1"});
    vumodelapi::Action* action = nullptr;
    EXPECT_EQ(interface->getRootInterface()->connect(kEnable, &m_reports, action), 5);
    interface.reset();
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, NothingIsOpenWhenTheMainThreadEndsWell) {
    IntegerObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    TheMiddleware().ApplicationEnded(0);
    EXPECT_EQ(Broken(), (Rules{"connect-without-disconnect", "interface-not-released"}));
}

TEST_F(RuledSet, AnEndInTheMiddleOfAnOperationIsFair) {
    IntegerObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    TheMiddleware().ApplicationEnded(1);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AnotherThreadMayBeAtWorkWhenTheMainThreadEndsWell) {
    IntegerObserver observer;
    boost::shared_ptr<frame::Interface> other;
    std::thread([&] {
        auto interface = OpenModel();
        vumodelapi::NumericInteger* volume = nullptr;
        EXPECT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
        // Each use counts, of the connection and of the interface.
        Advance(20000);
        EXPECT_EQ(volume->setValue(1), 0);
        Advance(20000);
        other = interface;
    }).join();
    TheMiddleware().ApplicationEnded(0);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AnOperationThatFailedNeedNotSettle) {
    IntegerObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    EXPECT_EQ(volume->setValue(101), kOutOfRange);
    EXPECT_EQ(interface->getRootInterface()->disconnect(kVolume, &observer), 0);
    EXPECT_EQ(Broken(), Rules{"value-out-of-range"});
}

TEST_F(RuledSet, WhatNobodyUsedForLongWasForgotten) {
    IntegerObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    Advance(30000);
    TheMiddleware().ApplicationEnded(1);
    EXPECT_EQ(Broken(), (Rules{"connect-without-disconnect", "interface-not-released"}));
}

TEST_F(RuledSet, ObserversLiveAsLongAsTheirConnection) {
    auto observer = std::make_unique<IntegerObserver>();
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, observer.get(), volume), 0);
    Ctl({"model", "set", kVolume, "1"});
    observer->values.Take();  // nothing is on its way to it any more
    // In the place of the observer there is something else, as after its end.
    alignas(IntegerObserver) char place[sizeof(void*)] = {};
    std::swap_ranges(place, place + sizeof(place), reinterpret_cast<char*>(observer.get()));
    EXPECT_EQ(interface->getRootInterface()->disconnect(kVolume, observer.get()), 0);
    std::swap_ranges(place, place + sizeof(place), reinterpret_cast<char*>(observer.get()));
    EXPECT_EQ(Broken(), Rules{"observer-outlives-connection"});
}

TEST_F(RuledSet, OnlyWhatWasConnectedIsDisconnected) {
    const auto interface = OpenModel();
    EXPECT_EQ(interface->getRootInterface()->disconnect(kVolume, &m_reports), kNotConnected);
    EXPECT_EQ(Broken(), Rules{"disconnect-without-connect"});
}

TEST_F(RuledSet, KeysAndInterfacesAreKnownOnes) {
    TextObserver observer;
    vumodelapi::String* handle = nullptr;
    auto interface = OpenModel();
    EXPECT_EQ(interface->getRootInterface()->connect("tovix.sl2.str.no.such", &observer, handle), kUnknownKey);
    EXPECT_EQ(interface->getRootInterface()->connect(kVolume, &observer, handle), kWrongKind);
    boost::shared_ptr<frame::Interface> other;
    EXPECT_NE(frame::Process::getInstance()->getInterfaceReference(other, "other"), 0);
    EXPECT_EQ(Broken(), (Rules{"unknown-key", "wrong-kind", "unknown-interface"}));
}

TEST_F(RuledSet, ValuesAreThoseOfTheirKey) {
    EXPECT_EQ(SetVolume(101), kOutOfRange);
    EXPECT_EQ(SetVolume(-1), kOutOfRange);
    EXPECT_EQ(Value(kVolume), 30) << "a refused value was taken";
    EXPECT_EQ(Broken(), (Rules{"value-out-of-range", "value-out-of-range"}));

    IntegersObserver vectors;
    TextObserver texts;
    const auto interface = OpenModel();
    vumodelapi::VectorNumericInteger* drc = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kDrc, &vectors, drc), 0);
    EXPECT_EQ(drc->setValue({{4, 0}}), kOutOfRange);
    EXPECT_EQ(drc->setValue({{-1, 0}}), kOutOfRange);
    EXPECT_EQ(drc->setValue({{0, 2}}), kOutOfRange);
    vumodelapi::String* address = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect("tovix.sl2.str.network.ip-address", &texts, address), 0);
    EXPECT_EQ(address->setValue("10.0.0.1"), kReadOnly);
    EXPECT_EQ(Broken(),
              (Rules{"element-out-of-range", "element-out-of-range", "value-out-of-range", "read-only-key"}));
    // The television itself may do all that.
    Ctl({"model", "set", kVolume, "101"});
    Ctl({"model", "set", "tovix.sl2.str.network.ip-address", "10.0.0.1"});
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, ActionsTakeTheirOwnArguments) {
    const Rules refused{"action-arguments"};
    EXPECT_EQ(Invoke(kGpio, {{0, 0, 0, "999"}, {0, 0, 0, "banana"}}), kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_FALSE(Value(kGpio).contains("pins"));
    EXPECT_EQ(Invoke(kGpio, {{0, 0, 0, "7"}}), kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kGpio, {{0, 0, 0, "7"}, {0, 1, 0, "0"}}), kRefused) << "a position of its own";
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(
        Invoke(kSource,
               {{0, 0, 0, "ZelFacTestUUID"}, {0, 1, 0, "8"}, {0, 2, 0, "TV"}, {0, 3, 0, ""}, {0, 4, 0, "tuner"}}),
        kRefused)
        << "no channel";
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kSource, {{0, 0, 0, "9"}, {0, 1, 0, "ZelFacTestUUID"}, {0, 2, 0, "HDMI1"}, {0, 3, 0, "0"}}),
              kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kSource, {{0, 0, 0, "ZelFacTestUUID"}, {0, 1, 0, "9"}, {0, 2, 0, "HDMI5"}, {0, 3, 0, "0"}}),
              kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kPreset, {{0, 0, 0, "39"}}), kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kEnable, {{0, 0, 0, "now"}}), kRefused);
    EXPECT_EQ(Broken(), refused);
    EXPECT_EQ(Invoke(kEncrypt, {{0, 0, 0, "SOME"}, {0, 1, 0, "/file"}}), kOk);
    EXPECT_EQ(m_report, "Failed");
    EXPECT_EQ(Broken(), refused);

    EXPECT_EQ(Invoke(kGpio, {{0, 0, 0, "7"}, {0, 0, 0, "0"}}), kOk);
    EXPECT_EQ(Invoke(kSource, {{0, 0, 0, "ZelFacTestUUID"}, {0, 1, 0, "9"}, {0, 2, 0, "HDMI4"}, {0, 3, 0, "0"}}),
              kOk);
    EXPECT_EQ(Invoke(kSource, {{0, 0, 0, "ZelFacTestUUID"},
                               {0, 1, 0, "8"},
                               {0, 2, 0, "TV"},
                               {0, 3, 0, "channel"},
                               {0, 4, 0, "tuner"}}),
              kOk);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, TablesAreEmptyUntilTheirPresetWasLoaded) {
    EXPECT_EQ(CountTuners(), 0);
    EXPECT_EQ(Broken(), Rules{"table-before-preset"});
    EXPECT_EQ(Invoke(kPreset, {{0, 0, 0, "38"}}), kOk);
    EXPECT_EQ(CountTuners(), 0) << "the preset takes its time";
    Advance(400);
    EXPECT_GT(CountTuners(), 0);
    EXPECT_EQ(Broken(), Rules{});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    Ctl({"behave", "preset", "off"});
    EXPECT_EQ(CountTuners(), 0);
    EXPECT_EQ(Broken(), Rules{"table-before-preset"});
    EXPECT_EQ(Invoke(kPreset, {{0, 0, 0, "38"}}), kOk);
    EXPECT_GT(CountTuners(), 0) << "a preset that is never reported is loaded all the same";
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AFaultIsNotTheApplications) {
    Ctl({"model", "fail", kPreset, "connect", "5", "--times", "1"});
    const auto interface = OpenModel();
    vumodelapi::Action* action = nullptr;
    EXPECT_EQ(interface->getRootInterface()->connect(kPreset, &m_reports, action), 5);
    EXPECT_EQ(CountTuners(), 0);
    EXPECT_EQ(Invoke(kSearch), kRefused);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, TheRadioIsOnBeforeItsSearch) {
    EXPECT_EQ(Invoke(kSearch), kRefused);
    EXPECT_EQ(Broken(), Rules{"search-with-radio-off"});
    EXPECT_EQ(Invoke(kEnable), kOk);
    EXPECT_EQ(Invoke(kSearch), kOk);
    // The television switched it off itself.
    Ctl({"model", "set", "tovix.sl2.i32.bluetooth.enum.status", "1"});
    EXPECT_EQ(Invoke(kSearch), kRefused);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, TheFinishIsPrepared) {
    EXPECT_EQ(Invoke(kReady), kRefused);
    EXPECT_EQ(Broken(), Rules{"finish-prepared"});
    Mount("rw", "/zodata/critical");
    Mount("rw", "/zodata/factory");
    FlashEnv::instance().setEnv("FactoryOpenState", "Off");
    EXPECT_EQ(Invoke(kReady), kRefused);
    EXPECT_EQ(Broken(), Rules{"finish-prepared"});
    FlashEnv::instance().setEnv("FactoryOK", "On");
    Mount("ro", "/zodata/factory");
    EXPECT_EQ(Invoke(kReady), kRefused);
    EXPECT_EQ(Broken(), Rules{"finish-prepared"});
    PrepareFinish();
    EXPECT_EQ(Invoke(kReady), kOk);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AFinishIsPreparedByTheApplicationItself) {
    const auto refused = [this] {
        EXPECT_EQ(Invoke(kReady), kRefused);
        EXPECT_EQ(Broken(), Rules{"finish-prepared"});
    };
    PrepareFinish();
    FlashEnv::instance().setEnv("FactoryOK", "Off");
    refused();
    // What the television has set, and the application read, it did not set.
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    PrepareFinish();
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    Mount("rw", "/zodata/critical");
    Mount("rw", "/zodata/factory");
    char text[8];
    EXPECT_EQ(FlashEnv::instance().getEnv("FactoryOK", text, sizeof(text)), 0);
    EXPECT_EQ(FlashEnv::instance().getEnv("FactoryOpenState", text, sizeof(text)), 0);
    refused();
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    FlashEnv::instance().setEnv("FactoryOpenState", "Off");
    FlashEnv::instance().setEnv("FactoryOK", "On");
    // A mount that is no remount changes nothing of what is mounted there.
    for (const char* partition : {"/zodata/critical", "/zodata/factory"}) {
        TheMiddleware().Trace({{"who", "mount"}, {"call", "mount"}, {"target", partition}, {"flags", 0}});
    }
    refused();
}

TEST_F(RuledSet, AFinishIsOverWhenThePowerGoesOff) {
    Confirm();
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    TheMiddleware().ApplicationEnded(0);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, AfterTheFinishThePartitionsAreReadOnlyAndSaved) {
    Confirm();
    TheMiddleware().Trace({{"who", "mount"}, {"call", "mount"}, {"target", "/zodata/critical"}, {"flags", 33}});
    AskStatus({{"op", "sync"}});
    Advance(30000);
    EXPECT_EQ(Broken(), Rules{"finish-read-only"});
    Mount("ro", "/zodata/factory");
    TheMiddleware().ApplicationEnded(1);
    EXPECT_EQ(Broken(), Rules{"finish-synced"});
    AskStatus({{"op", "sync"}});
    TheMiddleware().ApplicationEnded(1);
    EXPECT_EQ(Broken(), Rules{});
    // A second finish makes them writable again, and is a new one.
    Confirm();
    Mount("ro", "/zodata/critical");
    Mount("ro", "/zodata/factory");
    AskStatus({{"op", "sync"}});
    Mount("rw", "/zodata/factory");
    Advance(30000);
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, WhatIsToldToBeDoneIsSynced) {
    std::vector<std::string> written;
    m_hooks.written = [&] { return written; };
    Answer();
    EXPECT_EQ(SetInteger(kLed, 1), kOk);
    EXPECT_EQ(Broken(), Rules{});
    written = {"/var/local", "/mnt/usb/sda1"};
    Answer();
    const auto row = nlohmann::json::parse(Ctl({"violations"}));
    EXPECT_EQ(row["call"], "answer");
    EXPECT_NE(row["expected"].get<std::string>().find("/var/local, /mnt/usb/sda1"), std::string::npos);
    EXPECT_EQ(Broken(), Rules{"synced-before-answer"});
    EXPECT_EQ(SetInteger(kLed, 1), kOk);
    EXPECT_EQ(Broken(), Rules{"synced-before-answer"});
    EXPECT_EQ(SetVolume(20), kOk) << "no result of anything";
    Ctl({"model", "set", kLed, "0"});
    EXPECT_EQ(Broken(), Rules{});
}

TEST_F(RuledSet, ASyncThatDidNotSaveIsNotTheApplications) {
    m_hooks.written = [] { return std::vector<std::string>{"/var/local"}; };
    Ctl({"sync", "fail", "5", "--times", "1"});
    AskStatus({{"op", "sync"}});
    Answer();
    bool room = false;
    m_hooks.onSync = [&] { return room; };
    AskStatus({{"op", "sync"}});
    Answer();
    EXPECT_EQ(Broken(), Rules{});
    room = true;
    AskStatus({{"op", "sync"}});
    Answer();
    EXPECT_EQ(Broken(), Rules{"synced-before-answer"});
    room = false;
    AskStatus({{"op", "sync"}});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    Answer();
    EXPECT_EQ(Broken(), Rules{"synced-before-answer"});
}

TEST_F(RuledSet, TheAuxiliaryLibraryIsInitialisedOnceAndFirst) {
    std::int32_t value = 0;
    EXPECT_EQ(readMetaData(META_COUNTRY, &value), kNotStarted);
    EXPECT_EQ(writeMetaData(META_COUNTRY, 1), kNotStarted);
    EXPECT_EQ(checkKeyFile(KEY_HDCP1), kNotStarted);
    EXPECT_EQ(createAccessRouteFile(), kNotStarted);
    EXPECT_EQ(Broken(), Rules(4, "auxiliary-before-init"));
    // One that failed is tried again; whoever goes on all the same is not to blame.
    Ctl({"meta", "fail", "init", "9", "--times", "1"});
    EXPECT_EQ(init_factory_aux(), 9);
    EXPECT_EQ(readMetaData(META_COUNTRY, &value), 0);
    EXPECT_EQ(init_factory_aux(), 0);
    EXPECT_EQ(Broken(), Rules{});
    init_factory_aux();
    EXPECT_EQ(Broken(), Rules{"auxiliary-initialised-once"});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    EXPECT_EQ(readMetaData(META_COUNTRY, &value), kNotStarted);
}

TEST_F(RuledSet, ItemsVariablesAndKeyTypesAreKnownOnes) {
    ASSERT_EQ(init_factory_aux(), 0);
    std::int32_t value = 0;
    EXPECT_EQ(readMetaData(static_cast<_FAC_META_DATA>(5), &value), kUnknownKey);
    EXPECT_EQ(writeMetaData(static_cast<_FAC_META_DATA>(9), 1), kUnknownKey);
    char text[8];
    EXPECT_EQ(FlashEnv::instance().getEnv("Brand", text, sizeof(text)), kUnknownKey);
    EXPECT_EQ(FlashEnv::instance().setEnv("UartOnOff", "on"), kUnknownKey);
    EXPECT_EQ(checkKeyFile(static_cast<KEY>(7)), kUnknownKey);
    EXPECT_EQ(Broken(), (Rules{"unknown-metadata-item", "unknown-metadata-item", "unknown-flash-variable",
                               "unknown-flash-variable", "unknown-key-type"}));
}

// The rule that a call broke; "" when it broke none.
std::string RuleOf(const std::optional<Broken>& broken) {
    return broken ? broken->rule : "";
}

TEST(ManagerOrder, IsRegisterRunStopUnregister) {
    ManagerOrder order;
    EXPECT_EQ(RuleOf(order.SetRpcEnv()), "");
    EXPECT_EQ(RuleOf(order.GetInstance()), "");
    EXPECT_EQ(RuleOf(order.Register("app", 5)), "") << "one that failed";
    EXPECT_EQ(RuleOf(order.Register("app", kOk)), "");
    EXPECT_EQ(RuleOf(order.Notify("app", 1)), "");
    EXPECT_EQ(RuleOf(order.Ended()), "") << "an end without a request to stop";
    EXPECT_EQ(RuleOf(order.Notify("app", 4)), "");
    EXPECT_EQ(RuleOf(order.Unregister("app")), "");
    EXPECT_EQ(RuleOf(order.Stopped()), "");
    EXPECT_EQ(RuleOf(order.Ended()), "");
}

TEST(ManagerOrder, NothingComesBeforeWhatItNeeds) {
    ManagerOrder order;
    EXPECT_EQ(RuleOf(order.GetInstance()), "manager-call-order");
    order.SetRpcEnv();
    EXPECT_EQ(RuleOf(order.SetRpcEnv()), "manager-call-order");
    EXPECT_EQ(RuleOf(order.Notify("app", 1)), "manager-call-order");
    EXPECT_EQ(RuleOf(order.Unregister("app")), "manager-call-order");
    order.Register("app", kOk);
    EXPECT_EQ(RuleOf(order.Ended()), "manager-call-order") << "never said that it runs";
    EXPECT_EQ(RuleOf(order.Register("app", kOk)), "manager-call-order");
    EXPECT_EQ(RuleOf(order.Notify("app", 4)), "manager-call-order");
    EXPECT_EQ(RuleOf(order.Notify("app", 2)), "manager-status");
    EXPECT_EQ(RuleOf(order.Unregister("app")), "manager-call-order") << "not stopped before";
    EXPECT_EQ(RuleOf(order.Notify("app", 4)), "manager-call-order") << "after the unregistration";
}

TEST(ManagerOrder, ARequestToStopMayCrossTheStart) {
    for (const int late : {0, 1, 2}) {  // the calls of the stop that come before status 1
        ManagerOrder order;
        order.SetRpcEnv();
        order.Register("app", kOk);
        order.AskToStop();
        for (const int call : {0, 1, 2}) {
            if (call == late) {
                EXPECT_EQ(RuleOf(order.Notify("app", 1)), "") << late;
            }
            if (call == 0) {
                EXPECT_EQ(RuleOf(order.Notify("app", 4)), "") << late;
            } else if (call == 1) {
                EXPECT_EQ(RuleOf(order.Unregister("app")), "") << late;
            }
        }
        EXPECT_EQ(RuleOf(order.Stopped()), "") << late;
        EXPECT_EQ(RuleOf(order.Notify("app", 4)), "manager-call-order") << late;
    }
    ManagerOrder order;
    order.SetRpcEnv();
    order.Register("app", kOk);
    order.Notify("app", 1);
    order.AskToStop();
    order.Notify("app", 4);
    order.Unregister("app");
    EXPECT_EQ(RuleOf(order.Notify("app", 1)), "manager-call-order") << "it had said so before";
}

TEST(ManagerOrder, TheIdentityStaysOne) {
    ManagerOrder order;
    order.SetRpcEnv();
    order.Register("app", kOk);
    EXPECT_EQ(RuleOf(order.Notify("other", 1)), "manager-identity");
    EXPECT_EQ(RuleOf(order.Notify("app", 1)), "");
    EXPECT_EQ(RuleOf(order.Unregister("other")), "manager-identity");
    EXPECT_EQ(RuleOf(order.Stopped()), "manager-unregistration");
    order.Notify("app", 4);
    order.Unregister("app");
    EXPECT_EQ(RuleOf(order.Register("other", kOk)), "manager-identity");
}

}  // namespace
}  // namespace simset::test
