#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "base/TempFolder.h"
#include "cli/Cli.h"
#include "cli/Help.h"
#include "cli/ToolVerbs.h"
#include "line/CliFixture.h"
#include "trace/Trace.h"

namespace zelline {
namespace {

using testing::HasSubstr;

class Cli : public CliFixture {};

TEST_F(Cli, ValuesStandAloneOnStandardOutput) {
    m_set.texts[0x1297] = "2.5";
    EXPECT_EQ(Ask({"version"}), 0);
    EXPECT_EQ(m_out.str(), "2.5\n");
    EXPECT_EQ(m_err.str(), "");
}

TEST_F(Cli, ConnectsASetThatIsNotConnected) {
    EXPECT_EQ(Ask({"led", "red", "on"}), 0);
    EXPECT_TRUE(m_set.connected);
}

TEST_F(Cli, NoConnectLeavesItOut) {
    EXPECT_EQ(Ask({"--no-connect", "--retries", "0", "version"}), 3);
    EXPECT_EQ(m_set.connects, 0);
}

TEST_F(Cli, StatusFollowsTheAnswer) {
    m_set.texts[0x127B] = "\x01";
    EXPECT_EQ(Ask({"wifi-mac"}), 1);
    EXPECT_EQ(Ask({"--timeout", "700", "--retries", "0", "raw", "1299"}), 3);
    EXPECT_THAT(m_err.str(), HasSubstr("never answers"));
}

TEST_F(Cli, UnusableArgumentsSendNothing) {
    const std::vector<std::vector<std::string>> rows = {
        {},
        {"dance"},
        {"volume", "101"},
        {"volume"},
        {"--timeout", "0", "version"},
        {"--timeout", "soon", "version"},
        {"--retries", "-1", "version"},
        {"--wat", "version"},
        {"decode", "7"},
        {"decode"},
        {"run", "nowhere.toml"},
        {"run"},
        {"validate", "nowhere.toml"},
        {"replay", "nowhere.jsonl"},
        {"key", "send", "hdcp1", m_folder.At("nowhere")},
        {"key", "send", "hdcp1", m_folder.Write("empty", "")},
        {"key", "send", "hdcp1", m_folder.Write("large", std::string(16321, 'x'))},
        {"key", "send", "hdcp1", m_folder.At(".")},
        {"config", m_folder.At("nowhere")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(row), 2) << testing::PrintToString(row);
        EXPECT_NE(m_err.str(), "") << testing::PrintToString(row);
    }
    EXPECT_EQ(m_opened, 0);
    EXPECT_EQ(Run({"version"}), 2) << "no port";
}

TEST_F(Cli, TakenPortIsFour) {
    EXPECT_EQ(Run({"--port", "other", "version"}), 4);
    EXPECT_THAT(m_err.str(), HasSubstr("picocom"));
    EXPECT_EQ(Run({"--port", "other", "--json", "version"}), 4);
    EXPECT_EQ(Last()["exit"], 4);
}

TEST_F(Cli, RecordThatCannotBeWrittenIsFiveBeforeAnythingIsSent) {
    const std::string plan = m_folder.Write("plan.toml", "[[step]]\nrun = \"version\"\n");
    EXPECT_EQ(Ask({"--trace", m_folder.At("nowhere/t"), "version"}), 5);
    EXPECT_EQ(Ask({"run", plan, "--report", plan + "/r.json"}), 5);
    EXPECT_EQ(m_opened, 0);
}

TEST_F(Cli, JsonIsOneObjectPerLineWithItsVersion) {
    m_set.texts[0x1296] = std::string("\x2C\x01\0\0", 4);
    EXPECT_EQ(Ask({"--json", "uptime"}), 0);
    EXPECT_EQ(Last()["value"], 300);
    EXPECT_EQ(Last()["outcome"], "success");
    EXPECT_EQ(Ask({"uptime", "--json"}), 0) << "options may stand behind the verb";
    EXPECT_EQ(Last()["exit"], 0);
    EXPECT_EQ(Ask({"--json", "--timeout", "700", "--retries", "0", "raw", "1299"}), 3);
    EXPECT_EQ(Last()["outcome"], "no answer");
    EXPECT_EQ(Ask({"--json", "dance"}), 2);
    EXPECT_EQ(Last()["type"], "error");
    EXPECT_EQ(Run({"--json", "decode", "79 00 12 72 01 02 00 01 78 FE 00"}), 0);
    EXPECT_EQ(Last()["type"], "damage");
    EXPECT_EQ(Run({"--json", "commands"}), 0);
    EXPECT_EQ(Last()["id"], "0x12BA");
}

TEST_F(Cli, SendsKeysAndReadsTheirChecksum) {
    const std::string file = m_folder.Write("key.bin", "123456789");
    EXPECT_EQ(Ask({"--json", "key", "send", "widevine", file}), 0);
    EXPECT_EQ(Last()["crc32"], "CBF43926");
    EXPECT_EQ(Last()["set_crc32"], "CBF43926");
    EXPECT_EQ(m_set.installed[0x12A2], "123456789");
    EXPECT_EQ(Ask({"key", "crc", "widevine"}), 0);
    EXPECT_EQ(m_out.str(), "CBF43926\n");
    m_set.refuses = true;
    EXPECT_EQ(Ask({"key", "send", "widevine", file}), 1);
    EXPECT_EQ(Ask({"config", file}), 1);
}

TEST_F(Cli, LeaveIsShownByTheConnectInFrontOfIt) {
    EXPECT_EQ(Ask({"leave"}), 0);
    m_set.Settle();
    EXPECT_EQ(m_set.received, (std::vector<int>{0x1273, 0x1299}));
}

TEST_F(Cli, RunsAPlanAndItsTableFits) {
    m_set.texts[0x1297] = std::string(64, 'v');
    const std::string plan = m_folder.Write("plan.toml", "[[step]]\nname = \"" + std::string(60, 'n') +
                                                             "\"\nrun = \"version\"\n[[step]]\nrun = \"cam\"\n");
    EXPECT_EQ(Ask({"run", plan, "--report", m_folder.At("r.json")}), 0);
    std::istringstream lines(m_out.str());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 100U) << line;
    }
    EXPECT_THAT(m_out.str(), HasSubstr("PASSED: 2 of 2"));
    EXPECT_EQ(Json::parse(m_folder.Read("r.json"))["passed"], 2);
    EXPECT_EQ(Ask({"--json", "run", plan}), 0);
    EXPECT_EQ(Last()["type"], "summary");
}

TEST_F(Cli, QuestionsAreAnsweredBeforehandWhereThereIsNoTerminal) {
    const std::string plan =
        m_folder.Write("plan.toml",
                       "[[step]]\nid = \"label\"\nrun = \"ask Which label?\"\nexpect = { equals = \"A\" }\n"
                       "[[step]]\nname = \"Picture\"\nrun = \"confirm Is it fine?\"\n");
    EXPECT_EQ(Ask({"--json", "run", plan, "--answer", "label=A"}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("plan.toml:7: the step asks the operator, and with --json nobody is asked: "
                                       "write --answer 'Picture=yes|no'; nothing was sent"));
    EXPECT_EQ(Ask({"--json", "run", plan}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("write --answer 'label=TEXT' --answer 'Picture=yes|no'; nothing was sent"));
    EXPECT_EQ(Ask({"run", plan, "--answer", "label=A", "--answer", "Picture=perhaps"}), 2);
    EXPECT_EQ(Ask({"run", plan, "--answer", "label= ", "--answer", "Picture=yes"}), 2);
    EXPECT_EQ(Ask({"run", plan, "--answer", "label=A", "--answer", "Picture=yes", "--answer", "x=y"}), 2);
    EXPECT_EQ(m_opened, 0);
    EXPECT_EQ(Ask({"--json", "run", plan, "--answer", "label=A", "--answer", "Picture=yes"}), 0);
    EXPECT_EQ(Ask({"--json", "run", plan, "--answer", "label=A", "--answer", "Picture=no"}), 1);
    EXPECT_EQ(Ask({"--json", "run", plan, "--answer", "label=B", "--answer", "Picture=yes"}), 1);
    m_opened = 0;
    EXPECT_EQ(Run({"run", plan, "--dry-run"}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("asks the operator: Which label?"));
    EXPECT_EQ(Run({"validate", plan}), 0);
    EXPECT_EQ(m_opened, 0);
}

TEST_F(Cli, DryRunOpensNothingAndShowsTheBytes) {
    const std::string plan = m_folder.Write("plan.toml", "[[step]]\nrun = \"volume ${n}\"\n");
    EXPECT_EQ(Run({"run", plan, "--dry-run", "--set", "n=20"}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("79 00 12 9F 01 14 00 00 3A FE"));
    EXPECT_EQ(m_opened, 0);
    EXPECT_EQ(Run({"validate", plan, "--set", "n=20"}), 0);
    EXPECT_EQ(Run({"validate", plan}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("plan.toml:2: "));
    EXPECT_EQ(Run({"validate", plan, "--set", "n"}), 2);
}

TEST_F(Cli, DryRunShowsAConnectInFrontOfTheFirstStepOnly) {
    const std::string plan = m_folder.Write(
        "plan.toml", "[[step]]\nrun = \"version\"\n[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"leave\"\n");
    EXPECT_EQ(Run({"--json", "run", plan, "--dry-run"}), 0);
    std::vector<std::size_t> frames;
    std::istringstream lines(m_out.str());
    for (std::string line; std::getline(lines, line);) {
        frames.push_back(Json::parse(line)["sends"].size());
    }
    EXPECT_EQ(frames, (std::vector<std::size_t>{2, 1, 2}));  // leaving goes out behind a connect at all times
    m_set.texts[0x1297] = "1";
    EXPECT_EQ(Ask({"run", plan, "--trace", m_folder.At("t.jsonl")}), 0);
    std::vector<std::string> sent;
    std::istringstream rows(m_folder.Read("t.jsonl"));
    for (std::string row; std::getline(rows, row);) {
        const Json object = Json::parse(row);
        if (object["dir"] == "tx" && object.contains("id")) {
            sent.push_back(object["id"]);
        }
    }
    EXPECT_EQ(sent, (std::vector<std::string>{"0x1273", "0x1297", "0x128A", "0x1273", "0x1299"}));
}

TEST_F(Cli, ADryRunShowsWhatGoesOutTogether) {
    const std::string plan = m_folder.Write(
        "plan.toml",
        "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"led red on\"\n[[step]]\nrun = \"cam\"\n"
        "[[step]]\nrun = \"led green on\"\n[[step]]\nrun = \"result PASS\"\nrun-if = \"${step.all} == passed\"\n");
    EXPECT_EQ(Run({"run", plan, "--dry-run"}), 0);
    EXPECT_THAT(m_out.str(),
                HasSubstr("Burst 1: 3 steps go out together, 141 bytes at most; the next does not: it "
                          "needs ${step.all}, which is not known before"));
    EXPECT_EQ(Run({"run", plan, "--dry-run", "--json"}), 0);
    std::vector<std::string> sent;
    std::istringstream lines(m_out.str());
    for (std::string line; std::getline(lines, line);) {
        const Json object = Json::parse(line);
        for (const Json& frame : object.value("sends", Json::array())) {
            sent.push_back(fmt::format("{} {}", object["burst"].dump(), frame.get<std::string>().substr(6, 5)));
        }
    }
    EXPECT_THAT(sent, testing::ElementsAre("1 12 73", "1 12 77", "1 12 A0", "1 12 8A", "1 12 A0", "1 12 77",
                                           "null 12 98"));
    EXPECT_EQ(Run({"run", plan, "--dry-run", "--one-by-one"}), 0);
    EXPECT_THAT(m_out.str(), testing::Not(HasSubstr("Burst")));
}

TEST_F(Cli, StepsGoOutTogetherUnlessTheyAreToGoOneByOne) {
    const std::string plan = m_folder.Write(
        "plan.toml",
        "[defaults]\non-failure = \"continue\"\n[[step]]\nrun = \"version\"\n[[step]]\nrun = \"led red on\"\n"
        "[[step]]\nrun = \"led green on\"\n");
    m_set.texts[0x1297] = "2.5";
    const std::string trace = m_folder.At("t.jsonl");
    const auto sent = [&] {
        std::vector<std::string> ids;
        std::istringstream rows(m_folder.Read("t.jsonl"));
        for (std::string row; std::getline(rows, row);) {
            const Json object = Json::parse(row);
            const std::string id = object.value("id", "0x12 flush");
            ids.push_back(object["dir"].get<std::string>() + id.substr(4));
        }
        return ids;
    };
    EXPECT_EQ(Ask({"run", plan, "--json", "--trace", trace}), 0);
    const std::string together = m_out.str();
    EXPECT_THAT(sent(), testing::ElementsAre("tx flush", "tx73", "tx77", "tx97", "txA0", "tx77", "txA0", "tx7D",
                                             "rx73", "rx77", "rx97", "rxA0", "rx77", "rxA0", "rx7D"));
    EXPECT_EQ(Ask({"replay", trace, "--json"}), 0);
    std::istringstream lines(m_out.str());
    std::vector<std::string> asked;
    for (std::string line; std::getline(lines, line);) {
        asked.push_back(Json::parse(line)["request"].get<std::string>().substr(9, 8));
    }
    EXPECT_THAT(asked, testing::ElementsAre("73 00 00", "77 00 00", "97 00 00", "A0 06 52", "77 00 00", "A0 08 47",
                                            "7D 00 00"));
    EXPECT_EQ(Ask({"run", plan, "--json", "--one-by-one", "--trace", trace}), 0);
    EXPECT_THAT(sent(),
                testing::ElementsAre("tx flush", "tx73", "tx97", "rx73", "rx97", "txA0", "rxA0", "txA0", "rxA0"));
    EXPECT_EQ(Last()["passed"], 3);
    EXPECT_THAT(together, HasSubstr("\"burst\":1"));
    EXPECT_THAT(m_out.str(), testing::Not(HasSubstr("\"burst\":1")));
}

TEST_F(Cli, TriesAreCountedAndTheTimeIsTheOneThatIsMeant) {
    EXPECT_EQ(Ask({"--json", "--timeout", "700", "--retries", "2", "raw", "1299"}), 3);
    EXPECT_EQ(Last()["tries"], 3);
    EXPECT_EQ(Last()["ms"], 2100);
    EXPECT_THAT(Last()["words"].get<std::string>(), HasSubstr("within 3 tries of 700 ms"));
    const std::string file = m_folder.Write("key.bin", "123456789");
    const Millis start = m_set.Now();
    EXPECT_EQ(Ask({"--json", "--timeout", "700", "--retries", "0", "--no-connect", "key", "send", "hdcp1", file}),
              0)
        << "a key is sent behind a connect at all times";
    m_set.isDead = true;
    const Millis dead = m_set.Now();
    EXPECT_GT(dead, start);
    EXPECT_EQ(Ask({"--json", "--timeout", "700", "--retries", "0", "key", "send", "hdcp1", file}), 3);
    EXPECT_EQ(m_set.Now() - dead, Millis(700));
    EXPECT_EQ(Last()["tries"], 1);
}

TEST_F(Cli, ANamedPipeIsNoKeyFile) {
    const std::string pipe = m_folder.At("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(Ask({"key", "send", "hdcp1", pipe}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("but a pipe"));
    EXPECT_EQ(m_opened, 0);
}

TEST_F(Cli, ALongStepShowsThatItLives) {
    m_isTerminal = true;
    EXPECT_EQ(Ask({"--timeout", "3000", "--retries", "0", "raw", "1299"}), 3);
    EXPECT_THAT(m_err.str(), HasSubstr("waiting for 2 s"));
    const std::string plan = m_folder.Write("plan.toml", "[[step]]\nrun = \"cam\"\nwait = 4000\n");
    EXPECT_EQ(Ask({"run", plan}), 0);
    EXPECT_THAT(m_err.str(), HasSubstr("waiting for 3 s"));
    m_isTerminal = false;
    EXPECT_EQ(Ask({"run", plan}), 0);
    EXPECT_EQ(m_err.str(), "");
}

TEST_F(Cli, TheTableKeepsItsColumnsForWideCharacters) {
    const std::string plan =
        m_folder.Write("plan.toml", "[[step]]\nname = \"\u97f3\u91cf\"\nrun = \"cam\"\n[[step]]\nname = \"" +
                                        std::string(3, 'x') +
                                        "\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf"
                                        "\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\"\nrun = \"cam\"\n");
    EXPECT_EQ(Ask({"run", plan}), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("  1  \u97f3\u91cf" + std::string(26, ' ') + "  passed"));
    EXPECT_THAT(
        m_out.str(),
        HasSubstr("  2  xxx\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf\u97f3\u91cf...  passed"));
}

TEST_F(Cli, AStoppedRunIsAbortedAndItsRecordsAreWhole) {
    const std::string plan = m_folder.Write(
        "plan.toml",
        "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"volume 1\"\nwait = 60000\n[[step]]\nrun = \"volume 2\"\n"
        "[[teardown]]\nrun = \"led green on\"\n");
    m_stops = {m_set.Now() + Millis(5000)};
    EXPECT_EQ(Ask({"--json", "run", plan, "--report", m_folder.At("r.json"), "--report", m_folder.At("r.xml")}),
              130);
    EXPECT_EQ(Last()["type"], "summary");
    EXPECT_EQ(Last()["verdict"], "ABORTED");
    EXPECT_EQ(Last()["outcome"], "aborted");
    EXPECT_EQ(Last()["exit"], 130);
    EXPECT_THAT(m_set.payloads, testing::Contains("GREEN_ON"));
    const Json report = Json::parse(m_folder.Read("r.json"));
    EXPECT_EQ(report["verdict"], "ABORTED");
    EXPECT_EQ(report["steps"].size(), 4U);
    EXPECT_THAT(m_folder.Read("r.xml"), HasSubstr("errors=\"1\""));
    m_stops = {m_set.Now() + Millis(5000)};
    EXPECT_EQ(Ask({"run", plan}), 130);
    EXPECT_THAT(m_out.str(), HasSubstr("ABORTED: 2 of 4 steps passed, 0 failed"));
}

TEST_F(Cli, WhatWasDoneStandsBesideTheReportWhileARunGoesOn) {
    // The set looks at the file while the plan runs: when it is asked for the version.
    const std::string plan = m_folder.Write("plan.toml", "[[step]]\nrun = \"cam\"\n[[step]]\nrun = \"version\"\n");
    Json seen;
    m_set.onFrame = [&](int id) {
        if (id == 0x1297) {
            seen = Json::parse(m_folder.Read("r.json.part"));
        }
    };
    EXPECT_EQ(Ask({"run", plan, "--report", m_folder.At("r.json")}), 0);
    EXPECT_EQ(seen["verdict"], "ABORTED");
    EXPECT_EQ(seen["passed"], 1);
    EXPECT_EQ(seen["not_run"], 1);
}

TEST_F(Cli, ATraceStaysAsItWasWhenThePortCannotBeOpened) {
    const std::string trace = m_folder.Write("t.jsonl", "an earlier one\n");
    EXPECT_EQ(Run({"--port", "other", "--trace", trace, "version"}), 4);
    EXPECT_EQ(m_folder.Read("t.jsonl"), "an earlier one\n");
    EXPECT_EQ(Ask({"--trace", trace, "listen", "--for", "100"}), 0);
    EXPECT_EQ(m_folder.Read("t.jsonl"), "");
}

TEST_F(Cli, ReplayTellsWhichRequestOfABurstAnAnswerBelongsTo) {
    m_set.texts[0x1297] = "2.5";
    const std::string trace = m_folder.At("t.jsonl");
    EXPECT_EQ(Ask({"--trace", trace, "version"}), 0);  // a connect and the query, in one burst
    EXPECT_EQ(Ask({"replay", trace, "--json"}), 0);
    std::vector<std::string> pairs;
    std::istringstream lines(m_out.str());
    for (std::string line; std::getline(lines, line);) {
        const Json row = Json::parse(line);
        pairs.push_back(row["request"].get<std::string>().substr(6, 5) + " / " +
                        row["answer"].get<std::string>().substr(6, 5));
    }
    EXPECT_EQ(pairs, (std::vector<std::string>{"12 73 / 12 73", "12 97 / 12 97"}));
}

TEST_F(Cli, ReplayComparesAnswers) {
    m_set.texts[0x1297] = "2.5";
    const std::string trace = m_folder.At("t.jsonl");
    EXPECT_EQ(Ask({"--trace", trace, "version"}), 0);
    const std::string again = m_folder.At("again.jsonl");
    EXPECT_EQ(Ask({"replay", trace, "--trace", again}), 0);
    EXPECT_TRUE(ReadTrace(again)[0].flushed);  // as it was recorded
    m_set.texts[0x1297] = "2.6";
    EXPECT_EQ(Ask({"replay", trace}), 1);
    EXPECT_THAT(m_out.str(), HasSubstr("\"2.6\""));
    m_set.texts[0x1297] = "2.5";
    EXPECT_EQ(Ask({"replay", trace, "--json"}), 0);
    EXPECT_EQ(Last()["same"], true);
}

TEST_F(Cli, ListensForTheGivenTime) {
    const Millis start = m_set.Now();
    EXPECT_EQ(Ask({"listen", "--for", "2500"}), 0);
    EXPECT_EQ(m_set.Now() - start, Millis(2500));
    EXPECT_EQ(m_err.str(), "");
    EXPECT_EQ(Ask({"listen", "--for", "9000"}), 0);
    EXPECT_EQ(m_err.str(), "nothing so far: a set that is connected says nothing of itself; ask it something\n");
    EXPECT_TRUE(m_set.received.empty());
}

TEST_F(Cli, EveryVerbHasAPage) {
    EXPECT_EQ(Run({"--help"}), 0);
    const std::string page = m_out.str();
    const auto check = [&](const std::string& name) {
        EXPECT_THAT(page, HasSubstr("\n  " + name));
        EXPECT_EQ(Run({name, "--help"}), 0) << name;
        EXPECT_THAT(m_out.str(), HasSubstr("zelline [options] " + name));
    };
    for (const VerbInfo& verb : Verbs()) {
        check(std::string(verb.name));
    }
    for (const ToolVerb& verb : ToolVerbs()) {
        check(std::string(verb.name));
    }
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 100U) << line;
    }
}

}  // namespace
}  // namespace zelline
