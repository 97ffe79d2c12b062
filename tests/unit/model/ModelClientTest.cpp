// The eight operations, each through its whole cycle and each of its failures.
#include <functional>
#include <ostream>
#include <regex>
#include <set>

#include "model/ModelClient.h"
#include "scripted/Script.h"
#include "vumodelapi/Observers.h"

namespace {

// One operation on key "key", with what it is to do and to log.
struct Operation {
    const char* name;
    std::function<std::int32_t(ModelClient&)> run;
    const char* call;           // the operation's call text
    const char* connectFailed;  // log text, null: the interface text
    const char* operateFailed;  // log text, null: the interface text, "": a failure is not seen
    std::function<void(scripted::Script&)> notify;  // tells the observer, whose kind must be the right one
    const char* notified;                           // what the observer then prints
};

void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

std::int32_t g_integer;
std::string g_text;
std::vector<std::int32_t> g_integers;
std::vector<std::string> g_texts;

const std::vector<Operation>& Operations() {
    using vumodelapi::ObserverAction;
    using vumodelapi::ObserverNumericInteger;
    using vumodelapi::ObserverString;
    using vumodelapi::ObserverVectorNumericInteger;
    using vumodelapi::ObserverVectorString;
    static const auto integer = [](scripted::Script& script) {
        script.Observer<ObserverNumericInteger>("key").notifyInteger(-3);
    };
    static const auto text = [](scripted::Script& script) {
        script.Observer<ObserverString>("key").notifyString("abc");
    };
    static const auto vector = [](scripted::Script& script) {
        script.Observer<ObserverVectorNumericInteger>("key").notifyIntegerVector({7, 8, 9});
    };
    static const auto texts = [](scripted::Script& script) {
        script.Observer<ObserverVectorString>("key").notifyStringVector({"a", "b"});
    };
    static const auto action = [](scripted::Script& script) {
        script.Observer<ObserverAction>("key").notifyExecutionResult({});
    };
    static const char kInteger[] = "ObserverIntegerImpl: new value = -3\n\n";
    static const char kText[] = "ObserverStringImpl: new value = abc\n\n";
    static const char kVector[] = "ObserverVectorIntegerImpl: new value = 3\n\n";
    static const std::vector<Operation> operations = {
        {"ZelSetValue", [](ModelClient& client) { return client.ZelSetValue("key", -2147483647 - 1); },
         "set key -2147483648", "ZelSetValue connect failed, ret = %d\n",
         "ZelSetValue setValue failed, ret = %d\n", integer, kInteger},
        {"ZelGetValue", [](ModelClient& client) { return client.ZelGetValue("key", g_integer); }, "get key",
         "ZelGetValue connect, ret = %d\n", "", integer, kInteger},
        {"ZelGetString", [](ModelClient& client) { return client.ZelGetString("key", g_text); }, "get key",
         "connect failed, ret = %d\n", "", text, kText},
        {"ZelSetString", [](ModelClient& client) { return client.ZelSetString("key", "new text"); },
         "set key \"new text\"", "connect failed, ret = %d\n", "setValue failed, ret = %d\n", text, kText},
        {"ZelSetAction", [](ModelClient& client) { return client.ZelSetAction("key"); }, "invoke key []",
         "connect failed, ret = %d\n", "invoke failed, ret = %d\n", action, "ObserverActionImpl: new value \n\n"},
        {"ZelGetVectorValue", [](ModelClient& client) { return client.ZelGetVectorValue("key", g_integers); },
         "get key", nullptr, nullptr, vector, kVector},
        {"ZelSetVectorValue", [](ModelClient& client) { return client.ZelSetVectorValue("key", 999, -1); },
         "set key [999:-1]", nullptr, nullptr, vector, kVector},
        {"ZelGetVectorString", [](ModelClient& client) { return client.ZelGetVectorString("key", g_texts); },
         "get key", nullptr, nullptr, texts, "notifyStringVector \n\n========notifyStringVector======i:2\n"},
    };
    return operations;
}

std::string Formatted(const char* text, int status) {
    return std::regex_replace(std::string(text), std::regex("%d"), std::to_string(status));
}

// The line in an interface text of `name` with `status`; 0 when `text` is anything else.
int InterfaceTextLine(const std::string& text, const std::string& name, int status) {
    std::smatch match;
    const std::regex expected("getInterfaceReference failed, " + name +
                              " ([0-9]+) ret = " + std::to_string(status) + "\n");
    return std::regex_match(text, match, expected) ? std::stoi(match[1]) : 0;
}

class ModelOperation : public scripted::Test, public ::testing::WithParamInterface<Operation> {
  protected:
    void SetUp() override {
        Test::SetUp();
        g_integer = 77;
        g_text = "untouched";
        g_integers = {77};
        g_texts = {"untouched"};
    }

    // Reads of single values have no status.
    bool FailureIsSeen() const { return GetParam().operateFailed == nullptr || *GetParam().operateFailed != '\0'; }

    std::int32_t Run() {
        script.CaptureOutput();
        const std::int32_t result = GetParam().run(m_client);
        m_output = script.Output();
        return result;
    }

    void ExpectOutputsUntouched() {
        EXPECT_EQ(g_integer, 77);
        EXPECT_EQ(g_text, "untouched");
        EXPECT_EQ(g_integers, std::vector<std::int32_t>{77});
        EXPECT_EQ(g_texts, std::vector<std::string>{"untouched"});
    }

    void ExpectFailure(const char* text, int status) {
        EXPECT_EQ(Run(), -1);
        if (text == nullptr) {
            EXPECT_GT(InterfaceTextLine(m_output, GetParam().name, status), 0) << m_output;
        } else {
            EXPECT_EQ(m_output, Formatted(text, status));
        }
        ExpectOutputsUntouched();
    }

    ModelClient m_client;
    std::string m_output;
};

TEST_P(ModelOperation, RunsTheWholeCycle) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root");
    script.Expect("connect key");
    script.Expect(GetParam().call);
    script.Expect("delay 50000");
    script.Expect("disconnect key");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_output, "");
}

TEST_P(ModelOperation, ConnectsTheObserverOfItsKind) {
    script.ExpectConnect("key");
    script.Expect(GetParam().call).Then([this] { GetParam().notify(script); });
    script.ExpectSettled("key");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_output, GetParam().notified);
}

TEST_P(ModelOperation, StopsWhereTheProxyDoesNotStart) {
    script.Expect("proxy").Returns(-12);
    ExpectFailure("Start biz proxy failed, ret = %d\n", -12);
}

TEST_P(ModelOperation, StopsWithoutInterface) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(5);
    ExpectFailure(nullptr, 5);
}

TEST_P(ModelOperation, StopsWithoutRoot) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    ExpectFailure("pRootInterface is NULL\n", 0);
}

TEST_P(ModelOperation, StopsWhenTheKeyCannotBeConnected) {
    script.ExpectConnect("key").Returns(-9);
    ExpectFailure(GetParam().connectFailed, -9);
}

TEST_P(ModelOperation, AFailedOperationIsNeitherSettledNorDisconnected) {
    script.ExpectConnect("key");
    script.Expect(GetParam().call).Returns(31);
    if (FailureIsSeen()) {
        ExpectFailure(GetParam().operateFailed, 31);
    } else {
        script.ExpectSettled("key");
        EXPECT_EQ(Run(), 0);
        EXPECT_EQ(m_output, "");
    }
}

// The library says success and hands nothing out.
TEST_P(ModelOperation, WhatIsMissingIsAFailureOfItsStep) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").NoHandle();
    ExpectFailure(nullptr, 0);
    script.ExpectConnect("key").NoHandle();
    ExpectFailure(GetParam().connectFailed, 0);
}

TEST_P(ModelOperation, EachFailureHasALineOrATextOfItsOwn) {
    std::set<std::string> outputs;
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(5);
    EXPECT_EQ(Run(), -1);
    outputs.insert(m_output);
    script.ExpectConnect("key").Returns(5);
    EXPECT_EQ(Run(), -1);
    outputs.insert(m_output);
    if (FailureIsSeen()) {
        script.ExpectConnect("key");
        script.Expect(GetParam().call).Returns(5);
        EXPECT_EQ(Run(), -1);
        outputs.insert(m_output);
    }
    EXPECT_EQ(outputs.size(), FailureIsSeen() ? 3u : 2u);
}

TEST_P(ModelOperation, EveryCallMakesEverythingAfresh) {
    for (int i = 0; i < 2; ++i) {
        script.ExpectConnect("key");
        script.Expect(GetParam().call);
        script.ExpectSettled("key");
        EXPECT_EQ(Run(), 0);
        script.Verify();
    }
}

INSTANTIATE_TEST_SUITE_P(All, ModelOperation, ::testing::ValuesIn(Operations()),
                         [](const auto& each) { return std::string(each.param.name); });

class ModelClientTest : public scripted::Test {
  protected:
    ModelClient m_client;
};

TEST_F(ModelClientTest, ReadsAnInteger) {
    std::int32_t value = 1;
    script.ExpectGet("key", -5);
    EXPECT_EQ(m_client.ZelGetValue("key", value), 0);
    EXPECT_EQ(value, -5);
}

TEST_F(ModelClientTest, AnIntegerThatTheLibraryCannotReadIsWhatItGives) {
    std::int32_t value = 1;
    script.ExpectConnect("key");
    script.Expect("get key").Returns(8);
    script.ExpectSettled("key");
    EXPECT_EQ(m_client.ZelGetValue("key", value), 0);
    EXPECT_EQ(value, 0);
}

TEST_F(ModelClientTest, ReadsATextAndKeepsItsZeroBytes) {
    std::string text;
    script.ExpectGetText("key", std::string("a\0b", 3));
    EXPECT_EQ(m_client.ZelGetString("key", text), 0);
    EXPECT_EQ(text, std::string("a\0b", 3));
}

TEST_F(ModelClientTest, ReadsWholeVectors) {
    std::vector<std::int32_t> values = {9, 9, 9, 9};
    std::vector<std::string> texts = {"old"};
    script.ExpectGetVector("numbers", {3, 2, 1});
    script.ExpectGetTexts("names", {"one", ""});
    EXPECT_EQ(m_client.ZelGetVectorValue("numbers", values), 0);
    EXPECT_EQ(m_client.ZelGetVectorString("names", texts), 0);
    EXPECT_EQ(values, (std::vector<std::int32_t>{3, 2, 1}));
    EXPECT_EQ(texts, (std::vector<std::string>{"one", ""}));
}

TEST_F(ModelClientTest, LeavesAnIndexToTheLibrary) {
    script.ExpectSetElement("key", -1, 4);
    EXPECT_EQ(m_client.ZelSetVectorValue("key", -1, 4), 0);
}

TEST_F(ModelClientTest, PassesAKeyOfAnotherKindOn) {
    std::string text = "old";
    script.ExpectConnect("tovix.sl2.i32.video.backlight").Returns(22);
    script.CaptureOutput();
    EXPECT_EQ(m_client.ZelGetString("tovix.sl2.i32.video.backlight", text), -1);
    EXPECT_EQ(script.Output(), "connect failed, ret = 22\n");
    EXPECT_EQ(text, "old");
}

TEST_F(ModelClientTest, ResultsOfAnActionAreNotLookedAt) {
    script.ExpectInvoke("key").Texts({"Failed"});
    EXPECT_EQ(m_client.ZelSetAction("key"), 0);
}

TEST_F(ModelClientTest, AFailedDisconnectIsNoFailure) {
    script.ExpectConnect("key");
    script.Expect("set key 1");
    script.Expect("delay 50000");
    script.Expect("disconnect key").Returns(3);
    script.CaptureOutput();
    EXPECT_EQ(m_client.ZelSetValue("key", 1), 0);
    EXPECT_EQ(script.Output(), "");
}

}  // namespace
