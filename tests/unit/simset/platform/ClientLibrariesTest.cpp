#include <array>
#include <atomic>
#include <future>
#include <thread>

#include "base/QuietApplication.h"
#include "csp/Csp.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "qx/AppManagerClientAdapter.h"
#include "simset/base/Status.h"
#include "simset/core/Keys.h"
#include "simset/core/middleware/Server.h"
#include "simset/core/state/Shared.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

using ClientLibraries = SimsetTest;

TEST_F(ClientLibraries, CarryIntegersAndTellObservers) {
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    ASSERT_NE(root, nullptr);
    IntegerObserver observer;
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    EXPECT_EQ(volume->setValue(100), 0);
    EXPECT_EQ(volume->getValue(), 100);
    EXPECT_EQ(observer.values.Take(), 100);
    Ctl({"model", "set", kVolume, "77"});
    EXPECT_EQ(observer.values.Take(), 77);
    EXPECT_EQ(root->disconnect(kVolume, &observer), 0);
    EXPECT_EQ(root->disconnect(kVolume, &observer), kNotConnected);

    std::vector<std::string> calls;
    for (const auto& row : Trace("model")) {
        EXPECT_EQ(row["status"], 0);
        calls.push_back(row["call"]);
    }
    EXPECT_EQ(calls,
              (std::vector<std::string>{"proxy", "interface", "root", "connect", "set", "get", "disconnect"}));
    const auto set = Trace("model")[4];
    EXPECT_EQ(set["key"], kVolume);
    EXPECT_EQ(set["value"], 100);
}

TEST_F(ClientLibraries, LeaveRowsWithThreadAndConnection) {
    IntegerObserver observer;
    {
        const auto interface = OpenModel();
        auto* const root = interface->getRootInterface();
        vumodelapi::NumericInteger* volume = nullptr;
        ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
        std::thread([&volume] {
            ::pthread_setname_np(::pthread_self(), "setter");
            EXPECT_EQ(volume->setValue(5), 0);
        }).join();
        EXPECT_EQ(observer.values.Take(), 5);
    }
    const auto rows = Trace("model");
    const auto row = [&rows](const std::string& call) {
        const auto found =
            std::find_if(rows.begin(), rows.end(), [&call](const auto& one) { return one["call"] == call; });
        return found == rows.end() ? nlohmann::json::object() : *found;
    };
    EXPECT_EQ(row("set").value("thread", ""), "setter");
    EXPECT_EQ(row("release").value("status", -1), 0);
    std::vector<nlohmann::json> values;
    for (const auto& event : Trace("event")) {
        if (event["call"] == "value") {
            values.push_back(event);
        }
    }
    ASSERT_EQ(values.size(), 1U);
    EXPECT_EQ(values[0]["key"], kVolume);
    EXPECT_EQ(values[0]["value"], 5);
    EXPECT_EQ(values[0]["connection"], row("set").value("connection", -1));
}

TEST_F(ClientLibraries, TellASyncOnceItIsDone) {
    EXPECT_EQ(AskStatus({{"op", "sync"}}), 0);
    m_hooks.onSync = [] { return false; };
    EXPECT_EQ(AskStatus({{"op", "sync"}}), kNotKept);
    const auto rows = Trace("sync");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0]["status"], 0);
    EXPECT_EQ(rows[1]["status"], kNotKept);
}

TEST_F(ClientLibraries, CarryTextsAndVectors) {
    TextObserver textObserver;
    IntegersObserver vectorObserver;
    TextsObserver textsObserver;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::String* version = nullptr;
    ASSERT_EQ(root->connect(kVersion, &textObserver, version), 0);
    EXPECT_EQ(version->setValue("another"), kReadOnly);
    Ctl({"model", "set", kVersion, "new\xff"});
    EXPECT_EQ(textObserver.texts.Take(), "new\xff");
    std::string text = "old";
    version->getValue(text);
    EXPECT_EQ(text, "new\xff");

    vumodelapi::VectorNumericInteger* drc = nullptr;
    ASSERT_EQ(root->connect(kDrc, &vectorObserver, drc), 0);
    EXPECT_EQ(drc->setValue({{0, 0}, {2, 1}}), 0);
    EXPECT_EQ(vectorObserver.values.Take(), (std::vector<std::int32_t>{0, 0, 1, 0}));
    EXPECT_EQ(drc->setValue({{0, 1}, {4, 1}}), kOutOfRange);
    std::vector<std::int32_t> values;
    EXPECT_EQ(drc->getValue(values), 0);
    EXPECT_EQ(values, (std::vector<std::int32_t>{0, 0, 1, 0})) << "a refused write changed something";

    vumodelapi::VectorString* support = nullptr;
    ASSERT_EQ(root->connect("tovix.sl2.vstr.bluetooth.support", &textsObserver, support), 0);
    std::vector<std::string> texts;
    EXPECT_EQ(support->getValue(texts), 0);
    ASSERT_GE(texts.size(), 4U);
    EXPECT_EQ(texts[1], "1");
    Ctl({"model", "set", "tovix.sl2.vstr.bluetooth.support", "[\"bt\",\"0\"]"});
    EXPECT_EQ(textsObserver.texts.Take(), (std::vector<std::string>{"bt", "0"}));
}

TEST_F(ClientLibraries, CarryActionsWithTheirPositions) {
    ActionObserver observer;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::Action* action = nullptr;
    vumodelapi::ArgumentList results;
    ASSERT_EQ(root->connect("tovix.sl2.action.source.switch", &observer, action), 0);
    EXPECT_EQ(
        action->invoke({{0, 0, 0, "ZelFacTestUUID"}, {0, 1, 0, "9"}, {0, 2, 0, "HDMI1"}, {0, 3, 0, "0"}}, results),
        0);
    EXPECT_EQ(observer.reports.Take(), "Success");
    EXPECT_EQ(Value("tovix.sl2.action.source.switch")["source"], "HDMI1");
    const auto rows = Trace("model");
    EXPECT_EQ(rows[rows.size() - 2]["args"],
              nlohmann::json::parse(R"([["0","ZelFacTestUUID"],["1","9"],["2","HDMI1"],["3","0"]])"));

    ASSERT_EQ(root->connect(kGpio, &observer, action), 0);
    EXPECT_EQ(action->invoke({{0, 0, 0, "45"}, {0, 0, 0, "1"}}, results), 0);
    EXPECT_EQ(observer.reports.Take(), "Success");
    EXPECT_EQ(Value(kGpio)["pins"], nlohmann::json::parse(R"({"45":"1"})"));
    Ctl({"model", "fail", kGpio, "execute", "44", "--times", "1"});
    EXPECT_EQ(action->invoke({{0, 0, 0, "45"}, {0, 0, 0, "1"}}, results), 0);
    EXPECT_EQ(observer.reports.Take(), "error 44");
}

TEST_F(ClientLibraries, RefuseWrongKindsAndUnknownKeys) {
    TextObserver observer;
    IntegerObserver integerObserver;
    ActionObserver actionObserver;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::String* handle = nullptr;
    EXPECT_EQ(root->connect(kVolume, &observer, handle), kWrongKind);
    EXPECT_EQ(root->connect("tovix.sl2.str.no.such.key", &observer, handle), kUnknownKey);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(root->disconnect(kVolume, &observer), kNotConnected);

    // This one is invoked, whatever its name says.
    vumodelapi::NumericInteger* integer = nullptr;
    EXPECT_EQ(root->connect(kReady, &integerObserver, integer), kWrongKind);
    vumodelapi::Action* action = nullptr;
    EXPECT_EQ(root->connect(kReady, &actionObserver, action), 0);

    boost::shared_ptr<frame::Interface> other;
    EXPECT_NE(frame::Process::getInstance()->getInterfaceReference(other, "tovix.lm.interfaces.other"), 0);
    EXPECT_FALSE(other);
}

TEST_F(ClientLibraries, MeetTheFaultsOfEachStep) {
    auto* const process = frame::Process::getInstance();
    Ctl({"model", "fail", "*", "proxy", "11", "--times", "1"});
    EXPECT_EQ(process->startAppMembersSync(CreateBizProxy), 11);
    EXPECT_EQ(process->startAppMembersSync(CreateBizProxy), 0);
    boost::shared_ptr<frame::Interface> interface;
    Ctl({"model", "fail", kVolume, "interface", "12", "--times", "1"});
    EXPECT_EQ(process->getInterfaceReference(interface, kRootName), 12);
    EXPECT_FALSE(interface);
    ASSERT_EQ(process->getInterfaceReference(interface, kRootName), 0);
    Ctl({"model", "fail", "*", "root", "13", "--times", "1"});
    EXPECT_EQ(interface->getRootInterface(), nullptr);
    auto* const root = interface->getRootInterface();
    ASSERT_NE(root, nullptr);

    IntegerObserver observer;
    vumodelapi::NumericInteger* volume = nullptr;
    Ctl({"model", "fail", kVolume, "connect", "14", "--times", "1"});
    EXPECT_EQ(root->connect(kVolume, &observer, volume), 14);
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    Ctl({"model", "fail", "tovix.sl2.i32.sound.*", "operate", "15", "--times", "2"});
    EXPECT_EQ(volume->setValue(3), 15);
    EXPECT_EQ(volume->getValue(), 0);
    EXPECT_EQ(volume->getValue(), 30) << "a failed write changed the value";
    EXPECT_EQ(Trace("model").back()["status"], 0);

    TextObserver textObserver;
    vumodelapi::String* version = nullptr;
    ASSERT_EQ(root->connect(kVersion, &textObserver, version), 0);
    Ctl({"model", "fail", kVersion, "operate", "16"});
    std::string text = "untouched";
    version->getValue(text);
    EXPECT_EQ(text, "untouched");
    EXPECT_EQ(root->disconnect(kVersion, &textObserver), 0);
    EXPECT_EQ(root->disconnect(kVolume, &observer), 0);
}

TEST_F(ClientLibraries, MeetTheFaultsOfRecordsAndManager) {
    char buffer[8] = "before";
    Ctl({"flash", "fail", "brand", "21"});
    EXPECT_EQ(FlashEnv::instance().getEnv("brand", buffer, sizeof(buffer)), 21);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), 21);
    EXPECT_EQ(FlashEnv::instance().setEnv("db_table", "x"), 0);
    ASSERT_EQ(init_factory_aux(), 0);
    Ctl({"meta", "fail", "8", "22", "--times", "1"});
    EXPECT_EQ(readStrMetaData(META_MAC, buffer, sizeof(buffer)), 22);
    EXPECT_EQ(readStrMetaData(META_MAC, buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "");
    Ctl({"meta", "fail", "init", "23"});
    EXPECT_EQ(init_factory_aux(), 23);
    Ctl({"meta", "fail", "access-route", "24"});
    EXPECT_EQ(createAccessRouteFile(), 24);
    Ctl({"apm", "fail", "adapter", "25", "--times", "1"});
    EXPECT_EQ(qx::apmclient::AppManagerClientAdapter::getInstance(), nullptr);
    EXPECT_NE(qx::apmclient::AppManagerClientAdapter::getInstance(), nullptr);
    Ctl({"apm", "fail", "rpc", "26"});
    EXPECT_EQ(qx::apmclient::AppManagerClientAdapter::setRpcEnv(), 26);
}

TEST_F(ClientLibraries, CutTextsToTheBuffer) {
    char buffer[4] = {'#', '#', '#', '#'};
    ASSERT_EQ(init_factory_aux(), 0);
    ASSERT_EQ(FlashEnv::instance().setEnv("brand", "abcdef"), 0);
    ASSERT_EQ(FlashEnv::instance().getEnv("brand", buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "abc");
    ASSERT_EQ(writeStrMetaData(META_MAC, "012"), 0);
    ASSERT_EQ(readStrMetaData(META_MAC, buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "012");
    std::int32_t number = 5;
    EXPECT_NE(readMetaData(META_MAC, &number), 0) << "a text was read as a number";
    EXPECT_NE(writeStrMetaData(META_COUNTRY, "x"), 0) << "a number was written as a text";
    EXPECT_EQ(number, 5);
}

// Holds every delivery until it is let go.
struct HoldingObserver : vumodelapi::ObserverNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t) override {
        inside.Put(std::this_thread::get_id());
        go.get_future().wait();
        left = true;
    }
    Mailbox<std::thread::id> inside;
    std::promise<void> go;
    std::atomic<bool> left{false};
};

TEST_F(ClientLibraries, DisconnectWaitsForADeliveryUnderWay) {
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    HoldingObserver observer;
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    ASSERT_EQ(volume->setValue(1), 0) << "a held delivery must not hold the caller";
    EXPECT_NE(observer.inside.Take(), std::this_thread::get_id());
    auto disconnected = std::async(std::launch::async, [&] {
        const auto status = root->disconnect(kVolume, &observer);
        return std::make_pair(status, observer.left.load());
    });
    EXPECT_EQ(disconnected.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    observer.go.set_value();
    EXPECT_EQ(disconnected.get(), std::make_pair(0, true));
    Ctl({"model", "set", kVolume, "2"});
    EXPECT_TRUE(observer.inside.Empty());
}

TEST_F(ClientLibraries, WhatWasSentBeforeADisconnectArrives) {
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    std::array<HoldingObserver, 3> all;  // as many as there are threads that deliver
    for (auto& observer : all) {
        vumodelapi::NumericInteger* volume = nullptr;
        ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    }
    Ctl({"model", "set", kVolume, "1"});
    for (auto& observer : all) {
        observer.inside.Take();
    }
    IntegerObserver late;
    vumodelapi::NumericInteger* backlight = nullptr;
    ASSERT_EQ(root->connect(kBacklight, &late, backlight), 0);
    ASSERT_EQ(backlight->setValue(7), 0);
    auto disconnected = std::async(std::launch::async, [&] { return root->disconnect(kBacklight, &late); });
    EXPECT_EQ(disconnected.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    for (auto& observer : all) {
        observer.go.set_value();
    }
    EXPECT_EQ(disconnected.get(), 0);
    EXPECT_EQ(late.values.Take(), 7);
}

TEST_F(ClientLibraries, ReleasingTheInterfaceWaitsAsWell) {
    HoldingObserver observer;
    auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    ASSERT_EQ(volume->setValue(1), 0);
    observer.inside.Take();
    auto released = std::async(std::launch::async, [&] {
        interface.reset();
        return observer.left.load();
    });
    EXPECT_EQ(released.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    observer.go.set_value();
    EXPECT_TRUE(released.get());
    Ctl({"model", "set", kVolume, "2"});
    EXPECT_TRUE(observer.inside.Empty());
}

// Fails the test when it is called after its connection has ended.
struct MortalObserver : vumodelapi::ObserverNumericInteger {
    ~MortalObserver() override { alive = false; }
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t) override {
        if (!alive) {
            std::abort();
        }
    }
    std::atomic<bool> alive{true};
};

TEST_F(ClientLibraries, ServeManyThreadsAtOnce) {
    std::atomic<bool> stop{false};
    std::thread noise([&] {
        for (int i = 0; !stop; ++i) {
            Ctl({"model", "set", kVolume, std::to_string(i % 100)});
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 25; ++i) {
                MortalObserver observer;
                const auto interface = OpenModel();
                auto* const root = interface->getRootInterface();
                ASSERT_NE(root, nullptr);
                vumodelapi::NumericInteger* volume = nullptr;
                ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
                EXPECT_EQ(volume->setValue(i), 0);
                if (i % 2 == 0) {
                    EXPECT_EQ(root->disconnect(kVolume, &observer), 0);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    stop = true;
    noise.join();
}

TEST_F(ClientLibraries, ASlowCallHoldsNoOther) {
    std::promise<void> inside;
    std::promise<void> go;
    m_hooks.onSync = [&] {
        inside.set_value();
        go.get_future().wait();
        return true;
    };
    auto slow = std::async(std::launch::async, [] { return AskStatus({{"op", "sync"}}); });
    inside.get_future().wait();
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), 0);
    EXPECT_EQ(slow.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    go.set_value();
    EXPECT_EQ(slow.get(), 0);
}

TEST_F(ClientLibraries, OutliveTheMiddleware) {
    IntegerObserver observer;
    auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    Stop();
    EXPECT_EQ(volume->setValue(1), kUnreachable);
    EXPECT_EQ(volume->getValue(), 0);
    vumodelapi::NumericInteger* other = nullptr;
    EXPECT_EQ(root->connect(kVolume, &observer, other), kUnreachable);
    EXPECT_EQ(root->disconnect(kVolume, &observer), kUnreachable);
    EXPECT_EQ(interface->getRootInterface(), nullptr);
    EXPECT_EQ(frame::Process::getInstance()->startAppMembersSync(CreateBizProxy), kUnreachable);
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), kUnreachable);
    EXPECT_EQ(checkKeyFile(KEY_HDCP1), kUnreachable);
    EXPECT_EQ(qx::apmclient::AppManagerClientAdapter::getInstance(), nullptr);
    EXPECT_EQ(cspDebugInit(), 0);
    interface.reset();

    // The next one is found without a new process.
    Restart();
    const auto again = OpenModel();
    ASSERT_EQ(again->getRootInterface()->connect(kVolume, &observer, volume), 0);
    EXPECT_EQ(volume->setValue(9), 0);
    EXPECT_EQ(observer.values.Take(), 9);
}

// A middleware that answers an invoked action with one result after the other, each under its position.
class OddMiddleware {
  public:
    explicit OddMiddleware(const std::string& socket)
        : m_server(socket, {[this](const Request& request) { return Answer(request); },
                            [this](const std::string&) { return m_events; },
                            [](const std::string&, const std::shared_ptr<EventQueue>&) {}}) {}

  private:
    Reply Answer(const Request& request) {
        if (request.at("op") == "invoke") {
            for (const char* position : {"first", "", "256", "-1", "1x", "0"}) {
                const Request result = Request::array({position, std::string("under ") + position});
                m_events->Push(
                    {{"event", "result"}, {"target", request.at("conn")}, {"results", Request::array({result})}});
            }
        }
        return {{"status", kOk}};
    }

    std::shared_ptr<EventQueue> m_events = std::make_shared<EventQueue>();
    Server m_server;
};

TEST_F(ClientLibraries, RefuseAPositionThatIsNoNumber) {
    Stop();
    const OddMiddleware odd(Socket());
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    ASSERT_NE(root, nullptr);
    ActionObserver observer;
    vumodelapi::Action* ready = nullptr;
    ASSERT_EQ(root->connect(kReady, &observer, ready), 0);
    vumodelapi::ArgumentList results;
    EXPECT_EQ(ready->invoke({}, results), 0);
    EXPECT_EQ(observer.reports.Take(), "under 0");
    EXPECT_TRUE(observer.reports.Empty());
    EXPECT_EQ(root->disconnect(kReady, &observer), 0);
}

TEST_F(ClientLibraries, APowerCutDropsConnections) {
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    IntegerObserver observer;
    vumodelapi::NumericInteger* volume = nullptr;
    ASSERT_EQ(root->connect(kVolume, &observer, volume), 0);
    TheMiddleware().PowerOff();
    EXPECT_EQ(volume->setValue(1), kUnreachable);
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), kUnreachable);
    TheMiddleware().PowerOn();
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "x"), 0);
    EXPECT_EQ(volume->setValue(1), kNotConnected);
    root->disconnect(kVolume, &observer);
}

struct KeyApplication : tests::QuietApplication {
    std::int32_t requestLanguageChange(const std::string& language) override {
        asked.push_back(language);
        return 3;
    }
    std::int32_t requestMessage(const std::string& sender, const std::string& message) override {
        asked.push_back(sender + ": " + message);
        return 0;
    }
    std::int32_t onKeyEvent(const qx::appmanager::KeyEvent& event) override {
        keys.push_back(event.keyCode);
        types.push_back(event.keyType);
        return 0;
    }
    std::string getAppId() override { return "app"; }
    std::vector<int> keys;  // these are read after a press or a request has returned
    std::vector<int> types;
    std::vector<std::string> asked;
};

TEST_F(ClientLibraries, TheManagerDeliversKeys) {
    EXPECT_NE(CtlError({"press", "70"}).find("no application is registered"), std::string::npos);
    auto* const adapter = qx::apmclient::AppManagerClientAdapter::getInstance();
    ASSERT_NE(adapter, nullptr);
    const boost::shared_ptr<KeyApplication> application(new KeyApplication);
    Ctl({"apm", "fail", "registerApp", "5", "--times", "1"});
    EXPECT_EQ(adapter->registerApp("app", application), 5);
    CtlError({"press", "70"});
    ASSERT_EQ(adapter->registerApp("app", application), 0);
    EXPECT_EQ(adapter->notifyAppStatusInfo("app", 1), 0);
    Ctl({"press", "70"});
    Ctl({"press", "161"});
    EXPECT_EQ(application->keys, (std::vector<int>{70, 161}));
    Ctl({"press", "70", "--type", "2"});
    EXPECT_EQ(application->types, (std::vector<int>{0, 0, 2}));
    Ctl({"apm", "request", "requestLanguageChange", "--text", "de"});
    Ctl({"apm", "request", "requestMessage", "--text", "tuner", "--second", "no signal"});
    EXPECT_EQ(application->asked, (std::vector<std::string>{"de", "tuner: no signal"}));
    EXPECT_EQ(Trace("apm")[Trace("apm").size() - 2]["status"], 3);
    Ctl({"apm", "request", "getAppId"});
    EXPECT_EQ(Trace("apm").back()["status"], 0);
    EXPECT_NE(CtlError({"apm", "request", "requestStopp"}).find("requestStop"), std::string::npos);
    EXPECT_NE(CtlError({"press", "70", "--type", "long"}).find("--type"), std::string::npos);
    EXPECT_EQ(adapter->unRegisterApp("app"), 0);
    EXPECT_EQ(application.use_count(), 1) << "the library kept the application";
    CtlError({"press", "70"});
    EXPECT_EQ(application->keys.size(), 3U);
    std::vector<std::string> calls;
    for (const auto& row : Trace("apm")) {
        calls.push_back(row["call"]);
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"getInstance", "registerApp", "registerApp", "notifyAppStatusInfo",
                                               "onKeyEvent", "onKeyEvent", "onKeyEvent", "requestLanguageChange",
                                               "requestMessage", "getAppId", "unRegisterApp"}));
}

TEST_F(ClientLibraries, ThreadsOfTheFrameworkRun) {
    EXPECT_EQ(cspDebugInit(), 0);
    EXPECT_EQ(Trace("csp").at(0)["call"], "cspDebugInit");
    pthread_attr_t attributes;
    ASSERT_EQ(_cspOsalPOSIX_pthread_attr_init(&attributes), 0);
    pthread_t thread{};
    int argument = 0;
    ASSERT_EQ(_cspOsalPOSIX_pthread_create_line(
                  &thread, &attributes,
                  [](void* given) -> void* {
                      *static_cast<int*>(given) = 5;
                      return given;
                  },
                  &argument, "file", 1),
              0);
    void* result = nullptr;
    ASSERT_EQ(::pthread_join(thread, &result), 0);
    EXPECT_EQ(result, &argument);
    EXPECT_EQ(argument, 5);
    ::pthread_attr_destroy(&attributes);
}

}  // namespace
}  // namespace simset::test
