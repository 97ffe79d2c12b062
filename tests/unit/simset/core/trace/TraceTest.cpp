#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "simset/base/Errors.h"
#include "simset/core/DiskFull.h"
#include "simset/core/Fixture.h"
#include "simset/core/middleware/TraceVerbs.h"
#include "simset/core/trace/RowMatch.h"
#include "simset/core/trace/TraceLog.h"

namespace simset::test {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAtOnce{0};

// Runs `wait` on a thread of its own, and returns once that thread sleeps.
template <typename Wait>
auto AsleepIn(Wait wait) {
    std::promise<pid_t> begun;
    auto thread = begun.get_future();
    auto done = std::async(std::launch::async, [&begun, wait] {
        begun.set_value(::gettid());
        return wait();
    });
    const std::string file = "/proc/self/task/" + std::to_string(thread.get()) + "/stat";
    for (std::string state; state != "S"; std::this_thread::yield()) {
        std::string number;
        std::string name;
        std::ifstream(file) >> number >> name >> state;
    }
    return done;
}

bool Holds(const std::string& match, const std::string& line) {
    return RowMatch(match).Holds({1, line});
}

const char* const kShellRow = R"({"seq":7,"ms":5,"who":"shell","command":"echo 18 > /var/run/superwatch"})";
const char* const kInvokeRow =
    R"({"seq":8,"ms":6,"who":"model","call":"invoke","args":[["0","say \"hi\""]],"status":0})";

TEST(RowMatch, AllTermsHold) {
    EXPECT_TRUE(Holds("who=shell", kShellRow));
    EXPECT_TRUE(Holds("  who=sh*  seq=7 ", kShellRow));
    EXPECT_TRUE(Holds("who=shell superwatch", kShellRow));
    EXPECT_FALSE(Holds("who=shell superwotch", kShellRow));
    EXPECT_FALSE(Holds("who=shell seq=8", kShellRow));
    EXPECT_TRUE(Holds("status=0 call=in*ke", kInvokeRow));
    EXPECT_FALSE(Holds("status=0", kShellRow)) << "the row has no such member";
    EXPECT_TRUE(Holds("status=", R"({"status":""})"));
    EXPECT_FALSE(Holds("status=", kInvokeRow));
}

TEST(RowMatch, AGlobIsForTheWholeMember) {
    EXPECT_FALSE(Holds("command=echo", kShellRow));
    EXPECT_TRUE(Holds("command=echo*", kShellRow));
    EXPECT_TRUE(Holds("command=[ef]cho?18*", kShellRow));
    EXPECT_TRUE(Holds("args=*hi*", kInvokeRow)) << "a member that is no text matches as JSON";
}

TEST(RowMatch, QuotesKeepBlanks) {
    EXPECT_TRUE(Holds("command=\"echo 18 *\" who=shell", kShellRow));
    EXPECT_FALSE(Holds("command=\"echo 19 *\"", kShellRow));
    EXPECT_TRUE(Holds("\"echo 18\"", kShellRow));
    EXPECT_FALSE(Holds("\"18 echo\"", kShellRow));
    EXPECT_TRUE(Holds("\"a=b\"", R"({"x":"a=b"})")) << "what is quoted is a word";
    EXPECT_TRUE(Holds(R"(x="say \"hi\"")", R"({"x":"say \"hi\""})"));
}

TEST(RowMatch, RefusesWhatMakesNoSense) {
    const auto refusal = [](const std::string& text) -> std::string {
        try {
            const RowMatch match(text);
            return "taken";
        } catch (const ControlError& error) {
            return error.what();
        }
    };
    EXPECT_NE(refusal("").find("it has no terms"), std::string::npos);
    EXPECT_NE(refusal("  ").find("it has no terms"), std::string::npos);
    EXPECT_NE(refusal("who=\"shell").find("a quote is not closed"), std::string::npos);
    EXPECT_NE(refusal("who=\"a\\\"").find("a quote is not closed"), std::string::npos);
    EXPECT_NE(refusal("who=\"shell\"x").find("right behind a closing quote"), std::string::npos);
    EXPECT_NE(refusal("=shell").find("the name of a member is missing"), std::string::npos);
    EXPECT_NE(refusal("\"\"").find("a word is empty"), std::string::npos);
}

class TraceLogTest : public ::testing::Test {
  protected:
    std::string File() const { return (m_dir.Path() / "trace.jsonl").string(); }

    std::string Content() const {
        std::ostringstream text;
        text << std::ifstream(File()).rdbuf();
        return text.str();
    }

    void Write(const std::string& content) const { std::ofstream(File()) << content; }

    tests::TempFolder m_dir;
};

std::string LineOf(const std::vector<TraceRow>& rows, std::size_t index) {
    return index < rows.size() ? rows[index].line : "no such row";
}

TEST_F(TraceLogTest, ARowIsNumberTimeWhoCallArgumentsStatus) {
    TraceLog log(File());
    EXPECT_EQ(log.Append(10, {{"status", 0}, {"who", "flash"}, {"name", "n"}, {"value", "v"}, {"call", "get"}}),
              1U);
    const char* const row = R"({"seq":1,"ms":10,"who":"flash","call":"get","name":"n","value":"v","status":0})";
    EXPECT_EQ(LineOf(log.Await(0, kAtOnce), 0), row);
    EXPECT_EQ(Content(), std::string(row) + '\n');
}

TEST_F(TraceLogTest, TheOldestRowsLeaveTheMemoryAndStayInTheFile) {
    TraceLog log(File(), {2, 1000, 1U << 20U});
    for (int i = 0; i < 3; ++i) {
        log.Append(0, {{"who", "shell"}});
    }
    const auto rows = log.Await(0, kAtOnce);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].seq, 2U);
    EXPECT_EQ(rows[1].seq, 3U);
    const std::string content = Content();
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 3);
}

TEST_F(TraceLogTest, MemoryIsBoundedInBytesToo) {
    TraceLog log(File(), {1000, 4000, 1U << 20U});
    const std::string text(1000, 'x');
    for (int i = 0; i < 6; ++i) {
        log.Append(0, {{"text", text}});
    }
    EXPECT_EQ(log.Await(0, kAtOnce).size(), 3U)
        << "four of them are above the bound with what is around the texts";
    log.Append(0, {{"text", std::string(5000, 'x')}});
    EXPECT_EQ(log.Await(0, kAtOnce).size(), 1U) << "the last one stays";
}

TEST_F(TraceLogTest, WaitsForTheNextRow) {
    TraceLog log(File());
    log.Append(0, {{"who", "one"}});
    EXPECT_EQ(log.Await(0, kAtOnce).size(), 1U);
    EXPECT_EQ(log.Await(1, kAtOnce).size(), 0U);
    auto next = AsleepIn([&log] { return log.Await(1, std::chrono::hours(1)); });
    log.Append(0, {{"who", "two"}});
    const auto rows = next.get();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].seq, 2U);
}

TEST_F(TraceLogTest, ClosingWakesWhoWaits) {
    TraceLog log(File());
    auto next = AsleepIn([&log] { return log.Await(0, std::chrono::hours(1)); });
    log.Close();
    EXPECT_EQ(next.get().size(), 0U);
    log.Append(0, {{"who", "late"}});
    EXPECT_EQ(log.Await(0, std::chrono::hours(1)).size(), 1U) << "what is there is still told";
    EXPECT_EQ(log.Await(1, std::chrono::hours(1)).size(), 0U);
}

TEST_F(TraceLogTest, NumbersGoOnFromTheFile) {
    { TraceLog(File()).Append(0, {{"who", "one"}}); }
    TraceLog log(File());
    EXPECT_EQ(log.Last(), 1U);
    EXPECT_EQ(log.Before(), 1U);
    EXPECT_EQ(log.Append(0, {{"who", "two"}}), 2U);
    EXPECT_EQ(log.Await(0, kAtOnce).size(), 1U) << "rows of the run before are in the file alone";
}

TEST_F(TraceLogTest, NumbersGoOnBehindLongRowsAndOtherLines) {
    Write("{\"seq\":41,\"text\":\"" + std::string(300000, 'x') + "\"}\nsomebody's note\n\n");
    EXPECT_EQ(TraceLog(File()).Append(0, {{"who", "next"}}), 42U);
}

TEST_F(TraceLogTest, NumbersGoOnWhenTheFileBecomesTheOldOne) {
    Write("{\"seq\":7,\"text\":\"" + std::string(500, 'x') + "\"}\n");
    const TraceBounds bounds{10, 1000, 500};
    EXPECT_EQ(TraceLog(File(), bounds).Append(0, {{"who", "next"}}), 8U);
    EXPECT_EQ(Content(), "{\"seq\":8,\"ms\":0,\"who\":\"next\"}\n");
    EXPECT_GT(std::filesystem::file_size(File() + ".old"), bounds.fileBytes);
    std::filesystem::remove(File());
    EXPECT_EQ(TraceLog(File(), bounds).Append(0, {{"who", "next"}}), 8U) << "the old file is all that is left";
}

TEST_F(TraceLogTest, AFileThatGrowsTooLongBecomesTheOldOneAtOnce) {
    TraceLog log(File(), {10, 1000, 100});
    for (int i = 0; i < 4; ++i) {
        log.Append(0, {{"text", "about a third of the bound"}});
    }
    EXPECT_GT(std::filesystem::file_size(File() + ".old"), 100U);
    EXPECT_EQ(std::filesystem::file_size(File()), 0U);
    log.Append(0, {{"text", "next"}});
    EXPECT_EQ(Content(), "{\"seq\":5,\"ms\":0,\"text\":\"next\"}\n");
}

TEST_F(TraceLogTest, TheEndOfALongFileIsFoundAtOnce) {
    {
        std::ofstream file(File());
        file << "{\"seq\":1}\n";
        file.seekp(std::streamoff{1} << 40U);  // a hole: to read it all would take minutes
        file << "\n{\"seq\":99}\n";
    }
    EXPECT_EQ(TraceLog(File(), {10, 1000, std::uintmax_t{1} << 41U}).Last(), 99U);
}

TEST_F(TraceLogTest, ATornRowIsSaidAndItsNumberIsNotUsedAgain) {
    Write("{\"seq\":5,\"who\":\"shell\"}\n{\"seq\":6,\"who\":\"sh");
    const char* const torn = R"({"seq":7,"ms":0,"who":"trace","call":"torn","text":"{\"seq\":6,\"who\":\"sh"})";
    TraceLog log(File());
    EXPECT_EQ(LineOf(log.Await(0, kAtOnce), 0), torn);
    EXPECT_EQ(Content(), std::string("{\"seq\":5,\"who\":\"shell\"}\n") + torn + '\n');
    EXPECT_EQ(log.Append(0, {{"who", "next"}}), 8U);
}

TEST_F(TraceLogTest, ARowTornInItsNumberIsSaidToo) {
    Write("{\"seq\":5,\"who\":\"shell\"}\n{\"se");
    TraceLog log(File());
    EXPECT_EQ(log.Last(), 7U) << "5 was whole, 6 was torn";
    Write("{\"seq\":123");
    EXPECT_EQ(TraceLog(File()).Last(), 2U) << "a number that may go on is none";
}

TEST_F(TraceLogTest, LostRowsAreSaidOnceThereIsRoom) {
    std::vector<std::string> problems;
    TraceLog log(File(), TraceBounds(), [&problems](const std::string& line) { problems.push_back(line); });
    log.Append(0, {{"who", "kept"}});
    {
        const DiskFull full(60);
        log.Append(0, {{"who", "half of this one could be written"}});
        log.Append(0, {{"who", "b"}});
        EXPECT_EQ(Content(), "{\"seq\":1,\"ms\":0,\"who\":\"kept\"}\n") << "a row is written whole or not at all";
    }
    ASSERT_EQ(problems.size(), 1U) << "once until rows can be written again";
    EXPECT_NE(problems[0].find("from row 2 on"), std::string::npos) << problems[0];
    EXPECT_EQ(log.Append(0, {{"who", "again"}}), 5U);
    const char* const lost = R"({"seq":4,"ms":0,"who":"trace","call":"lost","count":2,"first":2})";
    EXPECT_EQ(Content(), std::string("{\"seq\":1,\"ms\":0,\"who\":\"kept\"}\n") + lost +
                             "\n{\"seq\":5,\"ms\":0,\"who\":\"again\"}\n");
    EXPECT_EQ(LineOf(log.Await(0, kAtOnce), 3), lost);
    EXPECT_EQ(log.Await(0, kAtOnce).size(), 5U) << "the memory has all";
}

TEST_F(TraceLogTest, RowsLostAtTheEndAreSaidThen) {
    {
        TraceLog log(File());
        const DiskFull full(10);
        log.Append(0, {{"who", "gone"}});
    }  // the disk has room again, then the log ends
    EXPECT_EQ(Content(), "{\"seq\":2,\"ms\":0,\"who\":\"trace\",\"call\":\"lost\",\"count\":1,\"first\":1}\n");
}

class TraceVerbsTest : public SimsetTest {
  protected:
    void Tell(const std::string& who) { TheMiddleware().Trace({{"who", who}}); }

    static std::string Row(int number, const std::string& who) {
        return "{\"seq\":" + std::to_string(number) + ",\"ms\":0,\"who\":\"" + who + "\"}\n";
    }

    // Carries a verb out on a thread of its own, as the socket does.
    std::future<std::string> Begin(const Words& words, const Caller& caller = {}) {
        return std::async(std::launch::async, [this, words, caller] {
            try {
                return TheMiddleware().Control(words, caller);
            } catch (const ControlError& error) {
                return std::string(error.what());
            }
        });
    }
};

TEST_F(TraceVerbsTest, TraceTakesWhatIsAskedFor) {
    for (const char* who : {"a", "b", "a"}) {
        Tell(who);
    }
    EXPECT_EQ(Ctl({"trace"}), Row(1, "a") + Row(2, "b") + Row(3, "a"));
    EXPECT_EQ(Ctl({"trace", "--since", "1"}), Row(2, "b") + Row(3, "a"));
    EXPECT_EQ(Ctl({"trace", "--match", "who=a"}), Row(1, "a") + Row(3, "a"));
    EXPECT_EQ(Ctl({"trace", "--match", "who=a", "--since", "1"}), Row(3, "a"));
    EXPECT_EQ(Ctl({"trace", "--last"}), Row(3, "a"));
    EXPECT_EQ(Ctl({"trace", "--clear"}), Row(1, "a") + Row(2, "b") + Row(3, "a"));
    EXPECT_EQ(Ctl({"trace"}), "");
    EXPECT_EQ(Ctl({"trace", "--last"}), "");
    EXPECT_EQ(Ctl({"trace", "--since", "2"}), Row(3, "a")) << "who has a number misses nothing";
    EXPECT_NE(CtlError({"trace", "--since", "x"}).find("--since"), std::string::npos);
    EXPECT_NE(CtlError({"trace", "--match", ""}).find("no terms"), std::string::npos);
}

TEST_F(TraceLogTest, TheVerbSaysHowManyRowsAreGone) {
    const TraceBounds bounds{2, 1000, 1U << 20U};
    {
        TraceLog log(File(), bounds);
        for (int i = 0; i < 5; ++i) {
            log.Append(0, {{"who", "a"}});
        }
        const std::string text = TraceVerbs(log).Run({"trace"}, {});
        EXPECT_EQ(text.substr(0, text.find('\n')), R"({"who":"trace","call":"dropped","count":3})");
        EXPECT_EQ(TraceVerbs(log).Run({"trace", "--since", "4"}, {}), "{\"seq\":5,\"ms\":0,\"who\":\"a\"}\n");
    }
    TraceLog log(File(), bounds);
    log.Append(0, {{"who", "b"}});
    EXPECT_EQ(TraceVerbs(log).Run({"trace", "--since", "0"}, {}), "{\"seq\":6,\"ms\":0,\"who\":\"b\"}\n")
        << "those of another run are not meant";
}

TEST_F(TraceVerbsTest, WaitTakesRowsThatCome) {
    Tell("a");
    EXPECT_EQ(Ctl({"wait", "who=a", "--since", "0"}), Row(1, "a"));
    EXPECT_EQ(CtlError({"wait", "who=a", "--timeout", "0"}), "no row matched who=a within 0 s");
    auto found = Begin({"wait", "who=c", "--timeout", "60", "--since", "1"});
    Tell("b");
    Tell("c");
    EXPECT_EQ(found.get(), Row(3, "c"));
}

TEST_F(TraceVerbsTest, WaitEndsWithTheSet) {
    auto found = Begin({"wait", "who=a"});
    TheMiddleware().CloseTrace();
    EXPECT_EQ(found.get(), "the set went off before a row matched who=a");
}

TEST_F(TraceVerbsTest, FollowingPrintsRowsAsTheyCome) {
    Mailbox<std::string> printed;
    Caller caller;
    caller.print = [&printed](const std::string& text) {
        if (!text.empty()) {
            printed.Put(text);
        }
        return true;
    };
    Tell("a");
    auto ended = Begin({"trace", "--follow", "--match", "who=a"}, caller);
    EXPECT_EQ(printed.Take(), Row(1, "a"));
    Tell("b");
    Tell("a");
    EXPECT_EQ(printed.Take(), Row(3, "a"));
    TheMiddleware().CloseTrace();
    EXPECT_EQ(ended.get(), "");
    EXPECT_TRUE(printed.Empty());
}

TEST_F(TraceVerbsTest, NobodyFollowsForACallerWhoHasGone) {
    Caller caller;
    caller.print = [](const std::string&) { return false; };
    EXPECT_EQ(Begin({"trace", "--follow"}, caller).get(), "");
    EXPECT_EQ(Begin({"wait", "who=a"}, caller).get(), "");
}

TEST_F(TraceVerbsTest, OthersAreServedWhileOneWaits) {
    auto found = Begin({"wait", "who=a", "--since", "0"});
    EXPECT_EQ(Ctl({"flash", "get", "ZelFacMode"}), "1\n");
    Tell("a");
    EXPECT_EQ(found.get(), Row(1, "a"));
}

TEST(TraceRecall, TheLastRunIsWhatIsNotCleared) {
    const tests::TempFolder dir;
    const auto file = dir.Path() / "trace.jsonl";
    const auto run = [&file](const std::vector<std::string>& calls) {
        TraceLog trace(file);
        for (const std::string& call : calls) {
            trace.Append(0, {{"who", call == "work" ? "shell" : "power"}, {"call", call}});
        }
    };
    run({"on", "work", "off"});
    run({"on", "reboot", "on", "work", "reboot", "on", "off"});
    TraceLog trace(file);
    EXPECT_EQ(trace.Before(), 10U);
    trace.Append(0, {{"who", "ctl"}});
    trace.Recall();
    EXPECT_EQ(trace.Before(), 0U);
    EXPECT_EQ(trace.Cleared(), 3U);
    EXPECT_EQ(trace.Last(), 11U);
    const auto rows = trace.Await(0, kAtOnce);
    ASSERT_EQ(rows.size(), 11U);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].seq, i + 1);
    }
    EXPECT_EQ(rows[10].line, R"({"seq":11,"ms":0,"who":"ctl"})");
}

TEST(TraceRecall, RowsOfTheFileBeforeAndThoseThatMemoryHasNoRoomFor) {
    const tests::TempFolder dir;
    const auto file = dir.Path() / "trace.jsonl";
    dir.Write("trace.jsonl.old", "{\"seq\":5,\"ms\":0,\"who\":\"power\",\"call\":\"on\"}\n{\"seq\":6,\"ms\":0}\n");
    dir.Write("trace.jsonl", "{\"seq\":7,\"ms\":0}\n{\"seq\":8,\"ms\":0}\n");
    TraceBounds bounds;
    bounds.rows = 3;
    TraceLog trace(file, bounds);
    trace.Recall();
    EXPECT_EQ(trace.Before(), 4U);
    EXPECT_EQ(trace.Cleared(), 4U);
    EXPECT_EQ(trace.Await(0, kAtOnce).front().seq, 6U);
}

}  // namespace
}  // namespace simset::test
