#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "simset/board/scenario/ScenarioFile.h"
#include "simset/core/trace/TraceLog.h"

namespace simset {
namespace {

using ::testing::ElementsAre;

const std::vector<VerbForm> kForms = {{"model", "set KEY JSON", ""},
                                      {"line", "[--flip P] [--seed N]", ""},
                                      {"wait", "MATCH", ""},
                                      {"reboot", "", ""}};

class ScenarioFile : public ::testing::Test {
  protected:
    ScenarioFile() : m_path(std::filesystem::path(::testing::TempDir()) / "scenario.toml") {}
    ~ScenarioFile() override { std::filesystem::remove(m_path); }

    Scenario Read(const std::string& text) const {
        std::ofstream(m_path) << text;
        return ReadScenario(m_path.string(), kForms);
    }
    // What is wrong, without the file's name.
    std::string Mistakes(const std::string& text) const {
        try {
            Read(text);
        } catch (const RunError& error) {
            EXPECT_EQ(error.Status(), kExitUsage);
            std::string said = error.what();
            const std::string name = m_path.string() + ":";
            for (std::size_t at = 0; (at = said.find(name, at)) != std::string::npos;) {
                said.erase(at, name.size());
            }
            return said;
        }
        return "";
    }

    std::filesystem::path m_path;
};

TEST_F(ScenarioFile, HasTriggersWithVerbs) {
    const Scenario scenario = Read(R"(
name = "a name"
seed = 7

[[when]]
match = 'who=model key=*volume*'
nth = 2
times = 0
chance = 0.5
delay = 20
optional = true
do = ['model set some.key "two words"', "reboot"]

[[when]]
after = 1500
do = "line --flip 0.1"
)");
    EXPECT_EQ(scenario.seed, 7U);
    EXPECT_EQ(scenario.folder, m_path.parent_path().string());
    ASSERT_EQ(scenario.triggers.size(), 2U);
    const ScenarioTrigger& first = scenario.triggers[0];
    EXPECT_EQ(first.line, 5U);
    EXPECT_EQ(first.text, "who=model key=*volume*");
    ASSERT_TRUE(first.match);
    EXPECT_TRUE(first.match->Holds(TraceRow{1, R"({"who":"model","key":"a.volume.b"})"}));
    EXPECT_EQ(first.nth, 2U);
    EXPECT_EQ(first.times, 0U);
    EXPECT_EQ(first.chance, 0.5);
    EXPECT_EQ(first.delay.count(), 20);
    EXPECT_TRUE(first.optional);
    EXPECT_THAT(first.verbs, ElementsAre(Words{"model", "set", "some.key", "two words"}, Words{"reboot"}));
    const ScenarioTrigger& second = scenario.triggers[1];
    EXPECT_FALSE(second.match);
    EXPECT_EQ(second.after.count(), 1500);
    EXPECT_FALSE(second.optional);
    EXPECT_THAT(second.verbs, ElementsAre(Words{"line", "--flip", "0.1", "--seed", "7"}));
}

TEST_F(ScenarioFile, KeepsTheSeedThatALineIsGiven) {
    const Scenario scenario = Read("[[when]]\nafter = 0\ndo = 'line --flip 0.1 --seed 9'\n");
    EXPECT_THAT(scenario.triggers[0].verbs, ElementsAre(Words{"line", "--flip", "0.1", "--seed", "9"}));
    EXPECT_THAT(Read("[[when]]\nafter = 0\ndo = 'line'\n").triggers[0].verbs, ElementsAre(Words{"line"}));
}

TEST_F(ScenarioFile, TellsEveryMistakeWithItsLine) {
    EXPECT_EQ(Mistakes("[[when]\n").substr(0, 2), "1:");
    EXPECT_EQ(Mistakes("seed = 1\n"), "1: a scenario wants one [[when]] or more");
    EXPECT_EQ(Mistakes("name = []\nseed = -1\n[[when]]\nafter = 1\ndo = 'reboot'\n"),
              "1: 'name' must be a text\n2: 'seed' must be a whole number from 0 to 9223372036854775807");
    EXPECT_EQ(Mistakes("when = 3\n"),
              "1: 'when' must be written as [[when]]\n1: a scenario wants one [[when]] or more");
    EXPECT_EQ(Mistakes("[[when]]\ndo = 'reboot'\n"), "1: a [[when]] wants either 'match' or 'after'");
    EXPECT_EQ(Mistakes("[[when]]\nmatch = 'a'\nafter = 1\ndo = 'reboot'\n"),
              "1: a [[when]] wants either 'match' or 'after'");
    EXPECT_EQ(Mistakes("[[when]]\nmatch = 'a'\n"),
              "1: a [[when]] wants 'do': a verb of simset ctl, or a list of them");
    EXPECT_EQ(Mistakes("[[when]]\nafter = -1\ndo = []\n"),
              "2: 'after' must be a whole number of milliseconds from 0 to 86400000\n3: 'do' is empty");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ntimes = 2\ndo = 'reboot'\n"),
              "3: 'times' goes with 'match': a time comes once");
    EXPECT_EQ(Mistakes("[[when]]\nmatch = 'a'\nchance = 0\noptional = 1\ndo = 'reboot'\n"),
              "3: 'chance' must be a number above 0, at most 1\n4: 'optional' must be true or false");
    EXPECT_EQ(Mistakes("sed = 1\n[[when]]\nafter = 1\ndo = 'reboot'\n"),
              "1: 'sed' is unknown in a scenario; there are name, seed, when");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ndo = ['reboot', 'model set']\n"), "3: usage: model set KEY JSON");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ndo = 'rebot'\n").substr(0, 26), "3: there is no verb \"rebot");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ndo = 'wait who=model'\n"),
              "3: 'wait' does nothing to a set: use 'match'");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ndo = 'model set a \"b'\n"), "3: a quote is not closed");
    EXPECT_EQ(Mistakes("[[when]]\nmatch = '\"'\ndo = 'reboot'\n").substr(0, 2), "2:");
    EXPECT_EQ(Mistakes("[[when]]\nafter = 1\ndo = 3\n"), "3: 'do' must be a text, or a list of texts");
}

TEST_F(ScenarioFile, OneThatIsNotThereIsNamed) {
    EXPECT_THROW(ReadScenario("/nowhere/at-all.toml", kForms), RunError);
}

TEST(SplitWords, TakesQuotesAway) {
    EXPECT_THAT(SplitWords("a  bc "), ElementsAre("a", "bc"));
    EXPECT_THAT(SplitWords(R"(a "b c" "" d"e f"g)"), ElementsAre("a", "b c", "", "de fg"));
    EXPECT_THAT(SplitWords(R"(a ["x"] "say \"it\"")"), ElementsAre("a", "[x]", "say \"it\""));
    EXPECT_TRUE(SplitWords("  ").empty());
    EXPECT_THROW(SplitWords("\"a"), ControlError);
}

}  // namespace
}  // namespace simset
