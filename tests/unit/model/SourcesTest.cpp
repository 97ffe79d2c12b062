#include <regex>

#include "model/ModelClient.h"
#include "model/ModelCycle.h"
#include "scripted/Script.h"
#include "vumodelapi/Observers.h"

namespace {

constexpr char kSourceSwitch[] = "tovix.sl2.action.source.switch";

TEST(BuildArguments, TakesTheSlotsInOrder) {
    const vumodelapi::ArgumentList arguments = zel::BuildArguments("a", "b", "c", "d", "");
    ASSERT_EQ(arguments.size(), 5u);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        EXPECT_EQ(arguments[i].position, i);
        EXPECT_EQ(arguments[i].tag, 0);
        EXPECT_EQ(arguments[i].flags, 0);
    }
    EXPECT_EQ(arguments[0].values, "a");
    EXPECT_EQ(arguments[3].values, "d");
    EXPECT_EQ(arguments[4].values, "");
}

TEST(BuildArguments, PositionsAreTheSlotsOwn) {
    const vumodelapi::ArgumentList arguments = zel::BuildArguments(nullptr, "b", nullptr, nullptr, "e");
    ASSERT_EQ(arguments.size(), 2u);
    EXPECT_EQ(arguments[0].position, 1);
    EXPECT_EQ(arguments[0].values, "b");
    EXPECT_EQ(arguments[1].position, 4);
    EXPECT_EQ(arguments[1].values, "e");
}

TEST(BuildArguments, CopiesTheTexts) {
    std::string text = "before";
    const vumodelapi::ArgumentList arguments = zel::BuildArguments(text.c_str());
    text = "after.";
    ASSERT_EQ(arguments.size(), 1u);
    EXPECT_EQ(arguments[0].values, "before");
}

TEST(BuildArguments, NoSlotNoArgument) {
    EXPECT_TRUE(zel::BuildArguments(nullptr).empty());
}

class SourcesTest : public scripted::Test {
  protected:
    template <typename Operation>
    std::int32_t Run(Operation&& operation) {
        script.CaptureOutput();
        const std::int32_t result = operation();
        m_output = script.Output();
        return result;
    }
    ModelClient m_client;
    std::string m_output;
};

TEST_F(SourcesTest, SwitchesToAnInput) {
    script.ExpectConnect("some.key");
    script.Expect("invoke some.key [0:ZelFacTestUUID, 1:9, 2:HDMI1, 3:0]").Then([this] {
        script.Observer<vumodelapi::ObserverAction>("some.key").notifyExecutionError(4);
    });
    script.ExpectSettled("some.key");
    EXPECT_EQ(Run([&] { return m_client.ZelSetSource("some.key", "HDMI1"); }), 0);
    EXPECT_EQ(m_output, "ObserverActionImpl: new value \n\n");
}

TEST_F(SourcesTest, ANullSourceLeavesItsPositionFree) {
    script.ExpectConnect(kSourceSwitch);
    script.Expect("invoke tovix.sl2.action.source.switch [0:ZelFacTestUUID, 1:9, 3:0]");
    script.ExpectSettled(kSourceSwitch);
    EXPECT_EQ(Run([&] { return m_client.ZelSetSource(kSourceSwitch, nullptr); }), 0);
}

TEST_F(SourcesTest, TunesADigitalChannelUuidFirst) {
    script.ExpectInvoke(kSourceSwitch, {"ZelFacTestUUID", "8", "TV", "uuid-1", "17"});
    EXPECT_EQ(Run([&] { return m_client.ZelSetDvbTVChannel("17", "uuid-1"); }), 0);
    EXPECT_EQ(m_output, "");
}

TEST_F(SourcesTest, TunesAChannelWithItsTrace) {
    script.ExpectConnect(kSourceSwitch);
    script.Expect("invoke tovix.sl2.action.source.switch [0:ZelFacTestUUID, 1:8, 2:TV, 3:uuid-1, 4:17]").Then([] {
        std::printf("<invoked>\n");
    });
    script.Expect("delay 50000").Then([] { std::printf("<settled>\n"); });
    script.Expect("disconnect tovix.sl2.action.source.switch").Then([] { std::printf("<disconnect>\n"); });
    EXPECT_EQ(Run([&] { return m_client.ZelSetTVChannel("17", "uuid-1"); }), 0);
    EXPECT_EQ(m_output,
              "strChannelNum:17,strChannelUuid:uuid-1,cStrEnum:8\n"
              "<invoked>\n<settled>\nCurrent idRef: 0\n<disconnect>\n");
}

TEST_F(SourcesTest, ALongTraceIsCutAsEveryLogLine) {
    const std::string uuid(300, 'u');
    script.ExpectInvoke(kSourceSwitch, {"ZelFacTestUUID", "8", "TV", uuid, ""});
    EXPECT_EQ(Run([&] { return m_client.ZelSetTVChannel("", uuid); }), 0);
    const std::string trace = "strChannelNum:,strChannelUuid:" + uuid;
    EXPECT_EQ(m_output, trace.substr(0, 255) + "Current idRef: 0\n");
}

struct Switch {
    const char* name;
    std::int32_t (*run)(ModelClient&);
    const char* invoke;
    const char* trace;
};

class SwitchFailure : public SourcesTest, public ::testing::WithParamInterface<Switch> {
  protected:
    std::int32_t RunIt() {
        return Run([this] { return GetParam().run(m_client); });
    }
};

TEST_P(SwitchFailure, ProxyInterfaceRootConnect) {
    script.Expect("proxy").Returns(1);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "Start biz proxy failed, ret = 1\n");

    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(2);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_TRUE(std::regex_match(m_output, std::regex("getInterfaceReference failed, " +
                                                      std::string(GetParam().name) + " [1-9][0-9]* ret = 2\n")))
        << m_output;

    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "pRootInterface is NULL\n");

    script.ExpectConnect(kSourceSwitch).Returns(3);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 3\n");
}

TEST_P(SwitchFailure, ARefusedInvocationIsNotDisconnected) {
    script.ExpectConnect(kSourceSwitch);
    script.Expect(std::string("invoke ") + kSourceSwitch + GetParam().invoke).Returns(-4);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, GetParam().trace + std::string("invoke failed, ret = -4\n"));
}

INSTANTIATE_TEST_SUITE_P(
    All, SwitchFailure,
    ::testing::Values(
        Switch{"ZelSetSource", [](ModelClient& client) { return client.ZelSetSource(kSourceSwitch, "DTV-T"); },
               " [0:ZelFacTestUUID, 1:9, 2:DTV-T, 3:0]", ""},
        Switch{"ZelSetDvbTVChannel", [](ModelClient& client) { return client.ZelSetDvbTVChannel("1", "u"); },
               " [0:ZelFacTestUUID, 1:8, 2:TV, 3:u, 4:1]", ""},
        Switch{"ZelSetTVChannel", [](ModelClient& client) { return client.ZelSetTVChannel("1", "u"); },
               " [0:ZelFacTestUUID, 1:8, 2:TV, 3:u, 4:1]", "strChannelNum:1,strChannelUuid:u,cStrEnum:8\n"}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace
