#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "base/Seed.h"
#include "base/TempFolder.h"
#include "line/BorrowedLine.h"
#include "line/LossySet.h"
#include "line/SimulatedReceiver.h"
#include "plan/PlanFile.h"
#include "run/PlanRun.h"

namespace zelline {
namespace {

using testing::ElementsAre;

struct Ran {
    PlanResult result;
    std::vector<std::string> states;
};

class States : public RunObserver {
  public:
    void StepEnded(std::size_t number, const StepResult& step) override {
        EXPECT_EQ(number, seen.size());
        seen.emplace_back(StateWord(step.state));
    }

    std::vector<std::string> seen;
};

Ran RunText(const std::string& text, Transport& set, const Variables& given = {}, bool oneByOne = false,
            const Settings& settings = {}) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Write("plan.toml", text), given, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.line << ": " << problem.words;
    }
    Link link(set);
    States states;
    Ran ran;
    ran.result = ExecutePlan(plan, link, settings, {&states}, nullptr, oneByOne);
    ran.states = states.seen;
    return ran;
}

TEST(PlanRun, ExpectationsDecide) {
    const struct {
        const char* rules;
        Exit status;
    } rows[] = {
        {"equals = \"2.5\"", Exit::Success},
        {"equals = \"2.50\"", Exit::Failure},
        {"matches = \"2\\\\..*\"", Exit::Success},
        {"matches = \"5\"", Exit::Failure},
        {"min = 2.5", Exit::Success},
        {"min = 2.6", Exit::Failure},
        {"max = 2.5", Exit::Success},
        {"max = 2.4", Exit::Failure},
        {"status = \"failure\"", Exit::Failure},
        {"min = 2, max = 3", Exit::Success},
    };
    for (const auto& row : rows) {
        SimulatedReceiver set;
        set.texts[0x1297] = "2.5";
        const Ran ran = RunText(std::string("[[step]]\nrun = \"version\"\nexpect = { ") + row.rules + " }\n", set);
        EXPECT_EQ(ran.result.status, row.status) << row.rules;
        EXPECT_EQ(ran.result.steps[0].value, "2.5");
    }
}

TEST(PlanRun, AnExpectedMissingAnswerPasses) {
    SimulatedReceiver set;
    const Ran ran = RunText(
        "[[step]]\nrun = \"raw 1299\"\nretries = 0\ntimeout = 700\nexpect = { status = \"no answer\" }\n", set);
    EXPECT_EQ(ran.result.status, Exit::Success);
}

TEST(PlanRun, StopsAtAFailureAndTearsDown) {
    SimulatedReceiver set;
    set.texts[0x1297] = "1";
    const Ran ran = RunText(
        "[[step]]\nrun = \"version\"\nexpect = { equals = \"2\" }\n[[step]]\nrun = \"led red on\"\n"
        "[[teardown]]\nrun = \"led green on\"\n",
        set);
    EXPECT_THAT(ran.states, ElementsAre("failed", "not run", "passed"));
    EXPECT_EQ(ran.result.status, Exit::Failure);
    EXPECT_THAT(set.payloads, testing::Not(testing::Contains("RED_ON")));
    EXPECT_THAT(set.payloads, testing::Contains("GREEN_ON"));
}

TEST(PlanRun, ContinuesWhereThePlanSaysSo) {
    SimulatedReceiver set;
    set.texts[0x1297] = "1";
    const Ran ran = RunText(
        "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"version\"\nexpect = { equals = \"2\" }\n"
        "[[step]]\nrun = \"led red on\"\n",
        set);
    EXPECT_THAT(ran.states, ElementsAre("failed", "passed"));
    EXPECT_EQ(ran.result.status, Exit::Failure);
}

TEST(PlanRun, WorstStatusIsTheRuns) {
    SimulatedReceiver set;
    set.texts[0x1297] = "1";
    const Ran ran = RunText(
        "[defaults]\non-failure = \"continue\"\nretries = 0\n"
        "[[step]]\nrun = \"raw 1299\"\ntimeout = 700\n[[step]]\nrun = \"version\"\nexpect = { equals = \"2\" }\n",
        set);
    EXPECT_EQ(ran.result.status, Exit::NoAnswer);
}

TEST(PlanRun, ValuesAreSavedAndConditionsSkip) {
    SimulatedReceiver set;
    set.texts[0x1297] = "AB CD";
    const Ran ran = RunText(
        "[[step]]\nid = \"v\"\nrun = \"version\"\nsave = \"version\"\n"
        "[[step]]\nrun = \"sn write ${version}\"\nrun-if = \"${step.v} == passed\"\n"
        "[[step]]\nrun = \"led red on\"\nrun-if = \"${version} == XY\"\n",
        set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "skipped"));
    EXPECT_THAT(set.payloads, testing::Contains("AB CD"));
    EXPECT_EQ(ran.result.status, Exit::Success);
}

TEST(PlanRun, ALaterStepCanAskWhetherAllPassed) {
    const std::string plan =
        "[defaults]\non-failure = \"continue\"\n"
        "[[step]]\nrun = \"version\"\nexpect = { equals = \"2\" }\n"
        "[[step]]\nrun = \"led red on\"\n"
        "[[step]]\nrun = \"finish\"\nrun-if = \"${step.all} == passed\"\n";
    SimulatedReceiver bad;
    bad.texts[0x1297] = "1";
    EXPECT_THAT(RunText(plan, bad).states, ElementsAre("failed", "passed", "skipped"));
    SimulatedReceiver good;
    good.texts[0x1297] = "2";
    EXPECT_THAT(RunText(plan, good).states, ElementsAre("passed", "passed", "passed"));
}

TEST(PlanRun, TooSlowIsAFailure) {
    SimulatedReceiver set;
    EXPECT_EQ(RunText("[[step]]\nrun = \"led red on\"\nwithin = 400\n", set).result.status, Exit::Failure);
    EXPECT_EQ(RunText("[[step]]\nrun = \"led red on\"\nwithin = 900\n", set).result.status, Exit::Success);
}

TEST(PlanRun, AStepIsAskedUntilItsAnswerIsTheExpectedOne) {
    const std::string plan =
        "[[step]]\nrun = \"version\"\nuntil = 5000\nexpect = { equals = \"9\" }\nsave = \"v\"\n"
        "[[step]]\nrun = \"result ${v}\"\n";
    LossySet set;
    int asked = 0;
    set.losesRequest = [&](std::size_t) {
        set.texts[0x1297] = std::string(1, static_cast<char>('5' + asked++));  // the connect is the first
        return false;
    };
    const Ran ran = RunText(plan, set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed"));
    EXPECT_EQ(ran.result.steps[0].tries, 4);
    EXPECT_GT(ran.result.steps[0].elapsed, Millis(3500));
    EXPECT_EQ(ran.result.steps[1].verb, "result 9");
    LossySet never;
    never.texts[0x1297] = "1";
    const Ran late = RunText(plan, never);
    EXPECT_THAT(late.states, ElementsAre("failed", "not run"));
    EXPECT_EQ(late.result.steps[0].tries, 5);
    EXPECT_LT(never.Now(), Millis(1000 + 5600));
}

TEST(PlanRun, AStepThatIsAskedUntilItFitsBeginsInABurst) {
    LossySet set;
    int asked = 0;
    set.losesRequest = [&](std::size_t) {
        set.texts[0x1297] = std::string(1, static_cast<char>('0' + asked++));
        return false;
    };
    const Ran ran = RunText(
        "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"version\"\n"
        "until = 5000\nexpect = { equals = \"7\" }\n[[step]]\nrun = \"network\"\n[[step]]\nrun = \"uptime\"\n",
        set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "passed", "passed"));
    EXPECT_EQ(ran.result.steps[1].burst, 1);
    EXPECT_EQ(ran.result.steps[1].tries, 4);
    EXPECT_EQ(ran.result.steps[2].burst, 2);
    EXPECT_THAT(set.done, ElementsAre("128A", "1297", "1297", "1297", "1297", "1293", "1296"));
}

TEST(PlanRun, NamesOfStepsAreFilledIn) {
    SimulatedReceiver set;
    set.texts[0x1297] = "2.5";
    const Ran ran = RunText(
        "[vars]\nwhat = \"version\"\n[[step]]\nname = \"Read ${what}\"\nrun = \"version\"\nsave = \"v\"\n"
        "[[step]]\nname = \"Is ${v}\"\nrun = \"cam\"\nexpect = { status = \"failure\" }\n"
        "[[teardown]]\nname = \"After ${v}\"\nrun = \"led green on\"\n",
        set);
    EXPECT_EQ(ran.result.steps[0].name, "Read version");
    EXPECT_EQ(ran.result.steps[1].name, "Is 2.5");
    EXPECT_EQ(ran.result.steps[2].name, "After 2.5");
}

TEST(PlanRun, AVariableOfAnIncludedFileGivesWayToWhatItsStepsSave) {
    const tests::TempFolder folder;
    folder.Write(
        "part.toml",
        "[vars]\nv = \"none\"\n[[step]]\nrun = \"result ${v}\"\n[[step]]\nrun = \"version\"\nsave = \"v\"\n"
        "[[step]]\nrun = \"result ${v}\"\n");
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Write("plan.toml", "[[step]]\ninclude = \"part.toml\"\n"), {}, problems);
    ASSERT_TRUE(problems.empty());
    SimulatedReceiver set;
    set.texts[0x1297] = "2.5";
    Link link(set);
    const PlanResult result = ExecutePlan(plan, link, {}, {});
    EXPECT_EQ(result.steps[0].verb, "result none");
    EXPECT_EQ(result.steps[2].verb, "result 2.5");
}

TEST(PlanRun, ASetThatRestartsIsAFailedUnit) {
    const std::string plan =
        "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"connect\"\n"
        "[[step]]\nrun = \"led red on\"\nwait = 8000\n[[step]]\nrun = \"led green on\"\n";
    SimulatedReceiver steady;
    EXPECT_EQ(RunText(plan, steady).result.status, Exit::Success);
    // In the wait before a step, and while a step's answer is missing.
    for (const long when : {4000L, 8700L}) {
        SimulatedReceiver set;
        set.RestartAt(set.Now() + Millis(when));
        const Ran ran = RunText(plan, set);
        EXPECT_EQ(ran.result.status, Exit::Failure) << when;
        EXPECT_THAT(ran.states, testing::Contains("failed")) << when;
        const auto failed = std::find_if(ran.result.steps.begin(), ran.result.steps.end(),
                                         [](const StepResult& step) { return step.state == StepState::Failed; });
        ASSERT_NE(failed, ran.result.steps.end());
        EXPECT_THAT(failed->words, testing::HasSubstr("has restarted"));
    }
}

// What is asked again waits in the port of a set that has not come to itself yet, which takes it before its first
// ready frame.
TEST(PlanRun, ARestartIsSeenThoughTheSetFindsTheNextRequestsInItsPort) {
    const std::string steps =
        "[[step]]\nrun = \"connect\"\n[[step]]\nrun = \"led red on\"\nwait = 8000\n[[step]]\nrun = \"led green "
        "on\"\n[[step]]\nrun = \"cam\"\n";
    for (const long boot : {1000L, 3500L, 4000L, 5000L}) {
        for (const std::string each : {"continue", "stop"}) {
            SimulatedReceiver set;
            set.bootMs = boot;
            set.RestartAt(set.Now() + Millis(8700));
            const Ran ran = RunText("[defaults]\non-failure = \"" + each + "\"\n" + steps, set);
            EXPECT_EQ(ran.result.status, Exit::Failure) << boot << each;
            EXPECT_TRUE(std::any_of(
                ran.result.steps.begin(), ran.result.steps.end(),
                [](const StepResult& step) { return step.words.find("has restarted") != std::string::npos; }))
                << boot << each;
        }
    }
}

TEST(PlanRun, ReadyFramesBeforeTheConnectAndAfterLeavingAreInOrder) {
    SimulatedReceiver set;
    set.RestartAt(set.Now());
    EXPECT_THAT(RunText("[[step]]\nrun = \"connect\"\nwait = 5000\n[[step]]\nrun = \"led red on\"\n", set).states,
                ElementsAre("passed", "passed"));
    SimulatedReceiver left;
    left.RestartAt(left.Now() + Millis(3000));
    EXPECT_THAT(RunText("[[step]]\nrun = \"leave\"\n[[step]]\nrun = \"connect\"\nwait = 5000\n", left).states,
                ElementsAre("passed", "passed"));
}

TEST(PlanRun, AStopTearsDownAndASecondOneDoesNot) {
    const std::string plan =
        "[[step]]\nrun = \"version\"\n[[step]]\nrun = \"led red on\"\nwait = 20000\n[[step]]\nrun = \"cam\"\n"
        "[[teardown]]\nrun = \"led green on\"\nwait = 1000\n[[teardown]]\nrun = \"backlight on\"\n"
        "[[teardown]]\nrun = \"finish\"\nrun-if = \"${step.all} == passed\"\n";
    SimulatedReceiver once;
    BorrowedLine line(once, {once.Now() + Millis(5000)});
    const Ran ran = RunText(plan, line);
    EXPECT_THAT(ran.states, ElementsAre("passed", "not run", "not run", "passed", "passed", "skipped"));
    EXPECT_EQ(ran.result.status, Exit::Interrupted);
    EXPECT_LT(ran.result.elapsed, Millis(10000));
    EXPECT_THAT(once.payloads, testing::Not(testing::Contains("RED_ON")));
    SimulatedReceiver twice;
    BorrowedLine hasty(twice, {twice.Now() + Millis(5000), twice.Now() + Millis(5500)});
    EXPECT_THAT(RunText(plan, hasty).states,
                ElementsAre("passed", "not run", "not run", "not run", "not run", "not run"));
    EXPECT_THAT(twice.payloads, testing::Not(testing::Contains("GREEN_ON")));
}

TEST(PlanRun, AStopInTheMiddleOfAFileLeavesTheSetReadyForTheTeardown) {
    const tests::TempFolder folder;
    folder.Write("a.bin", std::string(16000, 'k'));
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Write("plan.toml",
                                            "[[step]]\nrun = \"key send hdcp1 a.bin\"\n"
                                            "[[teardown]]\nrun = \"led green on\"\n"),
                               {}, problems);
    ASSERT_TRUE(problems.empty());
    SimulatedReceiver set;
    BorrowedLine line(set, {set.Now() + Millis(1300)});
    Link link(line);
    const PlanResult result = ExecutePlan(plan, link, {}, {});
    EXPECT_EQ(result.steps[0].state, StepState::NotRun);
    EXPECT_EQ(result.steps[1].state, StepState::Passed);
    EXPECT_EQ(result.steps[1].tries, 1);
    EXPECT_TRUE(set.handedToInstaller.empty());
}

TEST(PlanRun, ObserversAreToldOfEveryStepInOrder) {
    struct Log : RunObserver {
        void RunBegins(const PlanResult& planned) override {
            words.push_back(fmt::format("{} of {} steps", Verdict(planned.status), planned.steps.size()));
        }
        void StepBegins(std::size_t number, const Action& action) override {
            words.push_back(fmt::format("{} begins: {}", number, action.verb));
        }
        void StepEnded(std::size_t number, const StepResult& result) override {
            words.push_back(fmt::format("{} {}", number, StateWord(result.state)));
        }
        void RunEnded(const PlanResult& result) override { words.emplace_back(Verdict(result.status)); }

        std::vector<std::string> words;
    } log;
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(
        folder.Write("plan.toml",
                     "[vars]\nv = \"0\"\n[[step]]\nrun = \"connect\"\nrun-if = \"${v}\"\n[[step]]\nrun = "
                     "\"cam\"\nexpect = { status = \"failure\" }\n[[step]]\nrun = \"wifi\"\n[[teardown]]\n"
                     "run = \"led red on\"\n"),
        {}, problems);
    ASSERT_TRUE(problems.empty());
    SimulatedReceiver set;
    Link link(set);
    ExecutePlan(plan, link, {}, {&log});
    EXPECT_THAT(log.words, ElementsAre("ABORTED of 4 steps", "0 skipped", "1 begins: cam", "1 failed", "2 not run",
                                       "3 begins: led red on", "3 passed", "FAILED"));
}

const std::string kTogether =
    "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"connect\"\non-failure = \"stop\"\n";

TEST(PlanRun, StepsGoOutTogetherAndTheReportSaysSo) {
    const std::string plan = kTogether +
                             "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"wifi\"\nrun-if = \"no\"\n"
                             "[[step]]\nrun = \"version\"\nsave = \"v\"\n[[step]]\nrun = \"result ${v}\"\n"
                             "[[teardown]]\nrun = \"led red on\"\n[[teardown]]\nrun = \"led green on\"\n";
    LossySet set;
    set.texts[0x1297] = "2.5";
    const Ran ran = RunText(plan, set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "skipped", "passed", "passed", "passed", "passed"));
    std::vector<int> bursts;
    for (const StepResult& step : ran.result.steps) {
        bursts.push_back(step.burst);
    }
    EXPECT_THAT(bursts, ElementsAre(0, 1, 0, 1, 0, 2, 2));
    EXPECT_EQ(ran.result.steps[3].elapsed, Millis(10));
    EXPECT_EQ(ran.result.steps[3].value, "2.5");
    EXPECT_EQ(ran.result.steps[4].verb, "result 2.5");
    EXPECT_LT(ran.result.elapsed, Millis(2200));
    LossySet slow;
    slow.texts[0x1297] = "2.5";
    const Ran alone = RunText(plan, slow, {}, true);
    EXPECT_EQ(alone.states, ran.states);
    EXPECT_EQ(slow.done, set.done);
    EXPECT_EQ(alone.result.steps[3].burst, 0);
    EXPECT_GT(alone.result.elapsed, Millis(3000));
}

TEST(PlanRun, AStepBehindAStopIsNotAskedWithIt) {
    LossySet set;
    const Ran ran = RunText(kTogether +
                                "[[step]]\nrun = \"wifi-mac\"\n[[step]]\nrun = \"cam\"\non-failure = \"stop\"\n"
                                "expect = { status = \"failure\" }\n[[step]]\nrun = \"led red on\"\n",
                            set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "failed", "failed", "not run"));
    EXPECT_THAT(set.done, ElementsAre("127B", "128A"));
}

TEST(PlanRun, AMissingAnswerInABurstIsAFailedStepAndNoOther) {
    LossySet set;
    set.losesRequest = [](std::size_t number) { return number == 2 || number == 5; };
    const Ran ran = RunText(
        kTogether + "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"network\"\n[[step]]\nrun = \"led red on\"\n", set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "failed", "passed"));
    EXPECT_EQ(ran.result.status, Exit::NoAnswer);
    EXPECT_EQ(ran.result.steps[2].tries, 2);
    EXPECT_THAT(ran.result.steps[2].words, testing::HasSubstr("no answer to 0x1293"));
}

TEST(PlanRun, EveryAnswerThatCountsMustBeTheExpectedOne) {
    LossySet set;
    int asked = 0;
    set.losesAnswer = [](std::size_t number) { return number == 2; };
    set.losesRequest = [&](std::size_t) {
        set.texts[0x1295] = std::string(1, ++asked < 7 ? '\x07' : '\x09');
        return false;
    };
    const Ran ran =
        RunText(kTogether +
                    "[[step]]\nrun = \"backlight off\"\n[[step]]\nrun = \"backlight read\"\n[[step]]\n"
                    "run = \"backlight on\"\n[[step]]\nrun = \"backlight read\"\nexpect = { equals = \"9\" }\n",
                set);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "passed", "passed", "failed"));
}

TEST(PlanRun, AStopWithinABurstSaysOfEachStepWhatIsKnown) {
    const std::string plan =
        kTogether +
        "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"source DTV\"\n[[step]]\nrun = \"network\"\n"
        "[[step]]\nrun = \"result PASS\"\n[[teardown]]\nrun = \"led green on\"\n";
    LossySet set;
    set.took[0x1288] = 2500;
    BorrowedLine line(set, {Millis(3000)});
    const Ran ran = RunText(plan, line);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "not run", "not run", "not run", "passed"));
    EXPECT_EQ(ran.result.status, Exit::Interrupted);
    EXPECT_EQ(ran.result.steps[2].words, "stopped while it was under way");
    EXPECT_EQ(ran.result.steps[3].words, "stopped while it was under way");
    EXPECT_EQ(ran.result.steps[3].burst, 1);
    EXPECT_EQ(ran.result.steps[4].words, "the run was stopped");
    EXPECT_THAT(set.done, ElementsAre("128A", "1288 DTV", "1293", "12A0 GREEN_ON"));
}

TEST(PlanRun, ARestartWithinABurstIsAFailedUnit) {
    const std::string plan =
        kTogether +
        "[[step]]\nrun = \"cam\"\nexpect = { status = \"success\" }\n[[step]]\nrun = \"network\"\n"
        "[[step]]\nrun = \"uptime\"\nwait = 3000\n[[step]]\nrun = \"wifi-mac\"\n[[step]]\n"
        "run = \"led red on\"\n";
    // Between the bursts, and in the silence of the second.
    for (const long when : {3500L, 4300L}) {
        SimulatedReceiver set;
        set.RestartAt(set.Now() + Millis(when));
        const Ran ran = RunText(plan, set);
        EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "passed", "failed", "passed", "passed")) << when;
        EXPECT_THAT(ran.result.steps[3].words, testing::HasSubstr("has restarted")) << when;
        EXPECT_EQ(ran.result.status, Exit::Failure);
    }
}

TEST(PlanRun, APortThatIsLostWithinABurstBreaksTheRunOff) {
    struct Losing : BorrowedLine {
        using BorrowedLine::BorrowedLine;
        std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
            if (Now() > Millis(2100)) {
                Fail(Exit::Port, "gone");
            }
            return BorrowedLine::Read(bytes, size, wait);
        }
    };
    LossySet set;
    set.took[0x1288] = 5000;
    Losing line(set);
    const Ran ran =
        RunText(kTogether +
                    "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"source DTV\"\n[[step]]\nrun = \"network\"\n"
                    "[[step]]\nrun = \"uptime\"\nwithin = 900\n",
                line);
    EXPECT_THAT(ran.states, ElementsAre("passed", "passed", "failed", "not run", "not run"));
    EXPECT_EQ(ran.result.status, Exit::Port);
    EXPECT_EQ(ran.result.steps[4].words, "the run was broken off");
}

// A plan of steps that depend on each other's order, and what a set without losses answers to it.
std::string DrawnPlan(std::mt19937& random) {
    const char* const verbs[] = {"backlight off", "backlight on", "backlight read",
                                 "sn write A",    "sn write B",   "sn read",
                                 "source HDMI1",  "source AV1",   "led red on",
                                 "led green on",  "volume 10",    "volume 20",
                                 "cam",           "aspect full",  "aspect 4:3",
                                 "panel vcc off", "panel vcc on", "raw 128F",
                                 "query MAC",     "mac read",     "mac write 00:11:22:33:44:55"};
    std::string plan = "[defaults]\non-failure = \"continue\"\n";
    for (int i = 0; i < 14; ++i) {
        plan += fmt::format("[[step]]\nrun = \"{}\"\n", verbs[random() % std::size(verbs)]);
    }
    return plan;
}

TEST(PlanRun, WhateverIsLostTheAnswersAndTheSetAreThoseOfOneByOne) {
    std::mt19937 random(tests::Seed());
    Settings settings;
    settings.retries = 100;
    std::size_t fewer = 0;
    for (int round = 0; round < 300; ++round) {
        const std::string plan = DrawnPlan(random);
        LossySet good;
        good.state[zel::Subject::Backlight] = "\x32";
        good.state[zel::Subject::MacAddress] = "66:55:44:33:22:11";
        LossySet bad;
        bad.state = good.state;
        const auto loses = [&](std::size_t) { return random() % 8 == 0; };
        bad.losesRequest = loses;
        bad.losesAnswer = loses;
        const Ran expected = RunText(plan, good, {}, true, settings);
        const Ran ran = RunText(plan, bad, {}, false, settings);
        ASSERT_EQ(expected.states, ran.states) << plan;
        for (std::size_t i = 0; i < ran.result.steps.size(); ++i) {
            ASSERT_EQ(ran.result.steps[i].value, expected.result.steps[i].value) << i << "\n" << plan;
        }
        ASSERT_EQ(bad.state, good.state) << plan;
        fewer += bad.bursts.size() < good.bursts.size() ? 1 : 0;
    }
    EXPECT_GT(fewer, 200U);
}

TEST(PlanRun, KeyFilesLieBesideThePlan) {
    const tests::TempFolder folder;
    folder.Write("keys/a.bin", "a key");
    const std::string path = folder.Write("plan.toml", "[[step]]\nrun = \"key send hdcp1 keys/a.bin\"\n");
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(path, {}, problems);
    ASSERT_TRUE(problems.empty());
    SimulatedReceiver set;
    Link link(set);
    EXPECT_EQ(ExecutePlan(plan, link, {}, {}).status, Exit::Success);
    EXPECT_EQ(set.installed[0x1281], "a key");
}

}  // namespace
}  // namespace zelline
