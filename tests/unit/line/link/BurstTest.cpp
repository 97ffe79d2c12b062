#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "line/BorrowedLine.h"
#include "line/LossySet.h"
#include "link/Burst.h"
#include "wire/Answer.h"
#include "wire/Error.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

BurstItem Of(std::uint16_t id, const std::string& payload = "", int retries = 1) {
    return {{id, payload, 0, 0}, id == 0x128F ? 2 : 1, DefaultTimeout(id), retries};
}

BurstItem Source(const std::string& name) {
    return Of(0x1288, name);
}

const BurstItem kDark = Of(0x128E);
const BurstItem kBright = Of(0x128D);
const BurstItem kLevel = Of(0x1295);

// Says yes to the numbers of `lost`.
std::function<bool(std::size_t)> Numbers(const std::set<std::size_t>& lost) {
    return [lost](std::size_t number) { return lost.count(number) != 0; };
}

// A link in step with the set; the connect is frame 0 of the set.
struct Connected {
    explicit Connected(LossySet& set) : link(set) { link.Ask({0x1273, "", 0, 0}, {}); }
    Link link;
};

// The answers' texts, "-" for a missing one, "/" between several.
std::vector<std::string> Texts(const Burst& burst) {
    std::vector<std::string> texts;
    for (const BurstReply& reply : burst.Replies()) {
        std::string text = reply.frames.empty() ? "-" : "";
        for (const UartFrame& frame : reply.frames) {
            const Reading reading = ReadAnswer(frame);
            text += (text.empty() ? "" : "/") + (reading.text.empty() ? reading.words : reading.text);
        }
        texts.push_back(text);
    }
    return texts;
}

TEST(Burst, AsksEverythingInOneBurstAndMeasuresTheGaps) {
    LossySet set;
    set.took[0x1288] = 200;
    Connected to(set);
    Burst burst(to.link, {Of(0x1274, "AB12"), Of(0x1275), Source("HDMI1"), Source("AV1")});
    const Millis start = set.Now();
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "AB12", "success", "success"));
    EXPECT_THAT(set.bursts, ElementsAre(1, 6));
    EXPECT_EQ(set.Now() - start, Millis(500 + 4 * 10 + 2 * 200));
    EXPECT_EQ(burst.Replies()[1].gap, Millis(10));
    EXPECT_EQ(burst.Replies()[2].gap, Millis(200));
    EXPECT_EQ(burst.Replies()[3].tries, 1);
    EXPECT_EQ(set.flushes, 1);
    EXPECT_TRUE(to.link.IsInStep());
}

TEST(Burst, GoesOutBehindAFlushAndAMarkWhenItIsTheFirst) {
    LossySet set;
    Link link(set);
    Burst burst(link, {Of(0x1274, "AB12"), Of(0x1275)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "AB12"));
    EXPECT_THAT(set.bursts, ElementsAre(5));
    EXPECT_EQ(set.flushes, 1);
}

TEST(Burst, WhatIsLostIsAskedAgainBehindAFlush) {
    for (const bool request : {true, false}) {
        LossySet set;
        (request ? set.losesRequest : set.losesAnswer) = Numbers({2});
        set.texts[0x1297] = "2.5";
        Connected to(set);
        Burst burst(to.link, {Of(0x128A), Of(0x1297), Of(0x1293)});
        burst.Ask();
        EXPECT_THAT(Texts(burst), ElementsAre("success", "2.5", "success"));
        EXPECT_THAT(set.bursts, ElementsAre(1, 4, 1));
        EXPECT_EQ(burst.Replies()[0].tries, 1);
        EXPECT_EQ(burst.Replies()[1].tries, 2);
        EXPECT_EQ(set.flushes, 2);
    }
}

TEST(Burst, ALostChangeTakesWhatComesBehindItAlong) {
    LossySet set;
    set.losesRequest = Numbers({3});  // AV1, behind the connect, HDMI1 and a fence
    Connected to(set);
    Burst burst(to.link, {Source("HDMI1"), Source("AV1"), Of(0x129F, "\x14"), Source("VGA")});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "success", "success", "success"));
    EXPECT_THAT(set.done, ElementsAre("1288 HDMI1", "129F \x14", "1288 VGA", "1288 AV1", "1288 VGA"));
    EXPECT_EQ(set.state[zel::Subject::Input], "VGA");
}

TEST(Burst, AReadingIsRepeatedInThePlaceThatItHad) {
    for (const std::size_t lost : {1, 2, 3, 5}) {
        LossySet set;
        set.state[zel::Subject::Backlight] = "\x33";
        set.losesAnswer = Numbers({lost});
        Connected to(set);
        Burst burst(to.link, {kDark, kLevel, kBright, kLevel});
        burst.Ask();
        EXPECT_THAT(Texts(burst), ElementsAre("success", "5", "success", "100")) << lost;
        EXPECT_EQ(set.state[zel::Subject::Backlight], "\x64");
    }
}

TEST(Burst, WhatWasReadWithoutTheChangeInFrontOfItDoesNotCount) {
    LossySet set;
    set.state[zel::Subject::Backlight] = "\x33";
    set.losesRequest = Numbers({1});
    Connected to(set);
    Burst burst(to.link, {kDark, kLevel, kBright, kLevel});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "5", "success", "100"));
}

TEST(Burst, AnAnswerThatCountedKeepsCountingWhenItIsRepeated) {
    LossySet set;
    set.losesAnswer = Numbers({2});  // the first level
    int levels = 0;
    set.losesRequest = [&](std::size_t) {
        set.texts[0x1295] = std::string(1, ++levels < 8 ? '\x07' : '\x09');  // it reads 9 when it is repeated
        return false;
    };
    Connected to(set);
    Burst burst(to.link, {kDark, kLevel, kBright, kLevel});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "9", "success", "7/9"));
}

TEST(Burst, WhatTwoRequestsMayHaveAnsweredIsAskedAgain) {
    LossySet set;
    set.losesAnswer = Numbers({2, 3});  // the fence and the second source
    Connected to(set);
    Burst burst(to.link, {Source("HDMI1"), Source("AV1"), Source("VGA")});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "success", "success"));
    EXPECT_EQ(burst.Replies()[0].tries, 2);
    EXPECT_EQ(set.state[zel::Subject::Input], "VGA");
}

TEST(Burst, GivesUpWhenTheTriesAreUsedUp) {
    LossySet set;
    set.losesRequest = [&](std::size_t number) { return number == 1 || number == 4; };
    Connected to(set);
    Burst burst(to.link, {Of(0x128A), Of(0x1293)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("-", "success"));
    EXPECT_EQ(burst.Replies()[0].tries, 2);
    EXPECT_THAT(burst.Missing(0), HasSubstr("no answer to 0x128A (CI module detected) within 2 tries"));
    EXPECT_THAT(burst.Missing(0), HasSubstr("the set is alive"));
}

TEST(Burst, WhatMayNotBeRepeatedIsNotAndItsMeaningIsLeftOpen) {
    LossySet set;
    set.losesAnswer = Numbers({2});
    Connected to(set);
    Burst burst(to.link, {Of(0x128A), Of(0x129A, "", 0)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "-"));
    EXPECT_THAT(set.done, ElementsAre("128A", "129A"));
    EXPECT_THAT(burst.Missing(1), HasSubstr("Whether the set has carried it out is not known"));
}

TEST(Burst, ASetThatIsSilentIsAskedAsOftenAsEachMayBe) {
    LossySet set;
    Connected to(set);
    set.losesRequest = [](std::size_t) { return true; };
    const Millis start = set.Now();
    Burst burst(to.link, {Of(0x128A, "", 2), Of(0x1293, "", 1)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("-", "-"));
    EXPECT_EQ(burst.Replies()[0].tries, 3);
    EXPECT_EQ(burst.Replies()[1].tries, 2);
    EXPECT_LT(set.Now() - start, Millis(9100));
    EXPECT_FALSE(to.link.IsInStep());
    EXPECT_THAT(burst.Missing(0), HasSubstr("nothing arrived"));
}

TEST(Burst, ALostCloseCostsLittleAndTheNextBurstIsMarked) {
    LossySet set;
    set.losesAnswer = Numbers({3});
    Connected to(set);
    Burst burst(to.link, {Of(0x128A), Of(0x1293)});
    const Millis start = set.Now();
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "success"));
    EXPECT_LT(set.Now() - start, Millis(1100));
    Burst next(to.link, {Of(0x128A), Of(0x1293)});
    next.Ask();
    EXPECT_THAT(set.bursts, ElementsAre(1, 3, 5));
}

TEST(Burst, AnAnswerThatTakesTooLongDoesNotCount) {
    LossySet set;
    set.took[0x128A] = 3500;
    set.took[0x1288] = 3500;  // it may
    Connected to(set);
    Burst burst(to.link, {Of(0x128A, "", 0), Source("HDMI1")});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("-", "success"));
    EXPECT_EQ(burst.Replies()[1].tries, 1);
}

TEST(Burst, LateAnswersOfAnEarlierTryAreNotTakenForThoseOfTheNext) {
    LossySet set;
    Connected to(set);
    set.took[0x128A] = 9000;
    set.texts[0x1297] = "old";
    Burst burst(to.link, {Of(0x128A, "", 0), Of(0x1297, "", 0)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("-", "-"));
    set.took[0x128A] = 10;
    set.texts[0x1297] = "new";
    Burst next(to.link, {Of(0x1293, "", 9), Of(0x1297, "", 9)});
    next.Ask();
    EXPECT_THAT(Texts(next), ElementsAre("success", "new"));
}

TEST(Burst, AMissingMarkIsNotCountedAgainstTheRequests) {
    LossySet set;
    set.losesAnswer = Numbers({0});  // the connect's
    Link link(set);
    Burst burst(link, {Of(0x128A), Of(0x1293)});
    set.losesRequest = Numbers({7});  // in the second round
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "success"));
}

TEST(Burst, CountsBothOfADoubleAnswer) {
    LossySet set;
    Connected to(set);
    Burst burst(to.link, {Of(0x128F), Of(0x128A)});
    burst.Ask();
    EXPECT_THAT(Texts(burst), ElementsAre("success", "success"));
    EXPECT_EQ(burst.Replies()[0].answers, 2);
    EXPECT_EQ(burst.Replies()[1].answers, 1);
}

TEST(Burst, KeepsWhatIsCertainWhenItIsStopped) {
    LossySet set;
    set.took[0x1288] = 5000;
    BorrowedLine line(set, {Millis(3000)});
    Link link(line);
    link.Ask({0x1273, "", 0, 0}, {});
    Burst burst(link, {Of(0x128A), Source("HDMI1"), Of(0x1293)});
    EXPECT_THROW(burst.Ask(), Error);
    EXPECT_THAT(Texts(burst), ElementsAre("success", "-", "-"));
}

TEST(Burst, EndsWhenTheSetHasRestarted) {
    struct Restarting : BorrowedLine {
        using BorrowedLine::BorrowedLine;
        std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
            if (Now() > Millis(4000) && !told) {
                told = true;
                const Bytes ready = FromHex("79 00 12 72 01 02 00 01 78 FE");
                std::copy(ready.begin(), ready.end(), bytes);
                return ready.size();
            }
            return BorrowedLine::Read(bytes, size, wait);
        }
        bool told = false;
    };
    LossySet set;
    set.took[0x1288] = 15000;
    Restarting line(set);
    Link link(line);
    link.Ask({0x1273, "", 0, 0}, {});
    Burst burst(link, {Of(0x128A), Source("HDMI1"), Of(0x1293)});
    burst.Ask();
    EXPECT_TRUE(link.HasRestarted());
    EXPECT_THAT(Texts(burst), ElementsAre("success", "-", "-"));
    EXPECT_LT(set.Now(), Millis(6000));
}

TEST(Burst, HasABoundForItsBytes) {
    EXPECT_EQ(Burst::MostBytes({Of(0x128A)}), 73U + 18U + 9U);
    EXPECT_EQ(Burst::MostBytes({Source("HDMI1"), Source("AV1")}), 73U + 18U + 14U + 9U + 12U + 9U);
}

}  // namespace
}  // namespace zelline
