#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Plan.h"
#include "SimulatedReceiver.h"
#include "TempFolder.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Mistakes of a plan as "line: words".
std::vector<std::string> Mistakes(const std::string& text, const Variables& given = {}) {
    const TempFolder folder;
    std::vector<PlanProblem> problems;
    LoadPlan(folder.Put("plan.toml", text), given, problems);
    std::vector<std::string> lines;
    for (const PlanProblem& problem : problems) {
        lines.push_back(std::to_string(problem.line) + ": " + problem.words);
    }
    return lines;
}

struct Ran {
    PlanResult result;
    std::vector<std::string> states;
};

Ran RunText(const std::string& text, SimulatedReceiver& set, const Variables& given = {}) {
    const TempFolder folder;
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Put("plan.toml", text), given, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.line << ": " << problem.words;
    }
    Link link(set);
    Ran ran;
    ran.result =
        ExecutePlan(plan, link, {}, [&](const StepResult& step) { ran.states.push_back(StateWord(step.state)); });
    return ran;
}

TEST(PlanFile, MistakesAreToldWithTheirLines) {
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"volume 101\"\n"), ElementsAre(HasSubstr("2: '101' is no volume")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"dance\"\n"), ElementsAre(HasSubstr("2: 'dance' is no verb")));
    EXPECT_THAT(Mistakes("[[step]]\nname = \"x\"\n"), ElementsAre(HasSubstr("1: the step has no 'run'")));
    EXPECT_THAT(Mistakes("name = \"x\"\n"), ElementsAre(HasSubstr("0: the plan has no steps")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\n\nexpekt = 1\n"),
                ElementsAre(HasSubstr("4: 'expekt' is unknown")));
    EXPECT_THAT(Mistakes("stepp = 1\n[[step]]\nrun = \"version\"\n"),
                ElementsAre(HasSubstr("1: 'stepp' is unknown")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\nexpect = { matches = \"(\" }\n"),
                ElementsAre(HasSubstr("3: 'matches' is no regular expression")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\nexpect = { status = \"good\" }\n"),
                ElementsAre(HasSubstr("3: 'status' must be")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\non-failure = \"run\"\n"),
                ElementsAre(HasSubstr("3: 'on-failure'")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\ntimeout = \"2 s\"\n"),
                ElementsAre(HasSubstr("3: 'timeout' must be a whole number")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"version\"\ntimeout = 0\n"),
                ElementsAre(HasSubstr("3: 'timeout' must be from 1")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"sn write ${sn}\"\n"),
                ElementsAre(HasSubstr("2: the variable 'sn' is not set")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"sn write ${sn\"\n"), ElementsAre(HasSubstr("2: the brace")));
    EXPECT_THAT(Mistakes("[[step]]\nrun = \"key send hdcp1 nowhere.bin\"\n"),
                ElementsAre(HasSubstr("nowhere.bin cannot be read")));
    EXPECT_THAT(Mistakes("[step]\nrun = \"version\"\n"),
                testing::Contains(HasSubstr("1: 'step' must be written as [[step]]")));
    EXPECT_THAT(Mistakes("[[step]]\nid = \"a\"\nrun = \"version\"\n[[step]]\nid = \"a\"\nrun = \"uptime\"\n"),
                ElementsAre(HasSubstr("6: the id 'a' is taken by the step in line 3")));
    EXPECT_THAT(Mistakes("inherit = \"plan.toml\"\n[[step]]\nrun = \"version\"\n"), ElementsAre(HasSubstr("1: ")));
    const auto syntax = Mistakes("[[step]]\nrun = \"version\n");
    ASSERT_EQ(syntax.size(), 1U);
    EXPECT_EQ(syntax[0].substr(0, 2), "2:");
}

TEST(PlanFile, AllMistakesAreToldAtOnce) {
    EXPECT_EQ(Mistakes("[[step]]\nrun = \"volume 101\"\n[[step]]\nrun = \"dance\"\nwat = 1\n").size(), 3U);
}

TEST(PlanFile, VariablesOfTheUserOutrankThePlans) {
    EXPECT_THAT(Mistakes("[vars]\nn = 20\n[[step]]\nrun = \"volume ${n}\"\n"), ElementsAre());
    EXPECT_THAT(Mistakes("[vars]\nn = 20\n[[step]]\nrun = \"volume ${n}\"\n", {{"n", "200"}}),
                ElementsAre(HasSubstr("'200'")));
}

TEST(PlanFile, InheritedStepsGiveWayByIdAndIncludedOnesStandInPlace) {
    const TempFolder folder;
    folder.Put("base.toml",
               "name = \"Base\"\n[vars]\nlevel = 10\n"
               "[[step]]\nid = \"first\"\nrun = \"connect\"\n[[step]]\nid = \"loud\"\nrun = \"volume ${level}\"\n"
               "[[teardown]]\nrun = \"led green on\"\n");
    folder.Put("parts/led.toml", "[[step]]\nrun = \"led red on\"\n");
    const std::string path =
        folder.Put("plan.toml",
                   "inherit = \"base.toml\"\n[vars]\nlevel = 30\n"
                   "[[step]]\ninclude = \"parts/led.toml\"\n"
                   "[[step]]\nid = \"loud\"\nrun = \"volume 50\"\n[[step]]\nrun = \"version\"\n");
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(path, {}, problems);
    EXPECT_TRUE(problems.empty());
    std::vector<std::string> verbs;
    for (const Step& step : plan.steps) {
        verbs.push_back(StepAction(step, plan.variables).verb);
    }
    EXPECT_THAT(verbs, ElementsAre("connect", "volume 50", "led red on", "version", "led green on"));
    EXPECT_TRUE(plan.steps.back().teardown);
    EXPECT_EQ(plan.variables.at("level"), "30");
    EXPECT_EQ(plan.name, "Base");
}

TEST(PlanFile, TwoPlansThatIncludeEachOtherAreAMistake) {
    const TempFolder folder;
    folder.Put("a.toml", "[[step]]\ninclude = \"b.toml\"\n");
    folder.Put("b.toml", "[[step]]\ninclude = \"a.toml\"\n");
    std::vector<PlanProblem> problems;
    LoadPlan(folder.Path("a.toml"), {}, problems);
    ASSERT_FALSE(problems.empty());
    EXPECT_THAT(problems[0].words, HasSubstr("leads back to itself"));
}

TEST(PlanVariables, AreFilledIn) {
    ::setenv("ZELLINE_TEST_VALUE", "from outside", 1);
    const Variables variables = {{"a", "1"}, {"b", ""}};
    EXPECT_EQ(Expand("x${a}y${b}z$", variables), "x1yz$");
    EXPECT_EQ(Expand("${env.ZELLINE_TEST_VALUE}", variables), "from outside");
    EXPECT_EQ(Expand("${env.ZELLINE_TEST_NOTHING:-else}", variables), "else");
    EXPECT_EQ(Expand("${c:-}", variables), "");
    EXPECT_THROW(Expand("${c}", variables), Error);
    EXPECT_THROW(Expand("${a", variables), Error);
}

TEST(PlanVariables, ConditionsHold) {
    const Variables variables = {{"a", "1"}, {"no", "no"}, {"empty", ""}};
    for (const char* text : {"${a} == 1", "${a} != 2", "${a}", "'${a}' == \"1\"", "${empty} == ''"}) {
        EXPECT_TRUE(Holds(text, variables)) << text;
    }
    for (const char* text : {"${a} == 2", "${a} != 1", "${no}", "${empty}", "0", "false"}) {
        EXPECT_FALSE(Holds(text, variables)) << text;
    }
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

TEST(PlanRun, KeyFilesLieBesideThePlan) {
    const TempFolder folder;
    folder.Put("keys/a.bin", "a key");
    const std::string path = folder.Put("plan.toml", "[[step]]\nrun = \"key send hdcp1 keys/a.bin\"\n");
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(path, {}, problems);
    ASSERT_TRUE(problems.empty());
    SimulatedReceiver set;
    Link link(set);
    EXPECT_EQ(ExecutePlan(plan, link, {}, [](const StepResult&) {}).status, Exit::Success);
    EXPECT_EQ(set.installed[0x1281], "a key");
}

}  // namespace
}  // namespace zelline
