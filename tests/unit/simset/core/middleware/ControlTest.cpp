#include "simset/core/Fixture.h"
#include "simset/core/Keys.h"

namespace simset::test {
namespace {

using ControlledSet = SimsetTest;

TEST_F(ControlledSet, ReadsAndWritesEachKind) {
    EXPECT_EQ(Ctl({"model", "set", kVolume, "-5"}), "");
    EXPECT_EQ(Ctl({"model", "get", kVolume}), "-5\n");
    Ctl({"model", "set", kVersion, "V9.1"});
    EXPECT_EQ(Ctl({"model", "get", kVersion}), "V9.1\n");
    Ctl({"model", "set", kVersion, "\"quoted\""});
    EXPECT_EQ(Ctl({"model", "get", kVersion}), "quoted\n");
    Ctl({"model", "set", kVersion, "12"});
    EXPECT_EQ(Ctl({"model", "get", kVersion}), "12\n");
    Ctl({"model", "set", "tovix.sl2.vint32.sound.soc.drc", "[1,2]"});
    EXPECT_EQ(Ctl({"model", "get", "tovix.sl2.vint32.sound.soc.drc"}), "[1,2]\n");
    Ctl({"flash", "set", "brand", "two words"});
    EXPECT_EQ(Ctl({"flash", "get", "brand"}), "two words\n");
    Ctl({"meta", "set", "4", "12"});
    EXPECT_EQ(Ctl({"meta", "get", "4"}), "12\n");
    Ctl({"meta", "set", "6", "12"});
    EXPECT_EQ(Ctl({"meta", "get", "6"}), "12\n");
    TheMiddleware().SetFlash("ZelFacMode", "2");
    EXPECT_EQ(Ctl({"flash", "get", "ZelFacMode"}), "2\n");
}

TEST_F(ControlledSet, ListsTheModelByPattern) {
    Ctl({"model", "set", kVolume, "31"});
    Ctl({"model", "set", kVersion, "V \"9\""});
    EXPECT_EQ(Ctl({"model", "list", kVolume}), std::string(kVolume) + " 31\n");
    EXPECT_EQ(Ctl({"model", "list", "*.software.version"}), std::string(kVersion) + " \"V \\\"9\\\"\"\n");
    std::istringstream all(Ctl({"model", "list", "*"}));
    std::size_t count = 0;
    for (std::string line; std::getline(all, line); ++count) {
        const std::size_t blank = line.find(' ');
        ASSERT_NE(FindKey(line.substr(0, blank)), nullptr) << line;
        EXPECT_FALSE(nlohmann::json::parse(line.substr(blank + 1), nullptr, false).is_discarded()) << line;
    }
    EXPECT_EQ(count, Catalogue().size());
    EXPECT_NE(CtlError({"model", "list", "volume"}).find("matches volume"), std::string::npos);
}

TEST_F(ControlledSet, ListsTheFlashVariablesThatWereSet) {
    EXPECT_EQ(Ctl({"flash", "list"}), "{\"ZelFacMode\":\"1\"}\n");
    Ctl({"flash", "set", "brand", "two words"});
    EXPECT_EQ(Ctl({"flash", "list"}), "{\"ZelFacMode\":\"1\",\"brand\":\"two words\"}\n");
}

TEST_F(ControlledSet, SaysWhatToDoInstead) {
    EXPECT_NE(CtlError({"model", "get", "tovix.sl2.i32.sound.main.volum"}).find(kVolume), std::string::npos);
    EXPECT_NE(CtlError({"model", "set", kVolume, "loud"}).find("give a number"), std::string::npos);
    EXPECT_NE(CtlError({"model", "set", kVolume, "4294967296"}).find("32-bit"), std::string::npos);
    EXPECT_NE(CtlError({"model", "set", "tovix.action.system.reboot.tv", "1"}).find("action"), std::string::npos);
    EXPECT_NE(CtlError({"model", "fail", kVolume, "conect", "1"}).find("connect"), std::string::npos);
    EXPECT_NE(CtlError({"model", "fail", "tovix.sl2.i32.no", "connect", "1"}).find("did you mean"),
              std::string::npos);
    EXPECT_NE(CtlError({"model", "fail", kVolume, "connect", "x"}).find("status"), std::string::npos);
    EXPECT_NE(CtlError({"model", "fail", kVolume, "connect", "1", "--times", "0"}).find("--times"),
              std::string::npos);
    EXPECT_NE(CtlError({"model", "fail", kVolume, "connect", "1", "times", "2"}).find("usage"), std::string::npos);
    EXPECT_NE(CtlError({"meta", "get", "mac"}).find("number"), std::string::npos);
    EXPECT_NE(CtlError({"meta", "set", "1", "one"}).find("number"), std::string::npos);
    EXPECT_NE(CtlError({"keys", "fail", "hdcp", "write", "1"}).find("hdcp1"), std::string::npos);
    EXPECT_NE(CtlError({"behave", "wify", "on"}).find("wifi"), std::string::npos);
    EXPECT_NE(CtlError({"behave", "wifi", "sometimes"}).find("milliseconds"), std::string::npos);
    EXPECT_NE(CtlError({"press", "power"}).find("key code"), std::string::npos);
    EXPECT_NE(CtlError({"apm", "fail", "register", "1"}).find("registerApp"), std::string::npos);
    EXPECT_NE(CtlError({"shell", "fail", "mv *", "256"}).find("1 to 255"), std::string::npos);
    EXPECT_NE(CtlError({"mount", "fail", "config", "30"}).find("path of the set"), std::string::npos);
    EXPECT_NE(CtlError({"mount", "fail", "/config", "EROFS"}).find("errno"), std::string::npos);
    EXPECT_NE(CtlError({"sync", "fail", "*", "5"}).find("usage"), std::string::npos);
    EXPECT_NE(CtlError({"trace", "--clean"}).find("usage"), std::string::npos);
    EXPECT_NE(CtlError({"modle"}).find("model"), std::string::npos);
    for (const char* verb : {"model", "flash", "meta", "keys", "apm", "press"}) {
        EXPECT_NE(CtlError({verb}).find("usage"), std::string::npos) << verb;
    }
    CtlError({});
    EXPECT_EQ(Ctl({"model", "fail"}), "[]\n") << "a refused fault was set";
}

TEST_F(ControlledSet, TheSupervisorAnswersWrongUntilItIsToldOtherwise) {
    Ctl({"behave", "supervisor", "wrong"});
    EXPECT_TRUE(TheMiddleware().AnswersWrong("supervisor"));
    EXPECT_TRUE(TheMiddleware().Behaviour("supervisor"));
    EXPECT_EQ(nlohmann::json::parse(Ctl({"behave"}))["supervisor"], "wrong");
    CtlError({"behave", "supervisor", "bogus"});
    EXPECT_TRUE(TheMiddleware().AnswersWrong("supervisor")) << "a refused setting had an effect";
    CtlError({"behave", "wifi", "wrong"});
    Restart();
    EXPECT_TRUE(TheMiddleware().AnswersWrong("supervisor"));
    EXPECT_EQ(nlohmann::json::parse(Ctl({"behave"}))["supervisor"], "wrong");
    Ctl({"behave", "supervisor", "on"});
    EXPECT_FALSE(TheMiddleware().AnswersWrong("supervisor"));
}

TEST_F(ControlledSet, TheTraceCountsTimeFromPowerOn) {
    Advance(500);
    TheMiddleware().Trace({{"who", "shell"}, {"command", "one"}});
    TheMiddleware().PowerOff();
    Advance(1000);
    TheMiddleware().PowerOn();
    Advance(20);
    TheMiddleware().Trace({{"who", "shell"}, {"command", "two"}});
    EXPECT_EQ(Ctl({"trace", "--clear"}),
              "{\"seq\":1,\"ms\":500,\"who\":\"shell\",\"command\":\"one\"}\n"
              "{\"seq\":2,\"ms\":20,\"who\":\"shell\",\"command\":\"two\"}\n");
    EXPECT_EQ(Ctl({"trace"}), "");
}

}  // namespace
}  // namespace simset::test
