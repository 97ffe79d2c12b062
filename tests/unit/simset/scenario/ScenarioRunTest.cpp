#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "simset/board/scenario/ScenarioRun.h"

namespace simset {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A trace without a file that others can read.
class ScenarioAtWork : public ::testing::Test {
  protected:
    ScenarioAtWork() : m_log("/dev/null") {}

    void Start(std::vector<ScenarioTrigger> triggers, std::uint64_t seed = 1) {
        Scenario scenario;
        scenario.file = "f.toml";
        scenario.seed = seed;
        scenario.triggers = std::move(triggers);
        m_run.emplace(scenario, m_log,
                      ScenarioRun::Calls{[this](const Words& words) { Act(words); },
                                         [this](const nlohmann::json& row) { m_log.Append(0, row); }});
    }
    static ScenarioTrigger On(const std::string& match, const Words& words) {
        ScenarioTrigger trigger;
        trigger.line = 3;
        trigger.text = match;
        trigger.match.emplace(match);
        trigger.verbs = {words};
        return trigger;
    }
    // Appends a row, and waits as a call does before it is answered.
    void Row(const std::string& call) {
        const std::uint64_t seq = m_log.Append(0, {{"who", "model"}, {"call", call}});
        m_run->AwaitTaken(seq);
    }
    std::vector<std::string> Done() {
        const std::lock_guard lock(m_mutex);
        return m_done;
    }
    std::vector<std::string> Finish() {
        m_run->Finish();
        return m_run->Failures();
    }

    TraceLog m_log;
    std::optional<ScenarioRun> m_run;
    std::promise<void> m_gate;  // "press" waits for it

  private:
    void Act(const Words& words) {
        if (words[0] == "refuse") {
            throw ControlError("no");
        }
        if (words[0] == "press") {
            m_gate.get_future().wait();
        }
        const std::lock_guard lock(m_mutex);
        m_done.push_back(fmt::format("{}", fmt::join(words, " ")));
    }

    std::mutex m_mutex;
    std::vector<std::string> m_done;
};

TEST_F(ScenarioAtWork, ACallIsNotAnsweredBeforeWhatItSetsOffIsDone) {
    Start({On("call=set", {"a"})});
    Row("get");
    EXPECT_THAT(Done(), IsEmpty());
    Row("set");
    EXPECT_THAT(Done(), ElementsAre("a"));
    Row("set");
    EXPECT_THAT(Done(), ElementsAre("a")) << "once, unless it says otherwise";
    EXPECT_THAT(Finish(), IsEmpty());
}

TEST_F(ScenarioAtWork, CountsRowsAndTimes) {
    ScenarioTrigger trigger = On("call=set", {"a"});
    trigger.nth = 2;
    trigger.times = 2;
    Start({trigger});
    for (const std::size_t done : {0, 1, 2, 2}) {
        Row("set");
        EXPECT_EQ(Done().size(), done);
    }
    EXPECT_THAT(Finish(), IsEmpty());
}

TEST_F(ScenarioAtWork, DrawsTheSameWithTheSameSeed) {
    const auto drawn = [this](std::uint64_t seed) {
        ScenarioTrigger trigger = On("call=set", {"a"});
        trigger.times = 0;
        trigger.chance = 0.5;
        Start({trigger}, seed);
        std::string pattern;
        for (int i = 0; i < 64; ++i) {
            const std::size_t before = Done().size();
            Row("set");
            pattern += Done().size() > before ? 'x' : '.';
        }
        Finish();
        return pattern;
    };
    const std::string first = drawn(7);
    EXPECT_EQ(drawn(7), first);
    EXPECT_NE(drawn(8), first);
    EXPECT_NE(first.find('x'), std::string::npos);
    EXPECT_NE(first.find('.'), std::string::npos);
}

TEST_F(ScenarioAtWork, EachTriggerDrawsForItself) {
    ScenarioTrigger trigger = On("call=set", {"a"});
    trigger.times = 0;
    trigger.chance = 0.5;
    ScenarioTrigger other = trigger;
    other.verbs = {{"b"}};
    Start({trigger, other});
    for (int i = 0; i < 64; ++i) {
        Row("set");
    }
    const std::vector<std::string> done = Done();
    // With the same draws each "a" would have its "b" behind it.
    std::size_t pairs = 0;
    for (std::size_t i = 1; i < done.size(); ++i) {
        pairs += done[i - 1] == "a" && done[i] == "b" ? 1 : 0;
    }
    EXPECT_LT(pairs, static_cast<std::size_t>(std::count(done.begin(), done.end(), "a")));
    Finish();
}

TEST_F(ScenarioAtWork, ATriggerTellsTheRowThatSetItOff) {
    Start({On("call=set", {"a"})});
    Row("get");
    const std::uint64_t row = m_log.Last() + 1;
    Row("set");
    const auto told = nlohmann::json::parse(m_log.Await(row, std::chrono::milliseconds(0)).at(0).line);
    EXPECT_EQ(told.value("call", ""), "trigger");
    EXPECT_EQ(told.value("row", 0U), row);
    EXPECT_EQ(told["do"], nlohmann::json::array({"a"}));
    Finish();
}

TEST_F(ScenarioAtWork, ATimeSetsItOff) {
    ScenarioTrigger trigger;
    trigger.after = std::chrono::milliseconds(20);
    trigger.verbs = {{"a"}};
    const auto begin = std::chrono::steady_clock::now();
    Start({trigger});
    const std::uint64_t since = m_log.Last();
    EXPECT_FALSE(m_log.Await(since, std::chrono::seconds(20)).empty());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_THAT(Finish(), IsEmpty());
    EXPECT_THAT(Done(), ElementsAre("a"));
}

TEST_F(ScenarioAtWork, ADelayedVerbIsNotWaitedFor) {
    ScenarioTrigger trigger = On("call=set", {"a"});
    trigger.delay = std::chrono::hours(10);
    Start({trigger});
    Row("set");
    EXPECT_THAT(Done(), IsEmpty());
    EXPECT_THAT(Finish(), ElementsAre("f.toml:3: set off, but its time had not come: call=set"));
}

TEST_F(ScenarioAtWork, AVerbThatWaitsForTheApplicationDoesNotKeepIt) {
    Start({On("call=set", {"press", "70"})});
    Row("set");
    Row("get");
    Row("get");
    m_gate.set_value();
    EXPECT_THAT(Finish(), IsEmpty());
    EXPECT_THAT(Done(), ElementsAre("press 70"));
}

TEST_F(ScenarioAtWork, ASetThatGoesOffIsNotWaitedFor) {
    Start({});
    m_run->Hold(false);
    m_run->AwaitTaken(m_log.Last() + 100);
    Finish();
}

TEST_F(ScenarioAtWork, WhatNeverCameIsAFailure) {
    ScenarioTrigger late = On("call=set", {"a"});
    late.nth = 3;
    ScenarioTrigger optional = On("call=never", {"b"});
    optional.optional = true;
    ScenarioTrigger time;
    time.line = 9;
    time.text = "after 100000 ms";
    time.after = std::chrono::seconds(100);
    Start({late, optional, time});
    Row("set");
    EXPECT_THAT(Finish(), ElementsAre("f.toml:3: never came: call=set (rows that matched: 1)",
                                      "f.toml:9: never came: after 100000 ms"));
}

TEST_F(ScenarioAtWork, WhatIsRefusedIsAFailureAndInTheTrace) {
    Start({On("call=set", {"refuse", "it"})});
    Row("set");
    EXPECT_THAT(Finish(), ElementsAre("f.toml:3: refuse it: no"));
    const RowMatch told("who=scenario call=failed error=no");
    bool found = false;
    for (const TraceRow& row : m_log.Await(0, std::chrono::milliseconds(0))) {
        found = found || told.Holds(row);
    }
    EXPECT_TRUE(found);
}

TEST_F(ScenarioAtWork, ItsOwnRowsSetNothingOff) {
    ScenarioTrigger trigger = On("*", {"a"});
    trigger.match.emplace("call=*");
    trigger.times = 0;
    Start({trigger});
    Row("set");
    Finish();
    EXPECT_THAT(Done(), ElementsAre("a"));
}

}  // namespace
}  // namespace simset
