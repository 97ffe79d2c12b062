#include <gtest/gtest.h>

#include <algorithm>

#include "simset/core/Fixture.h"

namespace simset::test {
namespace {

using nlohmann::json;

class ViolationsTest : public SimsetTest {};

TEST_F(ViolationsTest, NothingIsPrintedWhileNoRuleIsBroken) {
    EXPECT_EQ(Ctl({"violations"}), "");
    EXPECT_EQ(TheMiddleware().ViolationCount(), 0U);
}

TEST_F(ViolationsTest, ABrokenRuleIsARowOfTheTraceAndALineOfItsOwn) {
    TheMiddleware().Violation("line-speed", "write", "115200 baud", {{"baud", 300}});
    EXPECT_EQ(Ctl({"violations"}), R"({"rule":"line-speed","call":"write","expected":"115200 baud","baud":300})"
                                   "\n");
    const auto rows = Trace("violation");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]["rule"], "line-speed");
    EXPECT_EQ(rows[0]["call"], "write");
    EXPECT_EQ(rows[0]["expected"], "115200 baud");
    EXPECT_EQ(rows[0]["baud"], 300);
}

TEST_F(ViolationsTest, ClearedTraceAndPowerOnKeepThem) {
    TheMiddleware().Violation("line-speed", "write", "115200 baud");
    Ctl({"trace", "--clear"});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    EXPECT_EQ(TheMiddleware().ViolationCount(), 1U);
}

TEST_F(ViolationsTest, AllAreCountedAndTheFirstAreKept) {
    Violations violations;
    for (std::size_t i = 0; i < Violations::kMaxRows + 5; ++i) {
        violations.Add(Violations::Row("some-rule", "call", "nothing", {{"number", i}}));
    }
    EXPECT_EQ(violations.Count(), Violations::kMaxRows + 5);
    const std::string lines = violations.Lines();
    EXPECT_EQ(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')), Violations::kMaxRows);
}

}  // namespace
}  // namespace simset::test
