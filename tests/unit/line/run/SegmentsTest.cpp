#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "plan/PlanFile.h"
#include "run/Segments.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kGoOn = "[defaults]\non-failure = \"continue\"\n";

std::string StepOf(const std::string& run, const std::string& more = "") {
    return fmt::format("[[step]]\nrun = \"{}\"\n{}\n", run, more);
}

Plan PlanOf(const std::string& text) {
    const tests::TempFolder folder;
    folder.Write("a.bin", "a key");
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(folder.Write("plan.toml", text), {}, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.line << ": " << problem.words;
    }
    return plan;
}

struct Cut {
    std::vector<std::string>
        segments;  // the numbers of the steps that are asked together, "0+1"; "-2" for one alone
    std::vector<std::string> reasons;
};

// The plan in segments, as if every step passed and saved "1".
Cut CutOf(const std::string& text, const Settings& settings = {}) {
    const Plan plan = PlanOf(text);
    Values values{plan.variables, {}};
    Cut cut;
    for (std::size_t number = 0; number < plan.steps.size();) {
        const Segment segment = NextSegment(plan, number, values, settings);
        std::string steps;
        for (const SegmentStep& step : segment.steps) {
            steps += fmt::format("{}{}", steps.empty() ? "" : "+", step.number);
        }
        cut.segments.push_back(segment.steps.size() > 1 ? steps : fmt::format("-{}", number));
        cut.reasons.push_back(segment.reason);
        const std::size_t end = segment.steps.size() > 1 ? segment.end : number + 1;
        for (; number < end; ++number) {
            const Step& step = plan.steps[number];
            if (!step.save.empty()) {
                values.variables[step.save] = "1";
                values.saved.insert(step.save);
            }
            values.variables["step." + step.id] = StateWord(StepState::Passed);
        }
    }
    return cut;
}

TEST(Segments, StepsThatMayGoOutTogetherDo) {
    const Cut cut = CutOf(kGoOn + StepOf("connect") + StepOf("sn write A") + StepOf("sn read") +
                          StepOf("source HDMI1") + StepOf("source AV1") + StepOf("cam"));
    EXPECT_THAT(cut.segments, ElementsAre("0+1+2+3+4+5"));
    EXPECT_THAT(cut.reasons, ElementsAre(""));
}

TEST(Segments, NothingStandsBehindAStepThatStopsTheRun) {
    const Cut cut = CutOf(kGoOn + StepOf("cam") + StepOf("network", "on-failure = \"stop\"") + StepOf("wifi-mac") +
                          StepOf("uptime"));
    EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3"));
    EXPECT_THAT(cut.reasons[0], HasSubstr("stops the run"));
    EXPECT_THAT(CutOf(StepOf("cam") + StepOf("network")).segments, ElementsAre("-0", "-1"));
}

TEST(Segments, TheTeardownIsNeverStoppedAndStandsApart) {
    const std::string teardown = "[[teardown]]\nrun = \"led red on\"\n[[teardown]]\nrun = \"backlight on\"\n";
    const Cut cut = CutOf(kGoOn + StepOf("cam") + StepOf("network") + teardown);
    EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3"));
    EXPECT_THAT(cut.reasons[0], HasSubstr("teardown"));
    EXPECT_THAT(CutOf(StepOf("cam") + teardown).segments, ElementsAre("-0", "1+2"));
}

TEST(Segments, WhatTheOperatorIsAskedStandsAlone) {
    for (const char* verb : {"ask Which?", "confirm Fine?", "await key MENU"}) {
        const Cut cut =
            CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf(verb) + StepOf("cam") + StepOf("uptime"));
        EXPECT_THAT(cut.segments, ElementsAre("0+1", "-2", "3+4")) << verb;
        EXPECT_THAT(cut.reasons[0], HasSubstr("waits for the operator"));
    }
}

TEST(Segments, FilesResultFinishAndLeaveGoOutAlone) {
    for (const char* verb : {"key send hdcp1 a.bin", "result PASS", "finish", "leave", "raw 129A", "raw 129B",
                             "raw 1299", "raw 1298 50", "raw 1281 00", "raw 1290"}) {
        const Cut cut =
            CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf(verb) + StepOf("cam") + StepOf("network"));
        EXPECT_THAT(cut.segments, ElementsAre("0+1", "-2", "3+4")) << verb;
        EXPECT_NE(cut.reasons[0], "") << verb;
    }
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("key crc hdcp1")).segments, ElementsAre("0+1"));
}

TEST(Segments, WhatIsTakenFromTheStockGoesOutAlone) {
    for (const char* verb : {"mac write @stock", "sn write ${stock.mac:-none}"}) {
        EXPECT_THAT(
            CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf(verb) + StepOf("cam") + StepOf("network"))
                .segments,
            ElementsAre("0+1", "-2", "3+4"))
            << verb;
    }
}

TEST(Segments, WhatIsNotAnsweredGoesOutAlone) {
    for (const std::string& step : {StepOf("raw 1276", "expect = { status = \"no answer\" }"), StepOf("raw 12FF"),
                                    StepOf("raw 129F 65"), StepOf("cam", "expect = { status = \"no answer\" }")}) {
        EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + step + StepOf("network")).segments,
                    ElementsAre("-0", "-1", "-2"))
            << step;
    }
}

TEST(Segments, WhatIsNotToBeRepeatedIsLast) {
    const Cut cut =
        CutOf(kGoOn + StepOf("cam") + StepOf("bluetooth", "retries = 0") + StepOf("network") + StepOf("cam"));
    EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3"));
    EXPECT_THAT(cut.reasons[0], HasSubstr("not to be repeated"));
    // Behind a step for whose sake it would be.
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("volume 1") + StepOf("volume 2", "retries = 0")).segments,
                ElementsAre("0+1", "-2"));
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("bluetooth") + StepOf("network") + StepOf("cam")).segments,
                ElementsAre("0+1+2+3"));
}

TEST(Segments, WhatIsAskedUntilItFitsIsLast) {
    const Cut cut =
        CutOf(kGoOn + StepOf("cam") + StepOf("wifi", "until = 5000") + StepOf("network") + StepOf("cam"));
    EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3"));
    EXPECT_THAT(cut.reasons[0], HasSubstr("several times"));
}

TEST(Segments, AWaitBeginsASegment) {
    EXPECT_THAT(
        CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf("uptime", "wait = 100") + StepOf("wifi-mac"))
            .segments,
        ElementsAre("0+1", "2+3"));
}

TEST(Segments, ALimitOfAStepsOwnMakesItGoOutAlone) {
    for (const char* limit : {"within = 900", "timeout = 2999"}) {
        EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf("cam", limit) + StepOf("cam") +
                          StepOf("network"))
                        .segments,
                    ElementsAre("0+1", "-2", "3+4"))
            << limit;
    }
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("network", "timeout = 3000")).segments, ElementsAre("0+1"));
    Settings hasty;
    hasty.timeout = Millis(6000);
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("network") + StepOf("source HDMI1"), hasty).segments,
                ElementsAre("0+1", "-2"));
    Settings unconnected;
    unconnected.connect = false;
    EXPECT_THAT(CutOf(kGoOn + StepOf("cam") + StepOf("network"), unconnected).segments, ElementsAre("-0", "-1"));
}

TEST(Segments, AStepWaitsForTheValuesAndStatesThatItNeeds) {
    const std::string save = StepOf("uptime", "save = \"v\"\nid = \"u\"");
    for (const std::string& step :
         {StepOf("sn write ${v}"), StepOf("cam", "run-if = \"${v} == 1\""),
          StepOf("cam", "run-if = \"${step.u} == passed\""), StepOf("cam", "run-if = \"${step.all} == passed\""),
          StepOf("sn write ${v:-x}")}) {
        const Cut cut = CutOf(kGoOn + save + StepOf("network") + step + StepOf("wifi-mac"));
        EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3")) << step;
        EXPECT_THAT(cut.reasons[0], HasSubstr("not known before")) << step;
    }
    // What it is held against is looked at when all have been asked.
    EXPECT_THAT(
        CutOf(kGoOn + save + StepOf("raw 12AB", "expect = { equals = \"${v}\" }\nname = \"is ${v}\"")).segments,
        ElementsAre("0+1"));
}

TEST(Segments, AValueThatIsSavedAnewIsUnderWayToo) {
    EXPECT_THAT(CutOf("[vars]\nv = \"0\"\n" + kGoOn + StepOf("uptime", "save = \"v\"") + StepOf("sn write ${v}") +
                      StepOf("uptime", "save = \"v\"") + StepOf("result ${v}"))
                    .segments,
                ElementsAre("-0", "1+2", "-3"));
}

TEST(Segments, StepsWhoseConditionDoesNotHoldAreLeftOutAndSeparateNothing) {
    const std::string plan = "[vars]\non = \"0\"\n" + kGoOn;
    EXPECT_THAT(CutOf(plan + StepOf("cam") + StepOf("network", "run-if = \"${on}\"") + StepOf("uptime")).segments,
                ElementsAre("0+2"));
    EXPECT_THAT(CutOf(plan + StepOf("cam", "run-if = \"${on}\"") + StepOf("network") + StepOf("uptime")).segments,
                ElementsAre("-0", "1+2"));
    EXPECT_THAT(CutOf(plan + StepOf("cam") + StepOf("network") + StepOf("uptime", "run-if = \"${on}\"")).segments,
                ElementsAre("0+1", "-2"));
    // Its state is decided in the segment.
    EXPECT_THAT(CutOf(plan + StepOf("cam") + StepOf("network", "run-if = \"${on}\"\nid = \"n\"") +
                      StepOf("uptime", "run-if = \"${step.n} == skipped\""))
                    .segments,
                ElementsAre("-0", "-1", "-2"));
}

TEST(Segments, AReadingIsNotFollowedByTheFirstChangeOfWhatItReads) {
    const Cut cut = CutOf(kGoOn + StepOf("backlight read") + StepOf("cam") + StepOf("backlight off") +
                          StepOf("backlight read"));
    EXPECT_THAT(cut.segments, ElementsAre("0+1", "2+3"));
    EXPECT_THAT(cut.reasons[0], HasSubstr("has read"));
    EXPECT_THAT(CutOf(kGoOn + StepOf("backlight off") + StepOf("backlight read") + StepOf("backlight on") +
                      StepOf("backlight read"))
                    .segments,
                ElementsAre("0+1+2+3"));
    EXPECT_THAT(CutOf(kGoOn + StepOf("query MAC") + StepOf("mac write 00:11:22:33:44:55")).segments,
                ElementsAre("-0", "-1"));
    EXPECT_THAT(CutOf(kGoOn + StepOf("sn read") + StepOf("mac write 00:11:22:33:44:55")).segments,
                ElementsAre("0+1"));
}

TEST(Segments, ABurstHasABound) {
    std::string plan = kGoOn;
    for (int i = 0; i < 30; ++i) {
        plan += StepOf(fmt::format("sn write {}", std::string(64, 'x')));
    }
    const Plan loaded = PlanOf(plan);
    std::size_t begin = 0;
    while (begin < loaded.steps.size()) {
        const Segment segment = NextSegment(loaded, begin, {loaded.variables, {}}, {});
        std::vector<BurstItem> items;
        for (const SegmentStep& step : segment.steps) {
            items.push_back(ItemOf(step.action, {}));
        }
        EXPECT_LE(Burst::MostBytes(items), kMostBurstBytes);
        if (segment.end < loaded.steps.size()) {
            EXPECT_EQ(segment.steps.size(), 11U);
            EXPECT_THAT(segment.reason, HasSubstr("1024 bytes"));
        }
        begin = segment.end;
    }
}

}  // namespace
}  // namespace zelline
