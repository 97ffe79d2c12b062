#include <gtest/gtest.h>

#include "line/ScriptedLine.h"
#include "link/Link.h"
#include "wire/Answer.h"
#include "wire/Error.h"

namespace zelline {
namespace {

const std::string kConnect = "79 00 12 73 00 00 00 7B FE";
const std::string kConnected = "79 10 12 73 01 00 00 01 69 FE";
const std::string kFence1 = "79 00 12 77 00 00 00 77 FE";
const std::string kFenced1 = "79 10 12 77 00 00 00 67 FE";
const std::string kFence2 = "79 00 12 7D 00 00 00 71 FE";
const std::string kReady = "79 00 12 72 01 02 00 01 78 FE";
const std::string kReadSn = "79 00 12 75 00 00 00 79 FE";
const std::string kSn = "79 11 12 75 04 41 42 31 32 00 01 7D FE";  // AB12
const std::string kKeyMenu = "79 11 12 87 04 4D 45 4E 55 00 01 1C FE";

Request Sn() {
    return {0x1275, "", 0, 0};
}

std::string ErrorOf(Link& link, const Request& request, const AskOptions& options) {
    try {
        link.Ask(request, options);
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::NoAnswer);
        return error.what();
    }
    ADD_FAILURE() << "answered";
    return {};
}

TEST(Link, FirstCommandGoesOutBehindAConnectInOneBurst) {
    ScriptedLine line;
    line.Expect(kConnect + " " + kReadSn, {{510, kConnected + " " + kSn}});
    line.Expect(kReadSn, {{505, kSn}});
    Link link(line);
    const Answered first = link.Ask(Sn(), {});
    EXPECT_EQ(ReadAnswer(first.frame).text, "AB12");
    EXPECT_EQ(first.elapsed, Millis(510));
    EXPECT_EQ(first.tries, 1);
    EXPECT_EQ(line.flushes, 1);
    EXPECT_EQ(link.Ask(Sn(), {}).elapsed, Millis(505));
    EXPECT_EQ(line.flushes, 1);
}

TEST(Link, AnswerInFrontOfTheConnectsIsALeftOver) {
    ScriptedLine line;
    const std::string old = "79 11 12 75 03 4F 4C 44 00 01 85 FE";  // OLD
    line.Expect(kConnect + " " + kReadSn, {{100, old}, {510, kConnected}, {520, kSn}});
    Link link(line);
    EXPECT_EQ(ReadAnswer(link.Ask(Sn(), {}).frame).text, "AB12");
}

TEST(Link, ReadyFramesAndKeyPressesAreToldAndNotTaken) {
    ScriptedLine line;
    line.Expect(kConnect + " 79 00 12 87 00 00 00 67 FE",
                {{10, kReady}, {500, kConnected}, {501, kKeyMenu}, {510, "79 10 12 87 01 00 00 01 55 FE"}});
    Link link(line);
    AskOptions options;
    std::vector<FrameRole> events;
    options.onEvent = [&](const UartFrame& frame) { events.push_back(RoleOf(frame)); };
    const Answered answered = link.Ask({0x1287, "", 0, 0}, options);
    EXPECT_EQ(answered.frame.kind, 0x10);
    EXPECT_EQ(events, (std::vector<FrameRole>{FrameRole::Ready, FrameRole::KeyPress}));
}

TEST(Link, RepeatsWithoutAnAnswerBehindANewConnect) {
    ScriptedLine line;
    line.Expect(kConnect + " " + kReadSn, {{500, kConnected}});
    line.Expect(kConnect + " " + kFence1 + " " + kReadSn, {{500, kConnected + " " + kFenced1 + " " + kSn}});
    line.Expect(kReadSn, {{500, kSn}});
    Link link(line);
    AskOptions options;
    options.timeout = Millis(1000);
    const Answered answered = link.Ask(Sn(), options);
    EXPECT_EQ(answered.tries, 2);
    EXPECT_EQ(answered.elapsed, Millis(1500));
    EXPECT_EQ(line.flushes, 2);
    link.Ask(Sn(), options);
    EXPECT_EQ(line.flushes, 2);
}

TEST(Link, ASetThatIsWatchedAndHasAnsweredAConnectGetsNoOtherBeforeItIsSeenToRestart) {
    ScriptedLine line;
    line.Expect(kConnect + " " + kReadSn, {{500, kConnected}});
    line.Expect(kFence1 + " " + kFence1 + " " + kReadSn, {{900, kReady}});
    line.Expect(kConnect + " " + kFence2 + " " + kReadSn,
                {{500, kConnected + " 79 10 12 7D 00 00 00 61 FE " + kSn}});
    Link link(line);
    link.WatchForRestart();
    AskOptions options;
    options.timeout = Millis(1000);
    options.retries = 2;
    EXPECT_EQ(link.Ask(Sn(), options).tries, 3);
    EXPECT_TRUE(link.HasRestarted());
}

TEST(Link, AnAnswerThatComesLateIsNotTakenForThatOfTheNextTry) {
    ScriptedLine line;
    const std::string old = "79 11 12 75 03 4F 4C 44 00 01 85 FE";  // OLD
    line.Expect(kConnect + " " + kReadSn);
    line.Expect(kConnect + " " + kFence1 + " " + kReadSn,
                {{100, kConnected + " " + old}, {500, kConnected + " " + kFenced1 + " " + kSn}});
    Link link(line);
    AskOptions options;
    options.timeout = Millis(1000);
    EXPECT_EQ(ReadAnswer(link.Ask(Sn(), options).frame).text, "AB12");
}

TEST(Link, GivesUpAfterTheGivenTriesAndTime) {
    ScriptedLine line;
    line.Expect(kConnect + " " + kReadSn);
    line.Expect(kConnect + " " + kFence1 + " " + kReadSn);
    line.Expect(kConnect + " " + kFence2 + " " + kReadSn);
    Link link(line);
    AskOptions options;
    options.timeout = Millis(800);
    options.retries = 2;
    const Millis start = line.Now();
    EXPECT_NE(ErrorOf(link, Sn(), options).find("nothing arrived"), std::string::npos);
    EXPECT_EQ(line.Now() - start, Millis(2400));
}

TEST(Link, TellsWhatWasSeenInsteadOfTheAnswer) {
    AskOptions options;
    options.retries = 0;
    const auto told = [&](const std::vector<Coming>& answers, const Request& request, const std::string& burst) {
        ScriptedLine line;
        line.Expect(burst, answers);
        Link link(line);
        return ErrorOf(link, request, options);
    };
    const std::string burst = kConnect + " " + kReadSn;
    EXPECT_NE(told({{500, kConnected}}, Sn(), burst).find("still busy"), std::string::npos);
    EXPECT_NE(told({{500, kReady}}, Sn(), burst).find("does not hear us"), std::string::npos);
    EXPECT_NE(told({{500, "00 FF 13"}}, Sn(), burst).find("noise"), std::string::npos);
    EXPECT_NE(told({{500, kConnected}}, {0x129F, "\x65", 0, 0}, kConnect + " 79 00 12 9F 01 65 00 00 E9 FE")
                  .find("one byte, 0 to 100"),
              std::string::npos);
    EXPECT_NE(told({}, {0x1276, "", 0, 0}, kConnect + " 79 00 12 76 00 00 00 78 FE").find("never answers"),
              std::string::npos);
}

TEST(Link, WaitsForBothOfADoubleAnswer) {
    const std::string status = "79 10 12 8F 01 00 00 01 4D FE";
    AskOptions options;
    options.second = true;
    options.connect = false;
    for (const int answers : {1, 2}) {
        ScriptedLine line;
        line.Expect("79 00 12 8F 00 00 00 5F FE", {{500, answers == 2 ? status + " " + status : status}});
        Link link(line);
        EXPECT_EQ(link.Ask({0x128F, "", 0, 0}, options).answers, answers);
    }
}

TEST(Link, FindsFramesBehindNoiseAndTellsTheNoise) {
    struct Sink : LineObserver {
        std::vector<std::string> seen;
        void Sent(const UartFrame& frame, Millis) override { seen.push_back("tx " + IdText(frame.CommandId())); }
        void Received(const UartFrame& frame, Millis) override {
            seen.push_back("rx " + IdText(frame.CommandId()));
        }
        void Noise(const Bytes& bytes, Millis) override { seen.push_back("noise " + ToHex(bytes)); }
    } sink;
    ScriptedLine line;
    line.Expect(kReadSn, {{400, "00 01"}, {500, kSn + " 02"}});
    {
        Link link(line, {&sink});
        AskOptions options;
        options.connect = false;
        EXPECT_EQ(ReadAnswer(link.Ask(Sn(), options).frame).text, "AB12");
    }
    EXPECT_EQ(sink.seen, (std::vector<std::string>{"tx 0x1275", "noise 00 01", "rx 0x1275", "noise 02"}));
}

TEST(Link, TakesAnAnswerThatArrivesByteByByte) {
    ScriptedLine line;
    line.Expect(kReadSn);
    const Bytes bytes = FromHex(kSn);
    Link link(line);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        line.Arrives(500 + static_cast<long>(i), ToHex({bytes[i]}));
    }
    AskOptions options;
    options.connect = false;
    EXPECT_EQ(ReadAnswer(link.Ask(Sn(), options).frame).text, "AB12");
}

}  // namespace
}  // namespace zelline
