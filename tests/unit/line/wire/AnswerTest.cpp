#include <gtest/gtest.h>

#include "protocol/FrameCodec.h"
#include "wire/Answer.h"

namespace zelline {
namespace {

UartFrame Frame(std::uint16_t id, std::uint8_t kind, std::string_view payload) {
    UartFrame frame = zel::MakeFrame(zel::FrameKind::Plain, id);
    frame.kind = kind;
    zel::SetPayload(frame, payload);
    return frame;
}

TEST(Answer, StatusZeroIsSuccessAndAnythingElseFailure) {
    EXPECT_TRUE(ReadAnswer(Frame(0x129F, 0x10, std::string_view("\0", 1))).success);
    EXPECT_FALSE(ReadAnswer(Frame(0x129F, 0x10, "\x01")).success);
    EXPECT_FALSE(ReadAnswer(Frame(0x129F, 0x10, "\x07")).success);
    EXPECT_FALSE(ReadAnswer(Frame(0x129F, 0x10, std::string_view("\0\0", 2))).success);
}

TEST(Answer, NumbersHaveTheirByteOrder) {
    const Reading time = ReadAnswer(Frame(0x1296, 0x11, std::string_view("\x2C\x01\x00\x00", 4)));
    EXPECT_EQ(time.number, 300U);
    EXPECT_EQ(time.type, ValueType::Number);
    const Reading checksum = ReadAnswer(Frame(0x1282, 0x11, std::string_view("\x12\x34\x56\xF8", 4)));
    EXPECT_EQ(checksum.type, ValueType::Checksum);
    EXPECT_EQ(checksum.text, "123456F8");
    EXPECT_EQ(ReadAnswer(Frame(0x12A7, 0x11, std::string_view("\x00\x00\x00\x01", 4))).text, "00000001");
    EXPECT_EQ(ReadAnswer(Frame(0x1295, 0x11, "\x64")).number, 100U);
    EXPECT_EQ(ReadAnswer(Frame(0x12AB, 0x11, std::string_view("\x0A\0\0\0", 4))).number, 10U);
}

TEST(Answer, WifiProgressIsToldInRounds) {
    EXPECT_EQ(ReadAnswer(Frame(0x1292, 0x11, "\x65")).words,
              "progress 101 (0 search rounds found an access point)");
    EXPECT_EQ(ReadAnswer(Frame(0x1292, 0x11, "\x64")).words,
              "progress 100 (1 search round found an access point)");
    EXPECT_EQ(ReadAnswer(Frame(0x1292, 0x11, "\x47")).words,
              "progress 71 (30 search rounds found an access point)");
    EXPECT_EQ(ReadAnswer(Frame(0x1292, 0x11, "\x47")).number, 71U);
}

TEST(Answer, TheByteForNoTextIsAFailureWhereTextsAreRead) {
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0x1279, 0x127B, 0x129E}) {
        EXPECT_FALSE(ReadAnswer(Frame(id, 0x11, "\x01")).success) << id;
        EXPECT_TRUE(ReadAnswer(Frame(id, 0x11, "x")).success) << id;
    }
    EXPECT_FALSE(ReadAnswer(Frame(0x1297, 0x11, "")).success);
}

TEST(Answer, AnEmptySerialNumberIsAnAnswer) {
    const Reading reading = ReadAnswer(Frame(0x1275, 0x10, ""));
    EXPECT_TRUE(reading.success);
    EXPECT_EQ(reading.type, ValueType::Text);
    EXPECT_EQ(reading.text, "");
    EXPECT_EQ(reading.words, "none stored");
}

TEST(Answer, RolesAreToldApart) {
    EXPECT_EQ(RoleOf(Frame(0x1272, 0x00, "\x02")), FrameRole::Ready);
    EXPECT_EQ(RoleOf(Frame(0x1287, 0x11, "MENU")), FrameRole::KeyPress);
    EXPECT_EQ(RoleOf(Frame(0x1287, 0x10, std::string_view("\0", 1))), FrameRole::Answer);
}

}  // namespace
}  // namespace zelline
