#include <gtest/gtest.h>

#include "simset/board/line/Framing.h"

namespace simset {
namespace {

constexpr Framing kLine{};

// What the set sends with a framing, as the line hears it.
std::string Sent(const std::string& bytes, const Framing& framing) {
    return Received(bytes, framing, kLine, Receiver::Adapter);
}

// What the line sends, as the set hears it with a framing.
std::string Heard(const std::string& bytes, const Framing& framing) {
    return Received(bytes, kLine, framing, Receiver::Port);
}

constexpr const char* kFrame = "\x79\x10\x12\x73\x01\x01\x01\x01\xFE";

std::string EveryByte() {
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<char>(value));
    }
    return bytes;
}

TEST(Framing, IsDescribedAsPeopleSayIt) {
    EXPECT_EQ(Describe(kLine), "115200 8N1");
    EXPECT_EQ(Describe(Framing{300, 7, Parity::Even, 2}), "300 7E2");
    EXPECT_EQ(Describe(Framing{9600, 8, Parity::Odd, 1}), "9600 8O1");
}

TEST(Framing, TheSameAtBothEndsChangesNothing) {
    for (const Framing& framing : {kLine, Framing{300, 7, Parity::Even, 1}, Framing{9600, 8, Parity::Odd, 2}}) {
        for (const Receiver receiver : {Receiver::Adapter, Receiver::Port}) {
            EXPECT_EQ(Received("\x01\x7F\x55", framing, framing, receiver), "\x01\x7F\x55") << Describe(framing);
        }
    }
    EXPECT_EQ(Sent(EveryByte(), kLine), EveryByte());
    EXPECT_EQ(Heard(EveryByte(), kLine), EveryByte());
}

TEST(Framing, AClockALittleOffIsStillRead) {
    EXPECT_EQ(Sent(EveryByte(), Framing{113000}), EveryByte());
    EXPECT_EQ(Heard(EveryByte(), Framing{113000}), EveryByte());
}

TEST(Framing, AnotherSpeedBreaksEveryFrame) {
    for (const unsigned speed : {300U, 9600U, 38400U, 57600U, 230400U}) {
        EXPECT_EQ(Sent(kFrame, Framing{speed}).find('\x79'), std::string::npos) << speed;
        EXPECT_EQ(Heard(kFrame, Framing{speed}).find('\x79'), std::string::npos) << speed;
    }
}

TEST(Framing, ASlowSenderIsHeardAsBreaks) {
    // Each low bit lasts longer than a whole byte of the line.
    EXPECT_EQ(Sent("U", Framing{300}), std::string(5, '\0'));
}

TEST(Framing, ASlowReceiverHearsFewerBytes) {
    const std::size_t heard = Heard(std::string(120, 'U'), Framing{9600}).size();
    EXPECT_LE(heard, 12U);
    EXPECT_GE(heard, 5U);
}

TEST(Framing, SevenBitsWithParityArriveWithTheParityOnTop) {
    const Framing seven{115200, 7, Parity::Even, 1};
    EXPECT_EQ(Sent("\x79", seven), "\xF9");
    EXPECT_EQ(Sent("\x03", seven), "\x03");
    EXPECT_EQ(Sent("\xFE", seven), "\x7E");
    EXPECT_NE(Heard(kFrame, seven), kFrame);
}

TEST(Framing, AParityBitThatIsLowIsTakenForTheNextStart) {
    const Framing even{115200, 8, Parity::Even, 1};
    EXPECT_EQ(Sent("\x01", even), "\x01");
    EXPECT_EQ(Sent("\x03", even), "\x03\xFF");
    EXPECT_EQ(Sent("\x01", Framing{115200, 8, Parity::Odd, 1}), "\x01\xFF");
}

TEST(Framing, APortThatWaitsForMoreBitsLosesItsPlace) {
    for (const Framing& more : {Framing{115200, 8, Parity::Even, 1}, Framing{115200, 8, Parity::None, 2}}) {
        EXPECT_NE(Heard(kFrame, more), kFrame) << Describe(more);
        EXPECT_EQ(Heard("\x79", more), "\x79") << "silence is a stop bit";
    }
    EXPECT_NE(Heard(kFrame, Framing{115200, 7, Parity::None, 1}), kFrame);
}

TEST(Framing, ASecondStopBitIsSilenceForTheLine) {
    EXPECT_EQ(Sent(EveryByte(), Framing{115200, 8, Parity::None, 2}), EveryByte());
}

TEST(Framing, AnEndThatIsSwitchedOffHearsAndSaysNothing) {
    EXPECT_EQ(Sent("abc", Framing{0}), "");
    EXPECT_EQ(Heard("abc", Framing{0}), "");
}

}  // namespace
}  // namespace simset
