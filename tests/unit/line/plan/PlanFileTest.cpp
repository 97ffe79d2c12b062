#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "plan/PlanFile.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Mistakes of a plan as "line: words".
std::vector<std::string> Mistakes(const std::string& text, const Variables& given = {}) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    LoadPlan(folder.Write("plan.toml", text), given, problems);
    std::vector<std::string> lines;
    for (const PlanProblem& problem : problems) {
        lines.push_back(std::to_string(problem.line) + ": " + problem.words);
    }
    return lines;
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
    const tests::TempFolder folder;
    folder.Write(
        "base.toml",
        "name = \"Base\"\n[vars]\nlevel = 10\n"
        "[[step]]\nid = \"first\"\nrun = \"connect\"\n[[step]]\nid = \"loud\"\nrun = \"volume ${level}\"\n"
        "[[teardown]]\nrun = \"led green on\"\n");
    folder.Write("parts/led.toml", "[[step]]\nrun = \"led red on\"\n");
    const std::string path =
        folder.Write("plan.toml",
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
    const tests::TempFolder folder;
    folder.Write("a.toml", "[[step]]\ninclude = \"b.toml\"\n");
    folder.Write("b.toml", "[[step]]\ninclude = \"a.toml\"\n");
    std::vector<PlanProblem> problems;
    LoadPlan(folder.At("a.toml"), {}, problems);
    ASSERT_FALSE(problems.empty());
    EXPECT_THAT(problems[0].words, HasSubstr("leads back to itself"));
}

}  // namespace
}  // namespace zelline
