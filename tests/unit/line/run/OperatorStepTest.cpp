#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "base/TempFolder.h"
#include "line/BorrowedLine.h"
#include "line/SimulatedReceiver.h"
#include "plan/PlanFile.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "run/OperatorStep.h"
#include "run/PlanRun.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Says one text to each question that is put, and nothing when it has none left.
class ScriptedOperator : public Operator {
  public:
    explicit ScriptedOperator(std::deque<std::string> texts = {}) : m_texts(std::move(texts)) {}

    void Show(const OperatorQuestion& question) override {
        shown.push_back(question.words.empty() ? question.key : question.words);
        notes.push_back(question.note);
        steps.push_back(question.step);
        stands = true;
        m_hasTold = false;
    }
    std::optional<std::string> Take() override {
        EXPECT_TRUE(stands);
        if (m_hasTold || m_texts.empty()) {
            return std::nullopt;
        }
        m_hasTold = true;
        const std::string text = m_texts.front();
        m_texts.pop_front();
        return text;
    }
    void Withdraw() override { stands = false; }

    std::vector<std::string> shown;
    std::vector<std::string> notes;
    std::vector<std::string> steps;
    bool stands = false;

  private:
    std::deque<std::string> m_texts;
    bool m_hasTold = false;
};

// A set whose keys are pressed at given times, or whose port goes.
class PressedSet : public SimulatedReceiver {
  public:
    void PressAt(Millis when, const std::string& key) {
        UartFrame frame = zel::MakeFrame(zel::FrameKind::Result, zel::command::kKeyPressReport);
        frame.length = static_cast<std::uint8_t>(key.size());
        std::copy(key.begin(), key.end(), frame.payload.begin());
        frame.trailerB = 1;
        m_presses.emplace_back(when, zel::EncodeFrame(frame));
    }

    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
        if (Now() >= lostAt) {
            Fail(Exit::Port, "the port was lost");
        }
        if (!m_presses.empty() && Now() >= m_presses.front().first) {
            const zel::WireFrame wire = m_presses.front().second;
            m_presses.pop_front();
            std::copy_n(wire.bytes.begin(), wire.size, bytes);
            return connected ? wire.size : 0;
        }
        return SimulatedReceiver::Read(bytes, size, wait);
    }

    Millis lostAt = Millis::max();

  private:
    std::deque<std::pair<Millis, zel::WireFrame>> m_presses;
};

struct Asked {
    PlanResult result;
    std::vector<std::string> states;
    std::string words;  // of the first step
};

Asked AskIn(const std::string& text, Transport& set, Operator* person) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const Plan plan = LoadPlan(folder.Write("plan.toml", text), {}, problems);
    for (const PlanProblem& problem : problems) {
        ADD_FAILURE() << problem.line << ": " << problem.words;
    }
    Link link(set);
    Settings settings;
    settings.timeout = Millis(1000);  // for the set's answers, and no limit of an operator's
    Asked asked;
    asked.result = ExecutePlan(plan, link, settings, {}, nullptr, false, person);
    for (const StepResult& step : asked.result.steps) {
        asked.states.emplace_back(StateWord(step.state));
    }
    asked.words = asked.result.steps[0].words;
    return asked;
}

TEST(OperatorStep, AnAnswerIsAValueLikeAnyOther) {
    SimulatedReceiver set;
    ScriptedOperator person({" \r", " AB 12\r"});
    const Asked asked = AskIn(
        "[[step]]\nid = \"label\"\nrun = \"ask Which label?\"\nsave = \"label\"\nexpect = { matches = \"AB.*\" }\n"
        "[[step]]\nrun = [\"sn\", \"write\", \"${label}\"]\n",
        set, &person);
    EXPECT_THAT(asked.states, ElementsAre("passed", "passed"));
    EXPECT_EQ(asked.result.steps[0].value, "AB 12");
    EXPECT_THAT(set.payloads, testing::Contains("AB 12"));
    EXPECT_THAT(person.shown, ElementsAre("Which label?", "Which label?"));
    EXPECT_THAT(person.notes, ElementsAre("", HasSubstr("empty")));
    EXPECT_EQ(person.steps[0], "label");
    EXPECT_FALSE(person.stands);
    ScriptedOperator wrong({"CD"});
    const Asked other = AskIn("[[step]]\nrun = \"ask Which?\"\nexpect = { equals = \"AB\" }\n", set, &wrong);
    EXPECT_EQ(other.result.status, Exit::Failure);
    EXPECT_EQ(other.words, "expected \"AB\", got \"CD\"");
}

TEST(OperatorStep, AWrongAnswerIsAskedAgainWithUntil) {
    SimulatedReceiver set;
    ScriptedOperator person({"1", "2", "3"});
    const Asked asked =
        AskIn("[[step]]\nrun = \"ask Which?\"\nexpect = { equals = \"3\" }\nuntil = 60000\n", set, &person);
    EXPECT_THAT(asked.states, ElementsAre("passed"));
    EXPECT_THAT(person.notes, ElementsAre("", HasSubstr("got \"1\""), HasSubstr("got \"2\"")));
}

TEST(OperatorStep, NoIsABadUnit) {
    const struct {
        const char* said;
        Exit status;
    } rows[] = {{"yes", Exit::Success}, {"Y", Exit::Success},   {"是", Exit::Success},
                {"NO", Exit::Failure},  {"n\r", Exit::Failure}, {"否", Exit::Failure}};
    for (const auto& row : rows) {
        SimulatedReceiver set;
        ScriptedOperator person({"maybe", row.said});
        const Asked asked =
            AskIn("[[step]]\nrun = \"confirm 'Is it fine?'\"\n[[step]]\nrun = \"cam\"\n", set, &person);
        EXPECT_EQ(asked.result.status, row.status) << row.said;
        EXPECT_EQ(asked.states[1], row.status == Exit::Success ? "passed" : "not run");
        EXPECT_THAT(person.notes, ElementsAre("", "\"maybe\" is neither yes nor no"));
    }
    SimulatedReceiver set;
    ScriptedOperator person({"no"});
    EXPECT_THAT(
        AskIn("[[step]]\nrun = \"confirm Is it broken?\"\nexpect = { status = \"failure\" }\n", set, &person)
            .states,
        ElementsAre("passed"));
}

TEST(OperatorStep, AKeyPassesByTheSetsReport) {
    PressedSet set;
    const Millis start = set.Now();
    set.PressAt(start + Millis(5000), "CHUP");
    set.PressAt(start + Millis(6000), "");
    set.PressAt(start + Millis(7000), "MENU");
    ScriptedOperator person({"yes"});
    const Asked asked = AskIn("[[step]]\nrun = \"await key MENU\"\n", set, &person);
    EXPECT_EQ(asked.words, "the set reported the key MENU") << "it was connected first";
    EXPECT_EQ(asked.result.steps[0].state, StepState::Passed);
    EXPECT_GE(asked.result.elapsed, Millis(6900));
    EXPECT_THAT(person.shown, ElementsAre("MENU", "MENU"));
    ScriptedOperator dead({"no"});
    const Asked failed = AskIn("[[step]]\nrun = \"await key POWER\"\n", set, &dead);
    EXPECT_EQ(failed.result.status, Exit::Failure);
    EXPECT_THAT(failed.words, HasSubstr("does not react to POWER"));
}

TEST(OperatorStep, AKeyThatWasPressedBeforeDoesNotCount) {
    PressedSet set;
    set.PressAt(set.Now() + Millis(1500), "MENU");
    ScriptedOperator person;
    const Asked asked =
        AskIn("[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"await key MENU\"\nwait = 5000\ntimeout = 3000\n", set,
              &person);
    EXPECT_THAT(asked.states, ElementsAre("passed", "failed"));
}

TEST(OperatorStep, TheStepsOwnTimeHolds) {
    const std::string defaults = "[defaults]\ntimeout = 100\n";
    PressedSet set;
    set.PressAt(set.Now() + Millis(3000), "CHUP");
    ScriptedOperator nobody;
    const Asked key = AskIn(defaults + "[[step]]\nrun = \"await key MENU\"\ntimeout = 60000\n", set, &nobody);
    EXPECT_EQ(key.words, "the set did not report the key MENU within 60.0 s; it reported CHUP");
    EXPECT_EQ(key.result.status, Exit::NoAnswer);
    EXPECT_GE(key.result.elapsed, Millis(60000));
    EXPECT_LT(key.result.elapsed, Millis(60100));
    const Asked text = AskIn(defaults + "[[step]]\nrun = \"ask Which?\"\ntimeout = 2000\n", set, &nobody);
    EXPECT_EQ(text.words, "the operator did not answer within 2.0 s");
    EXPECT_FALSE(nobody.stands);
}

TEST(OperatorStep, AStopEndsTheWaiting) {
    SimulatedReceiver set;
    BorrowedLine line(set, {set.Now() + Millis(3600000)});
    ScriptedOperator nobody;
    const Asked asked =
        AskIn("[[step]]\nrun = \"ask Which?\"\n[[teardown]]\nrun = \"led red on\"\n", line, &nobody);
    EXPECT_THAT(asked.states, ElementsAre("not run", "passed"));
    EXPECT_EQ(asked.result.status, Exit::Interrupted);
    EXPECT_FALSE(nobody.stands);
}

TEST(OperatorStep, TheLineIsWatchedMeanwhile) {
    PressedSet lost;
    lost.lostAt = lost.Now() + Millis(10000);
    ScriptedOperator nobody;
    const Asked gone = AskIn("[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"ask Which?\"\n", lost, &nobody);
    EXPECT_EQ(gone.result.status, Exit::Port);
    EXPECT_FALSE(nobody.stands);
    SimulatedReceiver set;
    set.RestartAt(set.Now() + Millis(10000));
    const Asked anew = AskIn("[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"confirm Fine?\"\n", set, &nobody);
    EXPECT_EQ(anew.result.status, Exit::Failure);
    EXPECT_THAT(anew.result.steps[1].words, HasSubstr("the set has restarted"));
}

TEST(OperatorStep, WithoutAnOperatorTheStepFails) {
    SimulatedReceiver set;
    const Asked asked = AskIn("[[step]]\nrun = \"ask Which?\"\n", set, nullptr);
    EXPECT_EQ(asked.result.status, Exit::Unusable);
}

}  // namespace
}  // namespace zelline
