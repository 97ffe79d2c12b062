#include <gtest/gtest.h>

#include <vector>

#include "simset/board/line/LineTap.h"

namespace simset {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

// A frame with a good checksum.
std::string Frame(const std::string& head, const std::string& payload, char a = 0, char b = 0) {
    std::string body = head + static_cast<char>(payload.size()) + payload + a + b;
    unsigned sum = 0;
    for (const char byte : body) {
        sum += static_cast<unsigned char>(byte);
    }
    return '\x79' + body + static_cast<char>(-sum) + '\xFE';
}

const std::string kQuestion("\x00\x12\x75", 3);
const std::string kReadSerial = Frame(kQuestion, "");

class LineTapTest : public ::testing::Test {
  protected:
    // What is told of these bytes; they come at the test's time.
    std::vector<json> Told(const std::string& bytes) {
        m_rows.clear();
        m_tap.Take(bytes.data(), bytes.size(), m_now);
        return m_rows;
    }

    std::vector<json> ToldOfSilence() {
        m_rows.clear();
        m_now += LineTap::kSilence;
        m_tap.TakeSilence(m_now);
        return m_rows;
    }

    LineTap::Nanos m_now{std::chrono::seconds(100)};
    std::vector<json> m_rows;
    LineTap m_tap{true, [this](const json& row) { m_rows.push_back(row); }};
};

json Row(const char* text) {
    return json::parse(text);
}

TEST_F(LineTapTest, TellsAFrame) {
    EXPECT_EQ(Told(kReadSerial),
              std::vector<json>{
                  Row(R"({"who":"line","call":"frame","to":"set","id":"0x1275","role":"request","payload":""})")});
    EXPECT_EQ(m_tap.SilentAt(), std::nullopt);
    EXPECT_EQ(
        Told(Frame({'\0', '\x12', '\x7A'}, "AB 1")),
        std::vector<json>{Row(
            R"({"who":"line","call":"frame","to":"set","id":"0x127A","role":"request","payload":"41422031","text":"AB 1"})")});
    EXPECT_EQ(Told(Frame({'\x33', '\x12', '\x7A'}, "\xFF"))[0]["role"], "0x33");
}

TEST_F(LineTapTest, TheSetsFramesHaveRolesOfTheirOwn) {
    LineTap tap(false, [this](const json& row) { m_rows.push_back(row); });
    const auto role = [&](const std::string& frame) {
        m_rows.clear();
        tap.Take(frame.data(), frame.size(), m_now);
        return m_rows.at(0);
    };
    EXPECT_EQ(role(Frame({'\0', '\x12', '\x72'}, "\x02", 0, 1)),
              Row(R"({"who":"line","call":"frame","to":"line","id":"0x1272","role":"ready","payload":"02"})"));
    EXPECT_EQ(role(Frame({'\x10', '\x12', '\x73'}, std::string(1, '\0'), 0, 1))["role"], "status");
    EXPECT_EQ(role(Frame({'\x10', '\x12', '\x75'}, ""))["role"], "empty");
    EXPECT_EQ(role(Frame({'\x11', '\x12', '\x75'}, "7", 0, 1))["role"], "data");
    EXPECT_EQ(role(Frame({'\x20', '\x12', '\x99'}, ""))["role"], "closing");
}

TEST_F(LineTapTest, EverySplitTellsTheSame) {
    const std::string stream = "xy" + Frame(kQuestion, "one") + kReadSerial;
    const std::vector<json> whole = Told(stream);
    ASSERT_EQ(whole.size(), 3U);
    EXPECT_EQ(whole[0], Row(R"({"who":"line","call":"noise","to":"set","bytes":2})"));
    for (std::size_t at = 1; at < stream.size(); ++at) {
        std::vector<json> rows = Told(stream.substr(0, at));
        for (const json& row : Told(stream.substr(at))) {
            rows.push_back(row);
        }
        EXPECT_EQ(rows, whole) << at;
    }
}

TEST_F(LineTapTest, ABrokenFrameIsNoiseAndHidesNothingBehindIt) {
    const std::string good = Frame({'\0', '\x12', '\x76'}, "");
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string broken = good;
        broken[at] = static_cast<char>(broken[at] ^ 4);
        std::vector<json> rows = Told(broken + good);
        ASSERT_EQ(rows.size(), 2U) << at;
        EXPECT_EQ(rows[0]["call"], "noise") << at;
        EXPECT_EQ(rows[0]["bytes"], broken.size()) << at;
        EXPECT_EQ(rows[1]["id"], "0x1276") << at;
    }
}

TEST_F(LineTapTest, WhatLooksLikeALongFrameHidesAGoodOneUntilSilence) {
    EXPECT_TRUE(Told(std::string("\x79\0\x12\x74\x40", 5) + kReadSerial).empty());
    const auto rows = ToldOfSilence();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0]["bytes"], 5);
    EXPECT_EQ(rows[1]["id"], "0x1275");
}

TEST_F(LineTapTest, SilenceEndsWhatWasBegun) {
    EXPECT_TRUE(Told(kReadSerial.substr(0, 7)).empty());
    EXPECT_EQ(m_tap.SilentAt(), m_now + LineTap::kSilence);
    EXPECT_EQ(ToldOfSilence(),
              std::vector<json>{Row(R"({"who":"line","call":"noise","to":"set","bytes":7,"head":"7900127500"})")});
    EXPECT_EQ(m_tap.SilentAt(), std::nullopt);
    EXPECT_TRUE(Told(kReadSerial.substr(0, 4)).empty());
    m_now += LineTap::kSilence;
    const auto rows = Told(kReadSerial);
    ASSERT_EQ(rows.size(), 2U) << "the silence counts when nobody asked for it";
    EXPECT_EQ(rows[0]["bytes"], 4);
    EXPECT_EQ(rows[1]["call"], "frame");
}

TEST_F(LineTapTest, ChunksOfAFileAreCountedAndNotShown) {
    const std::string secret = "secret key bytes";
    const std::string chunk = Frame({'\0', '\x12', '\x90'}, secret, 3, 9);
    EXPECT_EQ(
        Told(chunk),
        std::vector<json>{Row(
            R"({"who":"line","call":"frame","to":"set","id":"0x1290","role":"request","chunk":3,"chunks":9,"bytes":16})")});
    for (std::size_t at = 0; at < chunk.size(); ++at) {
        std::string broken = chunk;
        broken.erase(at, 1);
        std::vector<json> rows = Told(broken);
        for (const json& row : ToldOfSilence()) {
            rows.push_back(row);
        }
        const std::string text = json(rows).dump();
        EXPECT_EQ(text.find("secret"), std::string::npos) << text;
        EXPECT_EQ(text.find("736563726574"), std::string::npos) << text;
    }
}

TEST_F(LineTapTest, AFloodIsCounted) {
    std::string flood;
    for (unsigned i = 0; i < LineTap::kMaxFramesPerSecond + 5; ++i) {
        flood += kReadSerial;
    }
    EXPECT_EQ(Told(flood).size(), LineTap::kMaxFramesPerSecond);
    EXPECT_EQ(ToldOfSilence(), std::vector<json>{Row(R"({"who":"line","call":"skipped","to":"set","frames":5})")});
    m_now += std::chrono::seconds(1);
    EXPECT_EQ(Told(flood).size(), LineTap::kMaxFramesPerSecond);
    m_now += milliseconds(10);
    EXPECT_TRUE(Told(kReadSerial).empty()) << "still the same second";
    m_now += std::chrono::seconds(1);
    const auto rows = Told(kReadSerial);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0]["frames"], 6);
    EXPECT_EQ(rows[1]["call"], "frame");
}

}  // namespace
}  // namespace simset
