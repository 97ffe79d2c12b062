#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "plan/PlanFile.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Mistakes of a plan as "line: words".
std::vector<std::string> MistakesIn(const std::string& text, const Variables& given = {}) {
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
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"volume 101\"\n"), ElementsAre(HasSubstr("2: '101' is no volume")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"dance\"\n"), ElementsAre(HasSubstr("2: 'dance' is no verb")));
    EXPECT_THAT(MistakesIn("[[step]]\nname = \"x\"\n"), ElementsAre(HasSubstr("1: the step has no 'run'")));
    EXPECT_THAT(MistakesIn("name = \"x\"\n"), ElementsAre(HasSubstr("0: the plan has no steps")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\n\nexpekt = 1\n"),
                ElementsAre(HasSubstr("4: 'expekt' is unknown")));
    EXPECT_THAT(MistakesIn("stepp = 1\n[[step]]\nrun = \"version\"\n"),
                ElementsAre(HasSubstr("1: 'stepp' is unknown")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\nexpect = { matches = \"(\" }\n"),
                ElementsAre(HasSubstr("3: 'matches' is no regular expression")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\nexpect = { status = \"good\" }\n"),
                ElementsAre(HasSubstr("3: 'status' must be")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\non-failure = \"run\"\n"),
                ElementsAre(HasSubstr("3: 'on-failure'")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\ntimeout = \"2 s\"\n"),
                ElementsAre(HasSubstr("3: 'timeout' must be a whole number")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\ntimeout = 0\n"),
                ElementsAre(HasSubstr("3: 'timeout' must be a whole number of milliseconds from 1")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${sn}\"\n"),
                ElementsAre(HasSubstr("2: the variable 'sn' is not set")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${sn\"\n"), ElementsAre(HasSubstr("2: the brace")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"key send hdcp1 nowhere.bin\"\n"),
                ElementsAre(HasSubstr("nowhere.bin cannot be read")));
    EXPECT_THAT(MistakesIn("[step]\nrun = \"version\"\n"),
                testing::Contains(HasSubstr("1: 'step' must be written as [[step]]")));
    EXPECT_THAT(MistakesIn("[[step]]\nid = \"a\"\nrun = \"version\"\n[[step]]\nid = \"a\"\nrun = \"uptime\"\n"),
                ElementsAre(HasSubstr("6: the id 'a' is taken by the step in line 3")));
    EXPECT_THAT(MistakesIn("inherit = \"plan.toml\"\n[[step]]\nrun = \"version\"\n"),
                ElementsAre(HasSubstr("1: ")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\nexpect = {}\n"),
                ElementsAre(HasSubstr("3: 'expect' is empty")));
    EXPECT_THAT(MistakesIn("[vars]\na = [1]\n[[step]]\nrun = \"version\"\n"),
                ElementsAre(HasSubstr("2: 'a' must be a text, a number, true or false")));
    EXPECT_THAT(MistakesIn("name = \"x\n"), ElementsAre(HasSubstr("is a quote not closed?")));
    const auto syntax = MistakesIn("[[step]]\nrun = \"version\n");
    ASSERT_EQ(syntax.size(), 1U);
    EXPECT_EQ(syntax[0].substr(0, 2), "2:");
}

TEST(PlanFile, AllMistakesAreToldAtOnce) {
    EXPECT_EQ(MistakesIn("[[step]]\nrun = \"volume 101\"\n[[step]]\nrun = \"dance\"\nwat = 1\n").size(), 3U);
}

TEST(PlanFile, NothingIsFilledInWhereItWouldStayAsItIs) {
    EXPECT_THAT(MistakesIn("[vars]\nsn = \"${unit}\"\n[[step]]\nrun = \"sn write ${sn}\"\n"),
                ElementsAre(HasSubstr("2: nothing is filled in in the value of a variable: write ${unit}")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${sn}\"\n", {{"sn", "a${b}"}}),
                ElementsAre(HasSubstr("0: --set sn: nothing is filled in")));
    EXPECT_THAT(MistakesIn("name = \"Of ${unit}\"\n[[step]]\nrun = \"version\"\n"),
                ElementsAre(HasSubstr("1: a plan has one name for all units")));
}

TEST(PlanFile, AValueThatNobodyGivesIsToldWithItsRemedy) {
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${unit}\"\n"),
                ElementsAre(HasSubstr("give it with --unit SERIAL")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${env.ZELLINE_TEST_NOTHING}\"\n"),
                ElementsAre(HasSubstr("the environment has no ZELLINE_TEST_NOTHING")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"mac write ${stock.mac}\"\n"),
                ElementsAre(HasSubstr("the stock has no type 'mac'")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"version\"\nrun-if = \"${step.none} == passed\"\n"),
                ElementsAre(HasSubstr("no step has the id 'none'")));
    EXPECT_THAT(MistakesIn("[[step]]\nrun = \"sn write ${v}\"\n[[step]]\nrun = \"version\"\nsave = \"v\"\n"),
                ElementsAre(HasSubstr("the step 'version' in line 4 does not come before this one")));
}

TEST(PlanFile, VariablesOfTheUserOutrankThePlans) {
    EXPECT_THAT(MistakesIn("[vars]\nn = 20\n[[step]]\nrun = \"volume ${n}\"\n"), ElementsAre());
    EXPECT_THAT(MistakesIn("[vars]\nn = 20\n[[step]]\nrun = \"volume ${n}\"\n", {{"n", "200"}}),
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

// The verbs of a plan's steps, variables filled in.
std::vector<std::string> VerbsOf(const Plan& plan) {
    std::vector<std::string> verbs;
    for (const Step& step : plan.steps) {
        verbs.push_back(StepAction(step, VariablesOf(step, plan.variables, {})).verb);
    }
    return verbs;
}

// The plan in `folder`, which must be in order.
Plan Loaded(const tests::TempFolder& folder, const Variables& given = {}) {
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(folder.At("plan.toml"), given, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.file << ':' << problem.line << ": " << problem.words;
    }
    return plan;
}

// The words of the mistakes of the plan in `folder`.
std::vector<std::string> MistakesIn(const tests::TempFolder& folder, const Variables& given = {}) {
    std::vector<PlanProblem> problems;
    LoadPlan(folder.At("plan.toml"), given, problems);
    std::vector<std::string> words;
    for (const PlanProblem& problem : problems) {
        words.push_back(problem.words);
    }
    return words;
}

TEST(PlanFile, AnIncludedFileGivesItsStepsAndNothingElse) {
    const tests::TempFolder folder;
    folder.Write("part.toml",
                 "name = \"Part\"\ndescription = \"of a whole\"\n[vars]\nlevel = 99\n"
                 "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"volume ${level}\"\n");
    folder.Write("plan.toml",
                 "name = \"Whole\"\n[vars]\nlevel = 10\n[[step]]\ninclude = \"part.toml\"\n"
                 "[[step]]\nrun = \"volume ${level}\"\n");
    const Plan plan = Loaded(folder);
    EXPECT_EQ(plan.name, "Whole");
    EXPECT_EQ(plan.description, "");
    EXPECT_THAT(VerbsOf(plan), ElementsAre("volume 99", "volume 10"));
    EXPECT_FALSE(plan.steps[0].stopOnFailure);
    EXPECT_TRUE(plan.steps[1].stopOnFailure);
    EXPECT_THAT(VerbsOf(Loaded(folder, {{"level", "5"}})), ElementsAre("volume 5", "volume 5"));
}

TEST(PlanFile, WhatAnIncludedFileAloneKnowsIsUnknownOutside) {
    const tests::TempFolder folder;
    folder.Write("part.toml", "[vars]\nlevel = 99\n[[step]]\nrun = \"volume ${level}\"\n");
    folder.Write("plan.toml", "[[step]]\ninclude = \"part.toml\"\n[[step]]\nrun = \"volume ${level}\"\n");
    EXPECT_THAT(MistakesIn(folder), ElementsAre(HasSubstr("'level' is not set")));
}

TEST(PlanFile, ATeardownIncludesStepsOfTheTeardown) {
    const tests::TempFolder folder;
    folder.Write("lamps.toml", "[[step]]\nrun = \"led green on\"\n[[teardown]]\nrun = \"backlight on\"\n");
    folder.Write("plan.toml", "[[teardown]]\ninclude = \"lamps.toml\"\n[[step]]\nrun = \"version\"\n");
    const Plan plan = Loaded(folder);
    EXPECT_THAT(VerbsOf(plan), ElementsAre("version", "led green on", "backlight on"));
    EXPECT_TRUE(plan.steps[1].teardown);
    EXPECT_TRUE(plan.steps[2].teardown);
}

TEST(PlanFile, IdsThatClashAreToldWithBothLines) {
    const tests::TempFolder folder;
    folder.Write("part.toml", "\n[[step]]\nid = \"x\"\nrun = \"connect\"\n");
    folder.Write("plan.toml", "[[step]]\nid = \"x\"\nrun = \"version\"\n[[step]]\ninclude = \"part.toml\"\n");
    std::vector<PlanProblem> problems;
    LoadPlan(folder.At("plan.toml"), {}, problems);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].file, folder.At("part.toml"));
    EXPECT_EQ(problems[0].line, 4U);
    EXPECT_THAT(problems[0].words,
                HasSubstr("'x' is taken by the step in " + folder.At("plan.toml").string() + ":3"));
    EXPECT_THAT(problems[0].words, HasSubstr("plan.toml:5 a prefix"));
    EXPECT_THAT(MistakesIn("[[step]]\nid = \"x\"\nrun = \"version\"\n[[step]]\nid = \"x\"\nrun = \"cam\"\n"),
                ElementsAre("6: the id 'x' is taken by the step in line 3"));
}

TEST(PlanFile, AFileIsIncludedTwiceUnderTwoPrefixes) {
    const tests::TempFolder folder;
    folder.Write("part.toml",
                 "[[step]]\nid = \"read\"\nrun = \"version\"\nsave = \"seen\"\n"
                 "[[step]]\nname = \"write ${seen}\"\nrun = \"sn write ${seen}\"\n"
                 "run-if = \"${step.read} == passed\"\n");
    folder.Write("plan.toml",
                 "[[step]]\ninclude = \"part.toml\"\nprefix = \"a\"\n"
                 "[[step]]\ninclude = \"part.toml\"\nprefix = \"b\"\n"
                 "[[step]]\nrun = \"result ${a.seen}${b.seen}\"\nrun-if = \"${step.b.read} == passed\"\n");
    const Plan plan = Loaded(folder);
    ASSERT_EQ(plan.steps.size(), 5U);
    EXPECT_EQ(plan.steps[2].id, "b.read");
    EXPECT_EQ(plan.steps[3].runIf, "${step.b.read} == passed");
    EXPECT_EQ(plan.steps[3].words, (Words{"sn", "write", "${b.seen}"}));
    EXPECT_EQ(plan.steps[3].name, "b: write ${b.seen}");
}

TEST(PlanFile, AGivenVariableThatThePlanDoesNotKnowIsAMistake) {
    const std::string plan =
        "[vars]\nlevel = 10\n[[step]]\nrun = \"volume ${level}\"\n[[step]]\nrun = \"sn write ${sn:-1}\"\n";
    EXPECT_THAT(MistakesIn(plan, {{"level", "1"}, {"sn", "A"}}), ElementsAre());
    EXPECT_THAT(MistakesIn(plan, {{"nr", "1"}}), ElementsAre("0: --set nr: the plan knows no such variable"));
    EXPECT_THAT(MistakesIn(plan, {{"SN", "A"}}),
                ElementsAre(HasSubstr("SN: the plan knows no such variable; there is 'sn'")));
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
