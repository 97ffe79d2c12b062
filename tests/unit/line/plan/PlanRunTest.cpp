#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "base/TempFolder.h"
#include "line/BorrowedLine.h"
#include "line/SimulatedReceiver.h"
#include "plan/PlanFile.h"
#include "plan/PlanRun.h"

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

Ran RunText(const std::string& text, Transport& set, const Variables& given = {}) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Write("plan.toml", text), given, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.line << ": " << problem.words;
    }
    Link link(set);
    States states;
    Ran ran;
    ran.result = ExecutePlan(plan, link, {}, {&states});
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
    for (const long when : {4000L, 9200L}) {
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
