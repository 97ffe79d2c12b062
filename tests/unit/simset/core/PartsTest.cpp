#include <algorithm>
#include <future>
#include <iterator>

#include "simset/core/Fixture.h"
#include "simset/core/catalogue/Catalogue.h"
#include "simset/core/catalogue/KeyRules.h"
#include "simset/core/middleware/Scheduler.h"
#include "simset/core/state/Behaviours.h"
#include "simset/core/state/Faults.h"
#include "simset/core/state/State.h"
#include "simset/wire/Wire.h"

namespace simset::test {
namespace {

TEST(Faults, EndAfterTheirTimes) {
    const tests::TempFolder dir;
    State state(dir.Path() / "state.db");
    Faults faults(state);
    faults.Arrange("model", "a.key", "connect", 7, 2);
    EXPECT_EQ(faults.Take("model", "other.key", "connect"), 0);
    EXPECT_EQ(faults.Take("model", "a.key", "operate"), 0);
    EXPECT_EQ(faults.Take("flash", "a.key", "connect"), 0);
    EXPECT_EQ(faults.Take("model", "a.key", "connect"), 7);
    // The rest is known to the next run as well.
    Faults next(state);
    EXPECT_EQ(next.Take("model", "a.key", "connect"), 7);
    EXPECT_EQ(next.Take("model", "a.key", "connect"), 0);
    EXPECT_EQ(Faults(state).Take("model", "a.key", "connect"), 0);
}

TEST(Faults, OfAnyNameLastUntilTheyAreEnded) {
    const tests::TempFolder dir;
    State state(dir.Path() / "state.db");
    Faults faults(state);
    faults.Arrange("model", "*", "root", -1, 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(faults.TakeAny("model", "root"), -1);
        EXPECT_EQ(faults.Take("model", "whatever", "root"), -1);
    }
    faults.Arrange("model", "*", "root", 0, 0);
    EXPECT_EQ(faults.TakeAny("model", "root"), 0);
    EXPECT_EQ(faults.List("model"), nlohmann::json::array());
    // A step without a name takes the faults of every name.
    faults.Arrange("model", "one.key", "proxy", 3, 1);
    EXPECT_EQ(faults.TakeAny("model", "proxy"), 3);
    EXPECT_EQ(faults.TakeAny("model", "proxy"), 0);
}

TEST(Behaviours, TakeOnOffAndMilliseconds) {
    const tests::TempFolder dir;
    State state(dir.Path() / "state.db");
    Behaviours behaviours(state);
    ASSERT_TRUE(behaviours.Delay("preset"));
    const auto natural = *behaviours.Delay("preset");
    EXPECT_TRUE(behaviours.Change("preset", "off"));
    EXPECT_FALSE(behaviours.Delay("preset"));
    EXPECT_TRUE(behaviours.Change("preset", "0"));
    EXPECT_EQ(behaviours.Delay("preset"), std::chrono::milliseconds(0));
    for (const char* wrong : {"-1", "1x", "", "86400001", "ON"}) {
        EXPECT_FALSE(behaviours.Change("preset", wrong)) << wrong;
    }
    EXPECT_EQ(Behaviours(state).Setting("preset"), "0");
    EXPECT_TRUE(behaviours.Change("preset", "on"));
    EXPECT_EQ(behaviours.Delay("preset"), natural);
    EXPECT_THROW(behaviours.Delay("weather"), std::out_of_range);
}

TEST(Catalogue, HoldsOnlyValuesThatFit) {
    for (const auto& info : Catalogue()) {
        if (info.kind != Kind::Action) {
            EXPECT_TRUE(Fits(info.kind, InitialValue(info))) << info.key;
        }
        if (!info.found.empty()) {
            EXPECT_TRUE(Fits(info.kind, nlohmann::json::parse(info.found))) << info.key;
        }
        EXPECT_EQ(FindKey(info.key), &info) << "named twice: " << info.key;
    }
    EXPECT_FALSE(Fits(Kind::Integer, 2147483648LL));
    EXPECT_FALSE(Fits(Kind::Integer, 1.5));
    EXPECT_FALSE(Fits(Kind::Integers, nlohmann::json::array({1, "2"})));
    EXPECT_FALSE(Fits(Kind::Table, nlohmann::json::array({"row"})));
    EXPECT_FALSE(Fits(Kind::Action, 1));
}

TEST(KeyRules, CoverTheCatalogue) {
    EXPECT_EQ(KeyRules().size(), Catalogue().size());
    for (const auto& info : Catalogue()) {
        const KeyRule& rule = RuleOf(info);
        EXPECT_EQ(rule.access == Access::Invoked, info.kind == Kind::Action) << info.key;
        EXPECT_EQ(rule.access == Access::Invoked, !rule.forms.empty()) << info.key;
        if (rule.access == Access::Writable && info.kind == Kind::Integer) {
            EXPECT_FALSE(JudgeWrite(info, InitialValue(info), 0)) << info.key;
        }
    }
}

TEST(TimerThread, RunsTasksInTheOrderOfTheirTimes) {
    const auto timer = MakeTimerThread();
    std::promise<std::string> done;
    std::string order;  // of the timer's thread alone until the promise is kept
    timer->Post(std::chrono::milliseconds(4), [&] {
        order += 'c';
        done.set_value(order);
    });
    timer->Post(std::chrono::milliseconds(1), [&] { order += 'a'; });
    timer->Post(std::chrono::milliseconds(2), [&] { order += 'b'; });
    auto result = done.get_future();
    ASSERT_EQ(result.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(result.get(), "abc");
    timer->Post(std::chrono::hours(1), [] { ADD_FAILURE() << "a stopped timer ran a task"; });
    timer->Stop();
    timer->Post(std::chrono::milliseconds(0), [] { ADD_FAILURE() << "a stopped timer ran a task"; });
}

}  // namespace
}  // namespace simset::test
