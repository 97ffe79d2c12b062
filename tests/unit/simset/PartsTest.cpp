#include <algorithm>
#include <future>
#include <iterator>

#include "Fixture.h"
#include "simset/core/Behaviours.h"
#include "simset/core/Catalogue.h"
#include "simset/core/Faults.h"
#include "simset/core/Scheduler.h"
#include "simset/core/State.h"
#include "simset/core/TraceLog.h"
#include "simset/wire/Wire.h"

namespace simset {
namespace test {
namespace {

TEST(Wire, BringsEveryByteBack) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    const nlohmann::json message{{"text", bytes}, {"list", {"plain", bytes}}, {"number", -5}};
    const std::string line = EncodeLine(message);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_EQ(DecodeLine(line), message);
    EXPECT_EQ(FromHex(ToHex(bytes)), bytes);
    EXPECT_EQ(FromHex("C3a9"), "\xc3\xa9");
    EXPECT_FALSE(FromHex("abc"));
    EXPECT_FALSE(FromHex("0g"));
}

TEST(Wire, RefusesWhatIsNoMessage) {
    EXPECT_FALSE(DecodeLine(""));
    EXPECT_FALSE(DecodeLine("{"));
    EXPECT_FALSE(DecodeLine(std::string(100000, '[')));
    EXPECT_FALSE(DecodeLine("{\"a\":1} {\"b\":2}"));
    EXPECT_TRUE(DecodeLine(R"({"text":"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[\"{{{{{{{{{{"})"));
}

TEST(Faults, EndAfterTheirTimes) {
    const TempDir dir;
    State state(dir.Path() / "state.db");
    Faults faults(state);
    faults.Set("model", "a.key", "connect", 7, 2);
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
    const TempDir dir;
    State state(dir.Path() / "state.db");
    Faults faults(state);
    faults.Set("model", "*", "root", -1, 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(faults.TakeAny("model", "root"), -1);
        EXPECT_EQ(faults.Take("model", "whatever", "root"), -1);
    }
    faults.Set("model", "*", "root", 0, 0);
    EXPECT_EQ(faults.TakeAny("model", "root"), 0);
    EXPECT_EQ(faults.List("model"), nlohmann::json::array());
    // A step without a name takes the faults of every name.
    faults.Set("model", "one.key", "proxy", 3, 1);
    EXPECT_EQ(faults.TakeAny("model", "proxy"), 3);
    EXPECT_EQ(faults.TakeAny("model", "proxy"), 0);
}

TEST(Behaviours, TakeOnOffAndMilliseconds) {
    const TempDir dir;
    State state(dir.Path() / "state.db");
    Behaviours behaviours(state);
    ASSERT_TRUE(behaviours.Delay("preset"));
    const auto natural = *behaviours.Delay("preset");
    EXPECT_TRUE(behaviours.Set("preset", "off"));
    EXPECT_FALSE(behaviours.Delay("preset"));
    EXPECT_TRUE(behaviours.Set("preset", "0"));
    EXPECT_EQ(behaviours.Delay("preset"), std::chrono::milliseconds(0));
    for (const char* wrong : {"-1", "1x", "", "86400001", "ON"}) {
        EXPECT_FALSE(behaviours.Set("preset", wrong)) << wrong;
    }
    EXPECT_EQ(Behaviours(state).Setting("preset"), "0");
    EXPECT_TRUE(behaviours.Set("preset", "on"));
    EXPECT_EQ(behaviours.Delay("preset"), natural);
    EXPECT_THROW(behaviours.Delay("weather"), std::out_of_range);
}

TEST(Catalogue, HoldsOnlyValuesThatFit) {
    for (const auto& info : Catalogue()) {
        if (info.kind != Kind::kAction) {
            EXPECT_TRUE(Fits(info.kind, InitialValue(info))) << info.key;
        }
        if (!info.found.empty()) {
            EXPECT_TRUE(Fits(info.kind, nlohmann::json::parse(info.found))) << info.key;
        }
        EXPECT_EQ(FindKey(info.key), &info) << "named twice: " << info.key;
    }
    EXPECT_FALSE(Fits(Kind::kInteger, 2147483648LL));
    EXPECT_FALSE(Fits(Kind::kInteger, 1.5));
    EXPECT_FALSE(Fits(Kind::kIntegers, nlohmann::json::array({1, "2"})));
    EXPECT_FALSE(Fits(Kind::kTable, nlohmann::json::array({"row"})));
    EXPECT_FALSE(Fits(Kind::kAction, 1));
}

TEST(TraceLog, DropsTheOldestAndSaysSo) {
    const TempDir dir;
    TraceLog log(dir.Path() / "trace.jsonl", 2);
    for (int i = 1; i <= 3; ++i) {
        log.Append(i * 10, {{"status", 0}, {"who", "flash"}, {"name", "n"}, {"call", "get"}});
    }
    EXPECT_EQ(log.Lines(),
              "{\"call\":\"dropped\",\"count\":1,\"who\":\"trace\"}\n"
              "{\"seq\":2,\"ms\":20,\"who\":\"flash\",\"call\":\"get\",\"name\":\"n\",\"status\":0}\n"
              "{\"seq\":3,\"ms\":30,\"who\":\"flash\",\"call\":\"get\",\"name\":\"n\",\"status\":0}\n");
    EXPECT_NE(log.TakeLines(), "");
    EXPECT_EQ(log.Lines(), "");
    std::ifstream file(dir.Path() / "trace.jsonl");
    EXPECT_EQ(std::count(std::istreambuf_iterator<char>(file), {}, '\n'), 3) << "the file keeps every row";
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
}  // namespace test
}  // namespace simset
