#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "plan/PlanCheck.h"
#include "plan/PlanFile.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// The mistakes of a plan of one step; `more` are further lines of it.
std::vector<std::string> Mistakes(const std::string& run, const std::string& more = "") {
    const tests::TempFolder folder;
    folder.Write("good.ini", "1\r\n2\r\n3\r\nACME\r\n\r\n6\r\nMODEL\r\n");
    folder.Write("short.ini", "1\n2\n3\nACME\n");
    folder.Write("text.ini", "1\n2\nlogo\nACME\n5\n6\nMODEL\n");
    folder.Write("key.bin", std::string("\x01\0\x02\n\n\n\n\n\n\n", 10));
    std::vector<PlanProblem> problems;
    LoadPlan(folder.Write("plan.toml", "[[step]]\nrun = \"" + run + "\"\n" + more), {}, problems);
    std::vector<std::string> words;
    for (const PlanProblem& problem : problems) {
        words.push_back(problem.words);
    }
    return words;
}

std::vector<std::string> Expecting(const std::string& run, const std::string& rules) {
    return Mistakes(run, "expect = { " + rules + " }\n");
}

TEST(PlanCheck, AnExpectationThatCannotApplyIsAMistake) {
    EXPECT_THAT(Expecting("cam", "equals = 1"), ElementsAre(HasSubstr("no value")));
    EXPECT_THAT(Expecting("volume 20", "min = 1"), ElementsAre(HasSubstr("no value")));
    EXPECT_THAT(Expecting("raw 0x1274 41", "matches = \"A\""), ElementsAre(HasSubstr("no value")));
    EXPECT_THAT(Expecting("leave", "status = \"failure\""), ElementsAre(HasSubstr("does not answer")));
    EXPECT_THAT(Expecting("sn read", "status = \"no answer\", equals = \"A\""),
                ElementsAre(HasSubstr("a missing answer has no value")));
    EXPECT_THAT(Expecting("key crc hdcp1", "min = 1"), ElementsAre(HasSubstr("checksum")));
    EXPECT_THAT(Expecting("key crc hdcp1", "equals = \"1f0e6d2b\""), ElementsAre(HasSubstr("eight hexadecimal")));
    EXPECT_THAT(Expecting("backlight read", "equals = \"full\""), ElementsAre(HasSubstr("answers a number")));
    EXPECT_THAT(Expecting("uptime", "min = 5, max = 4"), ElementsAre("'min' is above 'max'"));
}

TEST(PlanCheck, AnExpectationThatMayApplyIsNone) {
    for (const auto& [run, rules] :
         {std::pair("sn read", "equals = \"A\", matches = \"A\", min = 1"),
          std::pair("uptime", "min = 1, max = 1, equals = 1"), std::pair("key crc hdcp1", "equals = \"1F0E6D2B\""),
          std::pair("cam", "status = \"failure\""), std::pair("leave", "status = \"no answer\""),
          std::pair("raw 0x1200", "equals = \"A\"")}) {
        EXPECT_THAT(Expecting(run, rules), ElementsAre()) << run;
    }
}

TEST(PlanCheck, WhatEverySetRefusesIsAMistake) {
    EXPECT_THAT(Mistakes("source HDMI5"), ElementsAre(HasSubstr("knows no source 'HDMI5'")));
    EXPECT_THAT(Mistakes("source hdmi1"), ElementsAre(HasSubstr("knows no source")));
    EXPECT_THAT(Mistakes("ping 192.168.1"), ElementsAre(HasSubstr("no IP address")));
    EXPECT_THAT(Mistakes("ping 192.168.1.256"), ElementsAre(HasSubstr("no IP address")));
    EXPECT_THAT(Mistakes("mac write 00:11:22:33:44:5g"), ElementsAre(HasSubstr("no MAC address")));
    EXPECT_THAT(Mistakes("mac write 00-11-22-33-44-55"), ElementsAre(HasSubstr("no MAC address")));
    EXPECT_THAT(Mistakes("mac write FF:FF:FF:FF:FF:FF"), ElementsAre(HasSubstr("of a group")));
    EXPECT_THAT(Mistakes("mac write 01:00:5E:00:00:01"), ElementsAre(HasSubstr("of a group")));
    EXPECT_THAT(Mistakes("mac write 00:00:00:00:00:00"), ElementsAre(HasSubstr("no address")));
    for (const char* run : {"source YPBPR2", "ping 10.0.0.1", "mac write 00:11:22:aa:BB:55"}) {
        EXPECT_THAT(Mistakes(run), ElementsAre()) << run;
    }
}

TEST(PlanCheck, AFileThatIsNoConfigurationIsAMistake) {
    EXPECT_THAT(Mistakes("config good.ini"), ElementsAre());
    EXPECT_THAT(Mistakes("config short.ini"), ElementsAre(HasSubstr("has 4 lines of 7")));
    EXPECT_THAT(Mistakes("config text.ini"), ElementsAre(HasSubstr("'logo' in line 3")));
    EXPECT_THAT(Mistakes("config key.bin"), ElementsAre(HasSubstr("no text")));
    EXPECT_THAT(Mistakes("key send hdcp1 key.bin"), ElementsAre());
}

TEST(PlanCheck, OnlyWhatIsHarmlessIsAskedUntilItFits) {
    EXPECT_THAT(Mistakes("wifi", "until = 5000\n"), ElementsAre());
    for (const char* run : {"finish", "leave", "key send hdcp1 key.bin"}) {
        EXPECT_THAT(Mistakes(run, "until = 5000\n"), ElementsAre(HasSubstr("not harmless to repeat"))) << run;
    }
}

TEST(PlanCheck, ARunIfThatNamesALaterStepSaysSo) {
    EXPECT_THAT(Mistakes("version", "run-if = \"${step.b} == passed\"\n[[step]]\nid = \"b\"\nrun = \"cam\"\n"),
                ElementsAre(HasSubstr("the step 'b' in line 6 does not come before this one")));
    EXPECT_THAT(Mistakes("version", "id = \"a\"\nrun-if = \"${step.a} == passed\"\n"),
                ElementsAre(HasSubstr("the step 'a' in line 2 does not come before this one")));
}

TEST(PlanCheck, AConditionThatNeverChangesIsAMistake) {
    const auto when = [](const std::string& condition) {
        return Mistakes("version", "id = \"a\"\n[[step]]\nrun = \"cam\"\nrun-if = \"" + condition + "\"\n");
    };
    for (const char* condition : {"${step.a} == pass", "${step.a} != ok", "PASSED == ${step.a}",
                                  "${step.all} == skipped", "${step.a} == "}) {
        EXPECT_THAT(when(condition), ElementsAre(HasSubstr("is never"))) << condition;
    }
    EXPECT_THAT(when("${step.a} = passed"), ElementsAre(HasSubstr("'run-if' is one of A == B")));
    for (const char* condition : {"${step.a} == passed", "'not run' != ${step.a}", "${step.all} == failed",
                                  "${step.a} == ${word:-passed}", "${step.b:-none} == none", "${step.a}"}) {
        EXPECT_THAT(when(condition), ElementsAre()) << condition;
    }
}

TEST(PlanCheck, WhatTheOperatorIsAsked) {
    EXPECT_THAT(Mistakes("ask 'Which colour?'", "expect = { equals = \"red\" }\nuntil = 10000\n"), ElementsAre());
    EXPECT_THAT(Mistakes("confirm Is the picture fine?"), ElementsAre());
    EXPECT_THAT(Mistakes("await key MENU", "timeout = 10000\n"), ElementsAre());
    EXPECT_THAT(Mistakes("ask"), ElementsAre(HasSubstr("write 'ask TEXT [TEXT]'; 'zelline run --help' explains")));
    EXPECT_THAT(Mistakes("confirm ' '"), ElementsAre(HasSubstr("there is no question")));
    EXPECT_THAT(Mistakes("await key OK"), ElementsAre(HasSubstr("no key 'OK' by name; there are POWER, ")));
    EXPECT_THAT(Mistakes("await MENU"), ElementsAre(HasSubstr("write 'await key NAME'")));
    EXPECT_THAT(Mistakes("ask Which?", "expect = { status = \"failure\" }\n"), ElementsAre(HasSubstr("'status'")));
    EXPECT_THAT(Mistakes("confirm Fine?", "expect = { equals = \"yes\" }\n"), ElementsAre(HasSubstr("no value")));
    EXPECT_THAT(Mistakes("await key MENU", "expect = { equals = \"MENU\" }\n"),
                ElementsAre(HasSubstr("no value")));
    EXPECT_THAT(Mistakes("confirm Fine?", "until = 1000\n"), ElementsAre(HasSubstr("'until' does not apply")));
    EXPECT_THAT(Mistakes("ask Which ${colour}?"), ElementsAre(HasSubstr("'colour' is not set")));
}

TEST(PlanCheck, WhetherTheOperatorIsAskedIsKnownBeforeThePlanRuns) {
    for (const char* verb : {"ask", "confirm", "await"}) {
        const std::string words = std::string(verb) == "await" ? "key MENU" : "Fine?";
        EXPECT_THAT(
            Mistakes("${v} " + words, "[vars]\nv = \"" + std::string(verb) + "\"\n"),
            ElementsAre(HasSubstr("'${v}' comes from a variable: the verb of a step that asks the operator")));
        EXPECT_THAT(Mistakes("${v:-" + std::string(verb) + "} " + words),
                    ElementsAre(HasSubstr("comes from a variable")));
    }
    EXPECT_THAT(Mistakes("${v} red on", "[vars]\nv = \"led\"\n"), ElementsAre());
    EXPECT_THAT(Mistakes("version", "save = \"v\"\n[[step]]\nrun = \"${v} Fine?\"\n"),
                ElementsAre(HasSubstr("'${v}' is no verb")));
    EXPECT_THAT(Mistakes("await key ${v}", "[vars]\nv = \"MENU\"\n"), ElementsAre());
}

}  // namespace
}  // namespace zelline
