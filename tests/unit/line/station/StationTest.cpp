#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "base/TempFolder.h"
#include "line/SimulatedReceiver.h"
#include "station/Station.h"
#include "wire/Error.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kWhole[] = "name = \"Test\"\nplan = \"plan.toml\"\nscan = \"[0-9]{4}\"\n";
constexpr char kSlot[] = "[[slot]]\nport = \"tty\"\n";

// Mistakes of a station file as "line: words".
std::vector<std::string> StationMistakes(const std::string& text) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    LoadStation(folder.Write("station.toml", text), problems);
    std::vector<std::string> lines;
    for (const PlanProblem& problem : problems) {
        lines.push_back(std::to_string(problem.line) + ": " + problem.words);
    }
    return lines;
}

TEST(StationFile, NamesAreThoseOfFilesBesideIt) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const StationFile file = LoadStation(
        folder.Write("station.toml",
                     std::string(kWhole) + "store = \"postgresql://a@b/c\"\nreports = [\"{unit}.json\"]\n" +
                         "[page]\naddress = \"[::1]:8080\"\nlanguage = \"zh\"\n[[slot]]\nserial = "
                         "\"FT1\"\n[[slot]]\nname = \"B\"\nport = \"/dev/ttyS9\"\nplan = \"other.toml\"\n"),
        problems);
    ASSERT_TRUE(problems.empty()) << problems[0].words;
    const std::string beside = folder.Write("x", "");
    const std::string here = beside.substr(0, beside.size() - 1);
    EXPECT_EQ(file.store, "postgresql://a@b/c");
    EXPECT_THAT(file.reports, ElementsAre(here + "{unit}.json"));
    ASSERT_EQ(file.slots.size(), 2U);
    EXPECT_EQ(file.slots[0].name, "1");
    EXPECT_EQ(file.slots[0].plan, here + "plan.toml");
    EXPECT_EQ(file.slots[0].port.serial, "FT1");
    EXPECT_EQ(file.slots[1].plan, here + "other.toml");
    EXPECT_EQ(file.slots[1].port.path, "/dev/ttyS9");
    EXPECT_EQ(file.page.host, "::1");
    EXPECT_EQ(file.page.port, 8080);
    EXPECT_TRUE(file.page.IsLoopback());
}

TEST(StationFile, MistakesAreToldWithTheirLines) {
    const std::string whole = kWhole;
    EXPECT_THAT(StationMistakes(whole + kSlot), ElementsAre());
    EXPECT_THAT(StationMistakes(whole), ElementsAre(HasSubstr("there must be 1 to 32 slots")));
    EXPECT_THAT(StationMistakes(whole + kSlot + kSlot), ElementsAre(HasSubstr("6: ")));
    EXPECT_THAT(StationMistakes("scann = \"A\"\n" + whole + kSlot),
                ElementsAre(HasSubstr("1: 'scann' is unknown")));
    EXPECT_THAT(StationMistakes(kSlot), testing::SizeIs(3)) << "name, scan and plan are missing";
    EXPECT_THAT(StationMistakes("name = \"A\"\nplan = \"p\"\nscan = \"(\"\n" + std::string(kSlot)),
                ElementsAre("3: 'scan' is no regular expression"));
    EXPECT_THAT(StationMistakes(whole + "[vars]\nlevel = 20\nloud = true\nname = \"A\"\n" + kSlot), ElementsAre());
    EXPECT_THAT(StationMistakes(whole + "[vars]\nlevel = [20]\nsn = \"${unit}\"\n" + kSlot),
                ElementsAre(HasSubstr("5: 'level' must be"), HasSubstr("6: nothing is filled in")));
    EXPECT_THAT(StationMistakes(whole + "store = \"\"\n" + kSlot),
                ElementsAre(HasSubstr("4: 'store' must be a text that is not empty")));
    EXPECT_THAT(StationMistakes(whole + "[slot]\nport = \"x\"\n"),
                ElementsAre(HasSubstr("'slot' must be written as [[slot]]")));
    EXPECT_THAT(StationMistakes(whole + "shifts = [\"6:00\"]\n" + kSlot),
                ElementsAre(HasSubstr("4: '6:00' is no time of day")));
    EXPECT_THAT(StationMistakes(whole + kSlot + "serial = \"1\"\n"),
                ElementsAre(HasSubstr("4: a slot has one of")));
    EXPECT_THAT(StationMistakes(whole + "[[slot]]\nname = \"1234\"\nport = \"x\"\n"),
                ElementsAre(HasSubstr("3: the slot's name '1234' could be a serial number")));
}

TEST(StationFile, OthersReachThePageWithATokenOnly) {
    const auto page = [](const std::string& text) {
        return StationMistakes(std::string(kWhole) + "[page]\n" + text + kSlot);
    };
    EXPECT_THAT(page("address = \"0.0.0.0:80\"\n"), ElementsAre(HasSubstr("'token' is missing")));
    EXPECT_THAT(page("address = \"192.168.1.2:80\"\ntoken = \"0123456789abcdef\"\n"), ElementsAre());
    EXPECT_THAT(page("address = \"127.0.0.1:80\"\n"), ElementsAre());
    EXPECT_THAT(page("token = \"short\"\n"), ElementsAre(HasSubstr("'token' must be 16 letters")));
    EXPECT_THAT(page("token = \"0123456789 abcdef\"\n"), ElementsAre(HasSubstr("'token' must be")));
    EXPECT_THAT(page("address = \"pc:80\"\n"), ElementsAre(HasSubstr("'pc:80' is no address")));
    EXPECT_THAT(page("address = \"127.0.0.1:70000\"\n"), ElementsAre(HasSubstr("is no address")));
}

TEST(Station, ShiftsBeginAtTheirTimes) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    const std::vector<std::string> shifts = {"06:00", "14:00", "22:00"};
    constexpr std::time_t kMidnight = 1777852800;  // 2026-05-04, UTC
    constexpr std::time_t kHour = 3600;
    EXPECT_EQ(ShiftBegin(shifts, kMidnight + 5 * kHour), "2026-05-03T22:00:00Z");
    EXPECT_EQ(ShiftBegin(shifts, kMidnight + 6 * kHour), "2026-05-04T06:00:00Z");
    EXPECT_EQ(ShiftBegin(shifts, kMidnight + 21 * kHour), "2026-05-04T14:00:00Z");
    EXPECT_EQ(ShiftBegin({"00:00"}, kMidnight), "2026-05-04T00:00:00Z");
}

TEST(Board, TellsWhatHasChangedSince) {
    SlotState a;
    a.name = "A";
    SlotState b;
    b.name = "B";
    Board board("Test", {a, b});
    const auto all = board.Await(0, Millis(0));
    ASSERT_EQ(all.objects.size(), 4U);
    EXPECT_EQ(all.objects[0]["type"], "station");
    EXPECT_TRUE(board.Await(all.last, Millis(0)).objects.empty());
    board.Change(1, [](SlotState& state) { state.unit = "first"; });
    board.Change(1, [](SlotState& state) { state.unit = "second"; });
    board.Ask("1234");
    const auto news = board.Await(all.last, Millis(0));
    ASSERT_EQ(news.objects.size(), 2U) << "what has changed twice is told once";
    EXPECT_EQ(news.objects[0]["unit"], "1234");
    EXPECT_EQ(news.objects[1]["unit"], "second");
}

// Ports that nobody has: units wait for them until they are stopped.
class Scans : public testing::Test {
  protected:
    Scans() {
        m_file.name = "Test";
        m_file.scan = "[0-9]{4}";
        for (const char* name : {"A", "B"}) {
            m_file.slots.push_back({name, {m_folder.Write("x", "") + name, "", ""}, m_plan});
        }
        m_station = std::make_unique<Station>(
            m_file,
            [](const std::string&, const Stop&) -> std::unique_ptr<Transport> { Fail(Exit::Port, "no port"); },
            "1");
    }
    std::string Say(const std::string& text) {
        const ScanReply reply = m_station->Scan(text);
        return std::string(ReplyWord(reply.kind)) + " " + reply.slot + " " + reply.unit;
    }

    tests::TempFolder m_folder;
    std::string m_plan = m_folder.Write("plan.toml", "[[step]]\nrun = \"version\"\n");
    StationFile m_file;
    std::unique_ptr<Station> m_station;
};

TEST_F(Scans, NumberAndSlotComeInEitherOrder) {
    EXPECT_EQ(Say("12345"), "no-unit  12345");
    EXPECT_EQ(Say(" 0001\r"), "which-slot  0001");
    EXPECT_EQ(Say("B"), "begun B 0001");
    EXPECT_EQ(Say("0001"), "twice B 0001");
    EXPECT_EQ(Say("B"), "busy B ");
    EXPECT_EQ(Say("A"), "which-unit A ");
    EXPECT_EQ(Say("0002"), "begun A 0002");
    EXPECT_EQ(Say("0003"), "busy  0003");
}

TEST_F(Scans, ANumberAloneGoesToTheOnlyFreeSlot) {
    Say("A");
    Say("0001");
    EXPECT_EQ(Say("0002"), "begun B 0002");
}

TEST_F(Scans, WhatWaitsCanBeForgotten) {
    Say("0001");
    m_station->Forget();
    EXPECT_EQ(Say("A"), "which-unit A ");
    m_station->Forget();
    EXPECT_EQ(Say("0001"), "which-slot  0001");
}

TEST_F(Scans, AUnitThatWaitsCanBeStopped) {
    EXPECT_FALSE(m_station->StopUnit("A"));
    Say("A");
    Say("0001");
    EXPECT_TRUE(m_station->StopUnit("A"));
    for (std::uint64_t since = 0;;) {
        const auto news = m_station->Shown().Await(since, Millis(60000));
        since = news.last;
        if (std::any_of(news.objects.begin(), news.objects.end(), [&](const Json& object) {
                return object.value("slot", "") == "A" && object.value("phase", "") == "over" &&
                       object["verdict"] == "ABORTED" && object["unit"] == "0001";
            })) {
            break;
        }
        ASSERT_FALSE(news.objects.empty());
    }
    EXPECT_EQ(Say("A"), "which-unit A ") << "the slot is free";
}

TEST(SlotOperator, AnAnswerIsForTheQuestionThatIsPut) {
    SlotState a;
    a.name = "A";
    Board board("Test", {a});
    SlotOperator person(board, 0);
    EXPECT_FALSE(person.Asks());
    EXPECT_FALSE(person.Answer(std::nullopt, "early"));
    person.Show({Action::Kind::Question, "label", "Which?", "", "", Doubt::None, ""});
    EXPECT_TRUE(person.Asks());
    const auto first = board.At(0).question;
    ASSERT_TRUE(first);
    EXPECT_EQ(first->words, "Which?");
    person.Show({Action::Kind::Press, "key", "", "MENU", "again", Doubt::Press, "ok"});
    const auto news = board.Await(0, Millis(0)).objects;
    EXPECT_EQ(news[1]["question"], Json({{"number", 2},
                                         {"kind", "key"},
                                         {"words", ""},
                                         {"key", "MENU"},
                                         {"note", "again"},
                                         {"doubt", "press"},
                                         {"said", "ok"}}));
    EXPECT_FALSE(person.Answer(first->number, "late"));
    EXPECT_EQ(person.Take(), std::nullopt);
    EXPECT_TRUE(person.Answer(2, "no"));
    EXPECT_FALSE(person.Answer(2, "twice"));
    EXPECT_EQ(person.Take(), "no");
    person.Withdraw();
    EXPECT_FALSE(person.Asks());
    EXPECT_FALSE(board.At(0).question);
    EXPECT_FALSE(person.Answer(2, "late"));
}

// A set behind each port, and a plan that asks.
class Asking : public testing::Test {
  protected:
    // The slots are stopped and gone before what they work with.
    void Begin(const std::vector<std::string>& slots) {
        m_file.name = "Test";
        m_file.scan = "[0-9]{4}";
        for (const std::string& name : slots) {
            m_file.slots.push_back({name, {"/dev/null", "", ""}, m_plan});
        }
        m_station = std::make_unique<Station>(
            m_file,
            [](const std::string&, const Stop& stop) -> std::unique_ptr<Transport> {
                return std::make_unique<StoppableSet>(stop);
            },
            "1");
    }
    // Answers at once and lets its waits take their time, so that a run that waits for its operator rests.
    class StoppableSet : public SimulatedReceiver {
      public:
        explicit StoppableSet(const Stop& stop) : m_stop(stop) {}

        std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
            const std::size_t count = SimulatedReceiver::Read(bytes, size, wait);
            if (m_stop.Await(Millis(count == 0 ? 1 : 0))) {
                Fail(Exit::Interrupted, "stopped");
            }
            return count;
        }

      private:
        const Stop& m_stop;
    };
    std::string Say(const std::string& text) {
        const ScanReply reply = m_station->Scan(text);
        return std::string(ReplyWord(reply.kind)) + " " + reply.slot + " " + reply.unit;
    }
    // Waits until the slot's state is so.
    template <typename Is>
    SlotState Await(std::size_t slot, const Is& is) {
        for (std::uint64_t since = 0;;) {
            const auto news = m_station->Shown().Await(since, Millis(60000));
            const SlotState state = m_station->Shown().At(slot);
            if (is(state) || news.objects.empty()) {
                EXPECT_TRUE(is(state)) << state.words;
                return state;
            }
            since = news.last;
        }
    }
    SlotState AwaitQuestion(std::size_t slot) {
        return Await(slot, [](const SlotState& state) { return state.question.has_value(); });
    }
    SlotState AwaitEnd(std::size_t slot) {
        return Await(slot, [](const SlotState& state) { return state.phase == SlotPhase::Over; });
    }

    tests::TempFolder m_folder;
    std::string m_plan =
        m_folder.Write("plan.toml", "[[step]]\nrun = \"ask Which?\"\nexpect = { equals = \"0001\" }\n");
    StationFile m_file;
    std::unique_ptr<Station> m_station;
};

TEST_F(Asking, InAStationOfOneSlotAnythingScannedIsTheAnswer) {
    Begin({"A"});
    Say("0002");
    AwaitQuestion(0);
    EXPECT_EQ(Say("0001"), "answered A 0002");
    EXPECT_EQ(AwaitEnd(0).verdict, "PASSED");
}

TEST_F(Asking, OfSeveralSlotsTheOneThatIsMeantIsNamed) {
    Begin({"A", "B", "C"});
    Say("A");
    Say("0001");
    AwaitQuestion(0);
    EXPECT_EQ(Say("0003"), "which-slot  0003") << "another unit";
    EXPECT_EQ(Say("B"), "begun B 0003");
    AwaitQuestion(1);
    EXPECT_EQ(Say("blue"), "which-question  blue");
    EXPECT_EQ(Say("B"), "which-answer B ");
    EXPECT_EQ(Say("0001"), "answered B 0003");
    EXPECT_EQ(AwaitEnd(1).verdict, "PASSED");
    EXPECT_EQ(Say("C"), "which-unit C ");
    EXPECT_EQ(Say("0004"), "begun C 0004") << "the slot that was named has no question";
    AwaitQuestion(2);
    EXPECT_EQ(Say("C"), "which-answer C ");
    EXPECT_TRUE(m_station->StopUnit("C"));
    EXPECT_EQ(AwaitEnd(2).verdict, "ABORTED");
    EXPECT_EQ(Say("blue"), "answered A 0001") << "the slot that was named asks no more";
    const SlotState wrong = AwaitEnd(0);
    EXPECT_EQ(wrong.verdict, "FAILED");
    EXPECT_FALSE(wrong.question);
}

TEST_F(Asking, ANumberIsAnswered) {
    Begin({"A", "B"});
    Say("A");
    Say("0001");
    const SlotState asks = AwaitQuestion(0);
    EXPECT_FALSE(m_station->AnswerQuestion("B", asks.question->number, "0001"));
    EXPECT_FALSE(m_station->AnswerQuestion("A", asks.question->number + 1, "0001"));
    EXPECT_TRUE(m_station->AnswerQuestion("A", asks.question->number, "0001"));
    EXPECT_EQ(AwaitEnd(0).verdict, "PASSED");
}

TEST_F(Asking, NobodyAnsweringIsNotTheSetsFault) {
    m_folder.Write("plan.toml", "[[step]]\nrun = \"ask Which?\"\ntimeout = 1000\n");
    Begin({"A"});
    Say("0001");
    const SlotState over = AwaitEnd(0);
    EXPECT_EQ(over.reason, kNobodyAnswered);
    EXPECT_THAT(over.words, HasSubstr("the operator did not answer within 1.0 s"));
}

}  // namespace
}  // namespace zelline
