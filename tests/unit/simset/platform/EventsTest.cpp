#include <future>

#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "qx/AppManagerClientAdapter.h"
#include "simset/base/Status.h"
#include "simset/core/Keys.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

using Events = SimsetTest;

struct StateObserver : vumodelapi::ObserverNumericInteger {
    void notifyConnectionState(std::int32_t state) override { states.Put(state); }
    void notifyInteger(std::int32_t) override {}
    Mailbox<std::int32_t> states;
};

// What an iterator is told, as text.
struct IteratorObserver : vumodelapi::ObserverTableIterator {
    void Told(const char* what, std::int32_t number) { told.Put(what + std::to_string(number)); }
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t result) override { Told("commit ", result); }
    void notifyTotalCount(std::int32_t count) override { Told("count ", count); }
    void notifySeekToRow(std::int32_t result) override { Told("row ", result); }
    void notifySeekToContent(std::int32_t result) override { Told("content ", result); }
    void notifyCursorPosition(std::int32_t result) override { Told("cursor ", result); }
    void notifyReadRow() override { Told("read ", 0); }
    void notifyReadRowChunk(const vumodelapi::TableRowChunk&) override { Told("chunk ", 0); }
    void notifyIteratorReady() override { Told("ready ", 0); }
    void notifyUpdate(std::int32_t update) override { Told("update ", update); }
    Mailbox<std::string> told;
};

TEST_F(Events, AnObserverIsToldTheStateOfItsConnection) {
    StateObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    EXPECT_EQ(observer.states.Take(), 1);
    Ctl({"model", "notify", kVolume, "state", "0"});
    EXPECT_EQ(observer.states.Take(), 0);
    const auto rows = Trace("event");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0]["call"], "state");
    EXPECT_EQ(rows[0]["state"], 1);
    EXPECT_EQ(rows[1]["state"], 0);
    EXPECT_NE(CtlError({"model", "notify", kVolume, "error", "1"}).find("nobody"), std::string::npos);
    EXPECT_NE(CtlError({"model", "notify", kVolume, "stat", "1"}).find("state"), std::string::npos);
    EXPECT_NE(CtlError({"model", "notify", kVolume, "state", "on"}).find("number"), std::string::npos);
}

TEST_F(Events, AnIteratorIsToldItsEvents) {
    TableObserver table;
    IteratorObserver observer;
    const auto interface = OpenModel();
    vumodelapi::Table* handle = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kTuners, &table, handle), 0);
    const auto iterator = handle->createIterator({}, &observer);
    const std::vector<std::pair<std::string, std::string>> events = {
        {"commit", "commit 7"}, {"seek-row", "row 7"}, {"seek-content", "content 7"},   {"cursor", "cursor 7"},
        {"read-row", "read 0"}, {"ready", "ready 0"},  {"iterator-update", "update 7"},
    };
    for (const auto& [name, told] : events) {
        Ctl({"model", "notify", kTuners, name, "7"});
        EXPECT_EQ(observer.told.Take(), told);
    }
    Ctl({"model", "notify", kTuners, "update", "9"});
    EXPECT_EQ(table.updates.Take(), 9);
}

TEST_F(Events, AnActionIsToldAnError) {
    ActionObserver observer;
    const auto interface = OpenModel();
    vumodelapi::Action* action = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kEnable, &observer, action), 0);
    Ctl({"model", "notify", kEnable, "error", "-3"});
    EXPECT_EQ(observer.reports.Take(), "error -3");
}

struct SlowObserver : vumodelapi::ObserverNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t) override {
        inside.set_value();
        go.get_future().wait();
    }
    std::promise<void> inside;
    std::promise<void> go;
};

TEST_F(Events, SeveralObserversAreToldAtOnce) {
    SlowObserver slow;
    IntegerObserver quick;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::NumericInteger* volume = nullptr;
    vumodelapi::NumericInteger* backlight = nullptr;
    ASSERT_EQ(root->connect(kVolume, &slow, volume), 0);
    ASSERT_EQ(root->connect(kBacklight, &quick, backlight), 0);
    Ctl({"model", "set", kVolume, "1"});
    slow.inside.get_future().wait();
    Ctl({"model", "set", kBacklight, "2"});
    EXPECT_EQ(quick.values.Take(), 2) << "one observer holds up the others";
    slow.go.set_value();
}

TEST_F(Events, ServicesThatDieAndComeBackAreNobodysFault) {
    IntegerObserver observer;
    const auto interface = OpenModel();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, volume), 0);
    Ctl({"services", "down"});
    EXPECT_EQ(volume->setValue(5), kUnreachable);
    EXPECT_EQ(init_factory_aux(), kUnreachable);
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), kUnreachable);
    EXPECT_EQ(qx::apmclient::AppManagerClientAdapter::setRpcEnv(), kUnreachable);
    vumodelapi::NumericInteger* other = nullptr;
    EXPECT_EQ(interface->getRootInterface(), nullptr);
    EXPECT_EQ(AskStatus({{"op", "sync"}}), kOk) << "the board's part goes on";

    Ctl({"services", "up"});
    EXPECT_EQ(volume->setValue(5), kNotConnected);
    EXPECT_EQ(interface->getRootInterface()->disconnect(kVolume, &observer), kNotConnected);
    ASSERT_EQ(interface->getRootInterface()->connect(kVolume, &observer, other), 0);
    EXPECT_EQ(other->setValue(6), 0);
    EXPECT_EQ(observer.values.Take(), 6);
    std::int32_t country = 0;
    EXPECT_EQ(readMetaData(META_COUNTRY, &country), 0);
    EXPECT_NE(qx::apmclient::AppManagerClientAdapter::getInstance(), nullptr);
    Advance(50);
    EXPECT_EQ(interface->getRootInterface()->disconnect(kVolume, &observer), 0);
    EXPECT_EQ(Ctl({"violations"}), "");
}

}  // namespace
}  // namespace simset::test
