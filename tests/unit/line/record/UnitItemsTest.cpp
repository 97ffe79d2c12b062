#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "base/TempFolder.h"
#include "plan/PlanFile.h"
#include "protocol/CommandCatalogue.h"
#include "record/UnitItems.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kPlan[] =
    "[[step]]\nrun = \"mac write @stock\"\n[[step]]\nrun = \"mac read\"\nexpect = { equals = \"${stock.mac}\" }\n"
    "[[step]]\nrun = \"key send hdcp1 @stock\"\n";
constexpr char kAddress[] = "00:00:00:00:00:01";
constexpr std::size_t kWrite = 0;
constexpr std::size_t kRead = 1;
constexpr std::size_t kKey = 2;

class UnitItemsTest : public testing::Test {
  protected:
    UnitItemsTest() {
        Item address;
        address.type = kAddressStock;
        address.name = kAddress;
        address.content = kAddress;
        Item key;
        key.type = "hdcp1";
        key.name = "a.bin";
        key.content = "the key";
        m_stock.Add({address, key});
        std::vector<PlanProblem> problems;
        m_plan = LoadPlan(m_folder.Write("plan.toml", kPlan), {}, problems,
                          {{"stock.mac", "?"}, {"stock.netflix", "?"}});
        EXPECT_TRUE(problems.empty());
        Reserve("A", "r1");
    }

    void Reserve(const std::string& unit, const std::string& run) {
        m_items.reset();
        m_items.emplace(m_stock, unit, run);
        m_items->Reserve(m_plan);
    }
    void Begin(std::size_t number) {
        m_items->StepBegins(number, StepAction(m_plan.steps[number], m_plan.variables));
    }
    void End(std::size_t number, StepState state, const std::string& value = "", Exit status = Exit::Success) {
        StepResult result;
        result.state = state;
        result.status = status;
        result.value = value;
        result.words = "what happened";
        m_items->StepEnded(number, result);
    }
    // The key first.
    std::vector<std::string> States() {
        std::vector<std::string> states;
        for (const Item& item : m_stock.All()) {
            states.emplace_back(ItemStateWord(item.state));
        }
        return states;
    }

    tests::TempFolder m_folder;
    Store m_store{m_folder.At("line.db").string()};
    Stock m_stock{m_store};
    Plan m_plan;
    std::optional<UnitItems> m_items;
};

TEST_F(UnitItemsTest, StandInTheStepsAndVariables) {
    const Action write = StepAction(m_plan.steps[kWrite], m_plan.variables);
    EXPECT_EQ(write.request.payload, kAddress);
    EXPECT_EQ(write.verb, "mac write @stock");
    EXPECT_EQ(StepAction(m_plan.steps[kKey], m_plan.variables).content, "the key");
    EXPECT_EQ(m_plan.variables["stock.mac"], kAddress);
    EXPECT_EQ(m_plan.variables.count("stock.hdcp1"), 1U);
    EXPECT_EQ(m_plan.variables["stock.hdcp1"], "E5DD83C9");
    EXPECT_EQ(m_plan.variables.count("stock.netflix"), 0U);
    EXPECT_THAT(States(), ElementsAre("reserved", "reserved"));
}

TEST_F(UnitItemsTest, AreSpentFromBeforeTheyAreSent) {
    Begin(kWrite);
    EXPECT_THAT(States(), ElementsAre("reserved", "spent"));
    Begin(kKey);
    EXPECT_THAT(States(), ElementsAre("spent", "spent"));
    m_items.reset();
    EXPECT_THAT(States(), ElementsAre("spent", "spent"));
}

TEST_F(UnitItemsTest, AreNotSentByAQuestionThatNamesThem) {
    std::vector<PlanProblem> problems;
    m_plan = LoadPlan(m_folder.Write("plan.toml",
                                     "[[step]]\nrun = \"confirm Is ${stock.mac} on the label?\"\n[[step]]\nrun = "
                                     "\"ask Scan ${stock.mac}\"\n[[step]]\nrun = \"result ${stock.mac}\"\n"),
                      {}, problems, {{"stock.mac", "?"}});
    ASSERT_TRUE(problems.empty());
    Reserve("B", "r2");
    for (const std::size_t question : {0U, 1U}) {
        Begin(question);
        EXPECT_THAT(States(), ElementsAre("free", "reserved"));
        End(question, StepState::Passed, kAddress);
        EXPECT_THAT(States(), ElementsAre("free", "reserved"));
    }
    Begin(2);
    EXPECT_THAT(States(), ElementsAre("free", "spent"));
}

TEST_F(UnitItemsTest, ThatPassedAreWrittenAndVerified) {
    Begin(kWrite);
    End(kWrite, StepState::Passed);
    EXPECT_THAT(States(), ElementsAre("reserved", "written"));
    Begin(kRead);
    End(kRead, StepState::Passed, kAddress);
    EXPECT_THAT(States(), ElementsAre("reserved", "verified"));
    Begin(kKey);
    End(kKey, StepState::Passed);
    EXPECT_THAT(States(), ElementsAre("verified", "verified"));
}

TEST_F(UnitItemsTest, OfWhichTheSetSaysOtherwiseAreNotVerified) {
    Begin(kWrite);
    End(kWrite, StepState::Passed);
    Begin(kRead);
    End(kRead, StepState::Failed, kAddress, Exit::Failure);
    Begin(kRead);
    End(kRead, StepState::Passed, "00:00:00:00:00:02");
    EXPECT_THAT(States(), ElementsAre("reserved", "written"));
}

TEST_F(UnitItemsTest, WithAnyOtherOutcomeStaySpent) {
    for (const Exit status : {Exit::Failure, Exit::NoAnswer, Exit::Port}) {
        Begin(kKey);
        End(kKey, StepState::Failed, "", status);
        EXPECT_EQ(States()[0], "spent") << StatusWord(status);
    }
    Begin(kKey);
    End(kKey, StepState::NotRun, "", Exit::Interrupted);
    EXPECT_EQ(States()[0], "spent");
    EXPECT_THAT(m_stock.All()[0].note, HasSubstr("run r1: what happened"));
}

TEST_F(UnitItemsTest, WhoseStepNeverBeganAreFreeAgain) {
    End(kKey, StepState::Skipped);
    End(kWrite, StepState::Failed, "", Exit::Unusable);
    m_items.reset();
    EXPECT_THAT(States(), ElementsAre("free", "free"));
}

TEST_F(UnitItemsTest, ComeBackWithTheirUnit) {
    Begin(kWrite);
    End(kWrite, StepState::Passed);
    Begin(kKey);
    Reserve("A", "r2");
    EXPECT_EQ(m_plan.variables["stock.mac"], kAddress);
    EXPECT_THAT(States(), ElementsAre("spent", "written"));
    Begin(kRead);
    End(kRead, StepState::Passed, kAddress);
    EXPECT_THAT(States(), ElementsAre("spent", "verified"));
    EXPECT_THROW(Reserve("B", "r3"), Error);
}

TEST_F(UnitItemsTest, NothingIsSentWhenTheStoreFails) {
    m_store.Do([](soci::session& sql) { sql << "ALTER TABLE item RENAME TO lost"; });
    EXPECT_THROW(Begin(kKey), Error);
    m_store.Do([](soci::session& sql) { sql << "ALTER TABLE lost RENAME TO item"; });
    EXPECT_THAT(States(), ElementsAre("reserved", "reserved"));
}

TEST_F(UnitItemsTest, AnOutcomeThatCannotBeWrittenIsToldAndSpent) {
    Begin(kKey);
    m_store.Do([](soci::session& sql) { sql << "ALTER TABLE item RENAME TO lost"; });
    End(kKey, StepState::Passed);
    ASSERT_EQ(m_items->Problems().size(), 1U);
    EXPECT_EQ(m_items->Problems()[0].Status(), Exit::Store);
    m_store.Do([](soci::session& sql) { sql << "ALTER TABLE lost RENAME TO item"; });
    EXPECT_EQ(States()[0], "spent");
}

TEST(ItemTypes, ThatAPlanNamesOrTakes) {
    const tests::TempFolder folder;
    std::vector<PlanProblem> problems;
    const Variables provided = {{"stock.mac", "?"}, {"stock.hdcp2", "?"}};
    const auto typesOf = [&](const std::string& text) {
        return ItemTypesOf(LoadPlan(folder.Write("plan.toml", text), {}, problems, provided));
    };
    EXPECT_THAT(typesOf("[[step]]\nrun = \"version\"\n"), testing::IsEmpty());
    EXPECT_THAT(typesOf("[vars]\nt = \"hdcp1\"\n[[step]]\nrun = \"key send ${t} @stock\"\n"),
                ElementsAre("hdcp1"));
    EXPECT_THAT(typesOf("[[step]]\nrun = \"key crc hdcp2\"\nexpect = { equals = \"${stock.hdcp2}\" }\n"
                        "[[teardown]]\nrun = \"result ${stock.mac}\"\n"),
                ElementsAre("hdcp2", "mac"));
    EXPECT_TRUE(problems.empty());
    EXPECT_THAT(ItemTypes(), testing::Contains("netflix"));
    EXPECT_THAT(ItemTypes(), testing::Not(testing::Contains("config")));
}

}  // namespace
}  // namespace zelline
