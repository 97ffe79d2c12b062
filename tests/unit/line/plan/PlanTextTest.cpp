#include <gtest/gtest.h>

#include <cstdlib>

#include "plan/PlanText.h"
#include "wire/Error.h"

namespace zelline {
namespace {

TEST(PlanText, WordsKeepQuotedBlanks) {
    EXPECT_EQ(SplitWords("sn write 'A B'\"C\"  x "), (Words{"sn", "write", "A BC", "x"}));
    EXPECT_EQ(SplitWords("sn write ''"), (Words{"sn", "write", ""}));
    EXPECT_EQ(SplitWords("  "), Words{});
    EXPECT_THROW(SplitWords("sn write 'A"), Error);
}

TEST(PlanText, VariablesAreFilledIn) {
    ::setenv("ZELLINE_TEST_VALUE", "from outside", 1);
    const Variables variables = {{"a", "1"}, {"b", ""}};
    EXPECT_EQ(Expand("x${a}y${b}z$", variables), "x1yz$");
    EXPECT_EQ(Expand("${env.ZELLINE_TEST_VALUE}", variables), "from outside");
    EXPECT_EQ(Expand("${env.ZELLINE_TEST_NOTHING:-else}", variables), "else");
    EXPECT_EQ(Expand("${c:-}", variables), "");
    EXPECT_THROW(Expand("${c}", variables), Error);
    EXPECT_THROW(Expand("${a", variables), Error);
    EXPECT_THROW(Expand("${c:-${a}}", variables), Error);
}

TEST(PlanText, ConditionsHold) {
    const Variables variables = {{"a", "1"}, {"no", "no"}, {"empty", ""}};
    for (const char* text : {"${a} == 1", "${a} != 2", "${a}", "'${a}' == \"1\"", "${empty} == ''"}) {
        EXPECT_TRUE(Holds(text, variables)) << text;
        EXPECT_NO_THROW(CheckCondition(text)) << text;
    }
    for (const char* text : {"${a} == 2", "${a} != 1", "${no}", "${empty}", "0", "false"}) {
        EXPECT_FALSE(Holds(text, variables)) << text;
        EXPECT_NO_THROW(CheckCondition(text)) << text;
    }
}

TEST(PlanText, WhatIsMeantToBeMoreThanAConditionIsRefused) {
    for (const char* text : {"${a} = 1", "${a} > 1", "not ${a}", "${a} ${b}", "!${a}", "${a} == 1 && ${b} == 2",
                             "${a} == 1 || ${b}", "${a} == ${b} == 1", "${a} === 1", "${a} && ${b}"}) {
        EXPECT_THROW(CheckCondition(text), Error) << text;
    }
    for (const char* text : {"${a:-x y}", "${a}${b}", "", "'${a}' == 'not run'", "${a} == k=v", "${a} != A&B"}) {
        EXPECT_NO_THROW(CheckCondition(text)) << text;
    }
}

}  // namespace
}  // namespace zelline
