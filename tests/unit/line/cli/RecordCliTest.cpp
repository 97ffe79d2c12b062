#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "line/CliFixture.h"
#include "record/Runs.h"
#include "store/Store.h"

namespace zelline {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int kSendHdcp1 = 0x1281;

class RecordCli : public CliFixture {
  protected:
    RecordCli() {
        m_folder.Write("keys/1.bin", "key one");
        m_folder.Write("keys/2.bin", "key two");
        m_set.texts[0x1297] = "2.5";
    }

    int With(std::vector<std::string> words) {
        words.insert(words.begin(), {"--store", m_store});
        return Ask(words);
    }
    int RunUnit(const std::string& plan, const std::string& unit, std::vector<std::string> more = {}) {
        std::vector<std::string> words = {"run", m_folder.Write("plan.toml", plan), "--unit", unit};
        words.insert(words.end(), more.begin(), more.end());
        return With(words);
    }
    void Fill() {
        ASSERT_EQ(With({"stock", "add", "hdcp1", m_folder.At("keys").string()}), 0);
        ASSERT_EQ(With({"stock", "add", "mac", "00:00:00:00:00:01", "00:00:00:00:00:02"}), 0);
    }
    std::vector<Json> Lines() const {
        std::vector<Json> objects;
        std::istringstream lines(m_out.str());
        for (std::string line; std::getline(lines, line);) {
            objects.push_back(Json::parse(line));
        }
        return objects;
    }

    std::string m_store = m_folder.At("line.db").string();
    const std::string m_items =
        "[[step]]\nrun = \"mac write @stock\"\n[[step]]\nrun = \"key send hdcp1 @stock\"\n";
    const std::string m_plain = "name = \"Plain\"\n[[step]]\nrun = \"version\"\nexpect = { equals = \"2.5\" }\n";
};

TEST_F(RecordCli, EachUnitHasItsOwnItems) {
    Fill();
    EXPECT_EQ(RunUnit(m_items, "A"), 0) << m_err.str();
    EXPECT_EQ(m_set.installed[kSendHdcp1], "key one");
    EXPECT_THAT(m_set.payloads, testing::Contains("00:00:00:00:00:01"));
    EXPECT_EQ(RunUnit(m_items, "B"), 0);
    EXPECT_EQ(m_set.installed[kSendHdcp1], "key two");
    EXPECT_THAT(m_set.payloads, testing::Contains("00:00:00:00:00:02"));
    EXPECT_EQ(RunUnit(m_items, "A"), 0);
    EXPECT_EQ(m_set.installed[kSendHdcp1], "key one");
    EXPECT_EQ(With({"stock", "status", "--json"}), 0);
    EXPECT_EQ(Lines()[0]["verified"], 2);
    EXPECT_EQ(Lines()[1]["written"], 2);
}

TEST_F(RecordCli, AnEmptyStockSendsNothing) {
    Fill();
    EXPECT_EQ(RunUnit(m_items, "A"), 0);
    EXPECT_EQ(RunUnit(m_items, "B"), 0);
    m_set.received.clear();
    m_opened = 0;
    EXPECT_EQ(RunUnit(m_items, "C"), 6);
    EXPECT_THAT(m_err.str(), HasSubstr("the stock of hdcp1 is empty"));
    EXPECT_EQ(m_opened, 0);
    EXPECT_THAT(m_set.received, testing::IsEmpty());
}

TEST_F(RecordCli, AnUnknownOutcomeIsSpent) {
    Fill();
    m_set.swallowsAnswers = true;
    EXPECT_EQ(RunUnit("[[step]]\nrun = \"key send hdcp1 @stock\"\nretries = 0\ntimeout = 1000\n", "A"), 3);
    EXPECT_EQ(With({"stock", "status", "--json"}), 0);
    EXPECT_EQ(Lines()[0]["spent"], 1);
    EXPECT_EQ(Lines()[0]["free"], 1);
    m_set.swallowsAnswers = false;
    EXPECT_EQ(RunUnit(m_items, "B"), 0);
    EXPECT_EQ(m_set.installed[kSendHdcp1], "key two");
}

TEST_F(RecordCli, WhatWasNotSentIsFreeAgain) {
    Fill();
    EXPECT_EQ(RunUnit("[[step]]\nrun = \"version\"\nexpect = { equals = \"3\" }\n" + m_items, "A"), 1);
    EXPECT_EQ(
        Run({"--port", "other", "--store", m_store, "run", m_folder.At("plan.toml").string(), "--unit", "A"}), 4);
    EXPECT_EQ(With({"stock", "status", "--json"}), 0);
    EXPECT_EQ(Lines()[0]["free"], 2);
    EXPECT_EQ(Lines()[1]["free"], 2);
}

TEST_F(RecordCli, ItemsNeedAUnitAndAStore) {
    const std::string plan = m_folder.Write("plan.toml", m_items);
    EXPECT_EQ(With({"run", plan}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("--unit SERIAL"));
    EXPECT_EQ(Ask({"run", plan, "--unit", "A"}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("--store STORE"));
    EXPECT_EQ(Ask({"run", plan, "--unit", "A\n"}), 2);
    EXPECT_EQ(m_opened, 0);
    EXPECT_EQ(Ask({"mac", "write", "@stock"}), 2);
    EXPECT_EQ(Ask({"key", "send", "hdcp1", "@stock"}), 2);
    EXPECT_TRUE(m_set.received.empty());
}

TEST_F(RecordCli, PlansWithItemsAreCheckedWithoutAStore) {
    const std::string plan = m_folder.Write(
        "plan.toml", m_items + "[[step]]\nrun = \"key crc hdcp1\"\nexpect = { equals = \"${stock.hdcp1}\" }\n");
    EXPECT_EQ(Run({"validate", plan}), 0) << m_err.str();
    EXPECT_EQ(Run({"run", plan, "--dry-run"}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("the unit's hdcp1 from the stock"));
    for (const char* wrong :
         {"[[step]]\nrun = \"key send hdcp9 @stock\"\n", "[[step]]\nrun = \"sn write @stock x\"\n",
          "[[step]]\nrun = \"mac write @stock\"\nexpect = { status = \"failure\" }\n",
          "[[step]]\nrun = \"version\"\nsave = \"v\"\n[[step]]\nrun = \"key send ${v} @stock\"\n"}) {
        EXPECT_EQ(Run({"validate", m_folder.Write("wrong.toml", wrong)}), 2) << wrong;
    }
}

TEST_F(RecordCli, AUnitIsWorkedOnByOneRunAtATime) {
    Store other(m_store);
    ASSERT_TRUE(other.Lock("unit A"));
    EXPECT_EQ(RunUnit(m_plain, "A"), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("being worked on"));
    EXPECT_EQ(RunUnit(m_plain, "B"), 0);
}

TEST_F(RecordCli, TheUnitIsAVariable) {
    EXPECT_EQ(RunUnit("[[step]]\nrun = \"sn write ${unit}\"\n", "AB12"), 0) << m_err.str();
    EXPECT_THAT(m_set.payloads, testing::Contains("AB12"));
}

TEST_F(RecordCli, ARunIsRecordedWithAllThatMatters) {
    const std::string plan =
        "name = \"Final\"\n[vars]\nlevel = 7\n[[step]]\nid = \"v\"\nrun = \"version\"\nexpect = { matches = "
        "\"2.*\" }\n"
        "within = 9000\nuntil = 7000\ntimeout = 4000\n[[step]]\nrun = \"version\"\nexpect = { min = 3 "
        "}\n[[step]]\nrun = \"led red on\"\n";
    EXPECT_EQ(RunUnit(plan, "A", {"--station", "S1", "--set", "level=8"}), 1);
    Store store(m_store);
    const RecordedRun run = LoadRun(store, "last");
    EXPECT_EQ(run.place.unit, "A");
    EXPECT_EQ(run.place.station, "S1");
    EXPECT_EQ(run.place.port, "port");
    EXPECT_FALSE(run.place.tool.empty());
    EXPECT_EQ(run.planHash.size(), 64U);
    EXPECT_EQ(Json::parse(run.variables)["level"], "8");
    EXPECT_EQ(VerdictOf(run), "FAILED");
    ASSERT_EQ(run.result.steps.size(), 3U);
    EXPECT_EQ(run.result.steps[0].value, "2.5");
    EXPECT_EQ(run.result.steps[0].id, "v");
    EXPECT_EQ(run.result.steps[0].tries, 1);
    EXPECT_EQ(Json::parse(run.limits[0]),
              Json({{"matches", "2.*"}, {"within", 9000}, {"until", 7000}, {"timeout", 4000}}));
    EXPECT_EQ(run.result.steps[1].state, StepState::Failed);
    EXPECT_EQ(run.result.steps[2].state, StepState::NotRun);
    EXPECT_EQ(run.result.steps[2].words, "an earlier step failed");
}

TEST_F(RecordCli, ReportsAreMadeAgainFromTheRecord) {
    m_set.texts[0x127B] = std::string("\x01");
    const std::string plan =
        m_plain +
        "[[step]]\nrun = \"uptime\"\non-failure = \"continue\"\n"
        "[[step]]\nrun = \"version\"\nexpect = { equals = \"9\" }\n"
        "[[step]]\nrun = \"led red on\"\nrun-if = \"\"\n[[teardown]]\nrun = \"led green on\"\n";
    std::vector<std::string> first;
    std::vector<std::string> again = {"report", "last"};
    for (const char* kind : {"json", "xml", "csv", "html"}) {
        first.insert(first.end(), {"--report", m_folder.At(fmt::format("first.{}", kind)).string()});
        again.insert(again.end(), {"--report", m_folder.At(fmt::format("again.{}", kind)).string()});
    }
    EXPECT_EQ(RunUnit(plan, "A", first), 1);
    EXPECT_EQ(With(again), 0);
    for (const char* kind : {"json", "xml", "csv", "html"}) {
        const std::string report = m_folder.Read(fmt::format("first.{}", kind));
        EXPECT_GT(report.size(), 100U) << kind;
        EXPECT_EQ(m_folder.Read(fmt::format("again.{}", kind)), report);
    }
    EXPECT_EQ(Json::parse(m_folder.Read("again.json"))["unit"], "A");
}

TEST_F(RecordCli, ReportsAreNamedByPatternAndOverwriteNothing) {
    const std::string pattern = m_folder.At("{unit}-{plan}.csv").string();
    EXPECT_EQ(RunUnit(m_plain, "A/1", {"--report", pattern}), 0) << m_err.str();
    const std::string older = m_folder.Read("A_1-plan.csv");
    EXPECT_FALSE(older.empty());
    m_set.texts[0x1297] = "2.6";
    EXPECT_EQ(RunUnit(m_plain, "A/1", {"--report", pattern}), 1);
    EXPECT_THAT(m_err.str(), HasSubstr("A_1-plan.csv was there before"));
    EXPECT_EQ(m_folder.Read("A_1-plan.1.csv"), older);
    EXPECT_NE(m_folder.Read("A_1-plan.csv"), older);
    EXPECT_EQ(RunUnit(m_plain, "A/1", {"--report", pattern}), 1);
    EXPECT_EQ(m_folder.Read("A_1-plan.1.csv"), older);
    EXPECT_FALSE(m_folder.Read("A_1-plan.2.csv").empty());
    EXPECT_EQ(RunUnit(m_plain, "A", {"--report", m_folder.At("{serial}.csv").string()}), 2);
    EXPECT_EQ(RunUnit(m_plain, "A", {"--report", pattern, "--report", pattern}), 2);
}

TEST_F(RecordCli, AKilledRunIsUnfinishedAndNoPass) {
    EXPECT_EQ(RunUnit(m_plain + "[[step]]\nrun = \"led red on\"\n", "A"), 0);
    // What the store holds when the tool is killed in the second step.
    Store(m_store).Do([](soci::session& sql) {
        sql << "UPDATE run SET ended = '', verdict = '', ms = 0, status = 130";
        sql << "UPDATE step SET state = 'not run', ended = '', words = 'the run did not come to its end' WHERE "
               "number = 1";
    });
    EXPECT_EQ(With({"history", "--json"}), 0);
    EXPECT_EQ(Last()["verdict"], "UNFINISHED");
    EXPECT_TRUE(Last()["ended"].is_null());
    EXPECT_EQ(With({"report", "last", "--json"}), 0);
    EXPECT_EQ(Last()["verdict"], "ABORTED");
    EXPECT_EQ(Last()["passed"], 1);
    EXPECT_EQ(Last()["not_run"], 1);
    EXPECT_EQ(With({"yield"}), 0);
    EXPECT_EQ(m_out.str(), "");
}

TEST_F(RecordCli, TheListHasTheLatestLast) {
    EXPECT_EQ(RunUnit(m_plain, "A"), 0);
    EXPECT_EQ(RunUnit(m_plain, "B"), 0);
    m_set.texts[0x1297] = "1";
    EXPECT_EQ(RunUnit(m_plain, "A"), 1);
    Store(m_store).Do([](soci::session& sql) {  // the three were made within a second
        sql << "UPDATE run SET id = 'r1' WHERE unit = 'B'";
        sql << "UPDATE step SET run = 'r1' WHERE run NOT IN (SELECT id FROM run)";
    });
    EXPECT_EQ(With({"history", "--json"}), 0);
    ASSERT_EQ(Lines().size(), 3U);
    EXPECT_EQ(Lines()[2]["unit"], "B");
    EXPECT_EQ(With({"history", "--json", "--unit", "A"}), 0);
    ASSERT_EQ(Lines().size(), 2U);
    EXPECT_EQ(With({"history", "--json", "--last", "1"}), 0);
    ASSERT_EQ(Lines().size(), 1U);
    EXPECT_EQ(Lines()[0]["run"], "r1");
    EXPECT_EQ(With({"history"}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("expected \"2.5\", got \"1\""));
    EXPECT_EQ(With({"report", "r"}), 0);
    EXPECT_EQ(With({"report", "20"}), 2) << "two begin so";
    EXPECT_EQ(With({"report", "x"}), 2);
    EXPECT_EQ(With({"report", ""}), 2);
}

TEST_F(RecordCli, TheYieldCountsUnitsAndNotRuns) {
    const auto runs = [&](const char* unit, const char* version, int number) {
        m_set.texts[0x1297] = version;
        RunUnit(m_plain, unit);
        Store(m_store).Do([&](soci::session& sql) {
            const std::string id = fmt::format("a{}", number);
            const std::string started = fmt::format("2026-05-0{}T00:00:00Z", number);
            sql << "UPDATE step SET run = :id WHERE run LIKE '2%'", soci::use(id);
            sql << "UPDATE run SET id = :id, started = :started WHERE id LIKE '2%'", soci::use(id),
                soci::use(started);
        });
    };
    runs("A", "2.5", 1);
    runs("B", "1", 2);
    runs("B", "1", 3);
    runs("B", "2.5", 4);
    runs("C", "1", 5);
    runs("A", "2.5", 6);
    EXPECT_EQ(With({"yield", "--json"}), 0);
    EXPECT_EQ(Last()["name"], "Plain");
    EXPECT_EQ(Last()["units"], 3);
    EXPECT_EQ(Last()["first_pass"], 1);
    EXPECT_EQ(Last()["passed"], 2);
    EXPECT_EQ(Last()["runs"], 6);
    EXPECT_EQ(Last()["failures"], Json::parse(R"([{"step":"version","runs":3}])"));
    EXPECT_EQ(With({"yield"}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("first pass   33.3 %  1 of 3 units"));
    EXPECT_EQ(With({"yield", "--json", "--since", "2026-05-05"}), 0);
    EXPECT_EQ(Last()["units"], 2);
    EXPECT_EQ(Last()["first_pass"], 1);
    for (const char* day : {"yesterday", "2026-13-01", "2026-5-5", "20260505"}) {
        EXPECT_EQ(With({"yield", "--since", day}), 2) << day;
    }
    EXPECT_EQ(With({"yield", "--since", "2099-01-01"}), 0);
    EXPECT_THAT(m_err.str(), HasSubstr("no unit has come to the end of a run since 2099-01-01"));
    EXPECT_EQ(With({"history", "--unit", "nobody"}), 0);
    EXPECT_THAT(m_err.str(), HasSubstr("no run of this unit"));
}

TEST_F(RecordCli, WhatOnlyLooksMakesNoStore) {
    for (const std::vector<std::string>& verb :
         {std::vector<std::string>{"history"}, {"yield"}, {"report", "last"}, {"stock", "status"}}) {
        EXPECT_EQ(With(verb), 2);
        EXPECT_THAT(m_err.str(), HasSubstr("there is no store"));
        EXPECT_FALSE(std::filesystem::exists(m_store));
    }
}

TEST_F(RecordCli, AReportMakesItsFolder) {
    EXPECT_EQ(RunUnit(m_plain, "A", {"--report", m_folder.At("reports/{unit}/r.csv").string()}), 0);
    EXPECT_TRUE(std::filesystem::exists(m_folder.At("reports/A/r.csv")));
}

TEST_F(RecordCli, ARecordThatCannotBeWrittenIsToldWhenTheRunIsOver) {
    EXPECT_EQ(RunUnit(m_plain, "A"), 0);
    Store(m_store).Do([](soci::session& sql) {
        sql << "CREATE TRIGGER refuse BEFORE UPDATE ON run BEGIN SELECT RAISE(ABORT, 'no room'); END";
    });
    EXPECT_EQ(RunUnit(m_plain, "A"), 5);
    EXPECT_THAT(m_err.str(), HasSubstr("no room"));
    EXPECT_THAT(m_out.str(), HasSubstr("PASSED"));
    Store(m_store).Do([](soci::session& sql) {
        sql << "CREATE TRIGGER refuse2 BEFORE INSERT ON run BEGIN SELECT RAISE(ABORT, 'no room'); END";
    });
    m_set.received.clear();
    EXPECT_EQ(RunUnit(m_plain, "A"), 6);
    EXPECT_TRUE(m_set.received.empty());
}

}  // namespace
}  // namespace zelline
