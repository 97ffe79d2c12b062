#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/TempFolder.h"
#include "line/SimulatedReceiver.h"
#include "link/Uploader.h"
#include "trace/Trace.h"
#include "wire/Error.h"

namespace zelline {
namespace {

std::vector<nlohmann::json> Rows(const std::string& text) {
    std::vector<nlohmann::json> rows;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line)) {
        rows.push_back(nlohmann::json::parse(line));
    }
    return rows;
}

std::string TracedKey(const tests::TempFolder& folder, bool withBytes) {
    SimulatedReceiver set;
    Trace trace(folder.At("t.jsonl"), withBytes);
    Link link(set, {&trace});
    Uploader(link, FindKeyType("netflix"), "SECRETSECRET", {}).Run();
    return folder.Read("t.jsonl");
}

TEST(Trace, HoldsEveryFrameWithTimeAndWords) {
    const tests::TempFolder folder;
    SimulatedReceiver set;
    set.texts[0x1297] = "2.5";
    {
        Trace trace(folder.At("t.jsonl"), false);
        Link link(set, {&trace});
        link.Ask({0x1297, "", 0, 0}, {});
    }
    const auto rows = Rows(folder.Read("t.jsonl"));
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows[0]["flush"], 73);
    EXPECT_EQ(rows[0]["dir"], "tx");
    EXPECT_EQ(rows[0]["ms"], 0);
    EXPECT_EQ(rows[1]["hex"], "79 00 12 73 00 00 00 7B FE");
    EXPECT_EQ(rows[1]["dir"], "tx");
    EXPECT_EQ(rows[4]["dir"], "rx");
    EXPECT_EQ(rows[4]["id"], "0x1297");
    EXPECT_GE(rows[4]["ms"], 500);
    for (const auto& row : rows) {
        EXPECT_EQ(row["v"], 1);
        EXPECT_TRUE(row["time"].get<std::string>().back() == 'Z');
        EXPECT_FALSE(row["words"].get<std::string>().empty());
    }
}

TEST(Trace, LeavesKeyBytesOutUnlessAsked) {
    const tests::TempFolder folder;
    const std::string secretHex = "53 45 43 52 45 54";
    const std::string hidden = TracedKey(folder, false);
    EXPECT_EQ(hidden.find(secretHex), std::string::npos);
    EXPECT_EQ(hidden.find("SECRET"), std::string::npos);
    EXPECT_NE(hidden.find("\"redacted\":12"), std::string::npos);
    EXPECT_NE(TracedKey(folder, true).find(secretHex), std::string::npos);
}

TEST(Trace, CanBeReadAgain) {
    const tests::TempFolder folder;
    TracedKey(folder, true);
    const auto bursts = ReadTrace(folder.At("t.jsonl"));
    ASSERT_GE(bursts.size(), 3U);
    EXPECT_TRUE(bursts[0].flushed);
    EXPECT_EQ(bursts[0].requests.size(), 2U);
    EXPECT_EQ(bursts[0].answers.size(), 2U);
    EXPECT_FALSE(bursts[1].flushed);
}

TEST(Trace, AFlushBeginsAnotherBurst) {
    const tests::TempFolder folder;
    const std::string connect = "{\"v\":1,\"dir\":\"tx\",\"hex\":\"79 00 12 73 00 00 00 7B FE\"}\n";
    const std::string flush = "{\"v\":1,\"dir\":\"tx\",\"flush\":73}\n";
    const auto bursts = ReadTrace(folder.Write("t.jsonl", connect + flush + connect + connect + flush));
    ASSERT_EQ(bursts.size(), 2U);
    EXPECT_FALSE(bursts[0].flushed);
    EXPECT_TRUE(bursts[1].flushed);
    EXPECT_EQ(bursts[1].requests.size(), 2U);
}

TEST(Trace, MistakesOfARecordNameTheLine) {
    const tests::TempFolder folder;
    const auto told = [&](const std::string& text) {
        try {
            ReadTrace(folder.Write("t.jsonl", text));
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Exit::Unusable);
            return std::string(error.what());
        }
        return std::string();
    };
    const std::string good = "{\"v\":1,\"dir\":\"tx\",\"hex\":\"79 00 12 73 00 00 00 7B FE\"}\n";
    EXPECT_EQ(told(good), "");
    EXPECT_NE(told(good + "nonsense\n").find(":2:"), std::string::npos);
    EXPECT_NE(told(good + "{\"dir\":\"tx\",\"hex\":\"79 00\"}\n").find(":2:"), std::string::npos);
    EXPECT_NE(told(good + "{\"dir\":\"tx\",\"redacted\":3}\n").find("--trace-key-bytes"), std::string::npos);
    EXPECT_NE(told("").find("no requests"), std::string::npos);
    EXPECT_THROW(ReadTrace(folder.At("nowhere")), Error);
}

TEST(Trace, ThatCannotBeWrittenIsToldAtOnce) {
    const tests::TempFolder folder;
    try {
        Trace trace(folder.At("nowhere/t"), false);
        ADD_FAILURE() << "opened";
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Record);
    }
    if (std::filesystem::exists("/dev/full")) {
        Trace full("/dev/full", false);
        EXPECT_THROW(full.Noise({1}, Millis(0)), Error);
    }
}

}  // namespace
}  // namespace zelline
