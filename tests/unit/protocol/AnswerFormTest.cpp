// Answers on the wire, in both directions: the bytes are written out by hand.
#include <gtest/gtest.h>

#include "UartManager/LinkFixture.h"
#include "protocol/AnswerForm.h"
#include "protocol/FrameCodec.h"

using scripted::Hex;
using scripted::ToBytes;
using scripted::WireFrameOf;

namespace zel {
namespace {

using Says = AnswerValue::Says;

constexpr std::uint16_t kId = 0x1295;

struct Row {
    AnswerForm form;
    AnswerValue value;
    std::uint8_t kind;
    std::string payload;
    std::uint8_t trailerB;
};

std::string WireHex(const UartFrame& frame) {
    const WireFrame wire = EncodeFrame(frame);
    return Hex({wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size)});
}

AnswerValue Only(Says says) {
    AnswerValue value;
    value.says = says;
    return value;
}

const std::vector<Row> kRows = {
    {AnswerForm::Status, Only(Says::Success), 0x10, std::string(1, '\0'), 1},
    {AnswerForm::Status, Only(Says::Failure), 0x10, "\x01", 1},
    {AnswerForm::Empty, Only(Says::Nothing), 0x10, "", 0},
    {AnswerForm::LinkClosing, Only(Says::LinkClosing), 0x20, "", 0},
    {AnswerForm::Text, AnswerValue::OfText("2.3"), 0x11, "2.3", 1},
    {AnswerForm::Text, AnswerValue::OfText(""), 0x11, "", 1},
    {AnswerForm::Text, AnswerValue::OfText("\x01"), 0x11, "\x01", 1},
    {AnswerForm::TextOrNothing, AnswerValue::OfText("AB12"), 0x11, "AB12", 1},
    {AnswerForm::TextOrUnreadable, AnswerValue::OfText("AB12"), 0x11, "AB12", 1},
    {AnswerForm::TextOrUnreadable, Only(Says::Unreadable), 0x11, "\x01", 1},
    {AnswerForm::Byte, AnswerValue::OfNumber(0xC8), 0x11, "\xC8", 1},
    {AnswerForm::Bits32Little, AnswerValue::OfNumber(0x8191A1B1), 0x11, "\xB1\xA1\x91\x81", 1},
    {AnswerForm::Bits32Big, AnswerValue::OfNumber(0x8191A1B1), 0x11, "\x81\x91\xA1\xB1", 1},
    {AnswerForm::Bits32Big, Only(Says::Failure), 0x10, "\x01", 1},  // a configuration that was refused
};

TEST(AnswerForm, EachValueHasItsBytes) {
    for (const Row& row : kRows) {
        EXPECT_EQ(WireHex(EncodeAnswer(kId, row.form, row.value)),
                  Hex(WireFrameOf(row.kind, kId, ToBytes(row.payload), 0, row.trailerB)));
    }
}

TEST(AnswerForm, TheBytesAreReadAsTheValue) {
    for (const Row& row : kRows) {
        UartFrame frame = MakeFrame(static_cast<FrameKind>(row.kind), kId);
        SetPayload(frame, row.payload);
        const AnswerValue value = DecodeAnswer(row.form, frame);
        EXPECT_EQ(value.says, row.value.says) << row.payload;
        EXPECT_EQ(value.text, row.value.text);
        EXPECT_EQ(value.number, row.value.number);
    }
}

TEST(AnswerForm, NoTextIsAnsweredEmptyWhereTheFormSaysSo) {
    EXPECT_EQ(WireHex(EncodeAnswer(kId, AnswerForm::TextOrNothing, AnswerValue::OfText(""))),
              Hex(WireFrameOf(0x10, kId, {})));
}

TEST(AnswerForm, AByteTakesTheLowBits) {
    EXPECT_EQ(WireHex(EncodeAnswer(kId, AnswerForm::Byte, AnswerValue::OfNumber(0x164))),
              Hex(WireFrameOf(0x11, kId, {0x64}, 0, 1)));
}

TEST(AnswerForm, ATextOver64BytesIsCut) {
    EXPECT_EQ(WireHex(EncodeAnswer(kId, AnswerForm::Text, AnswerValue::OfText(std::string(65, 's')))),
              Hex(WireFrameOf(0x11, kId, ToBytes(std::string(64, 's')), 0, 1)));
}

TEST(AnswerForm, AWrongLengthIsReadAsText) {
    for (const AnswerForm form : {AnswerForm::Byte, AnswerForm::Bits32Little, AnswerForm::Bits32Big}) {
        UartFrame frame = MakeFrame(FrameKind::Result, kId);
        SetPayload(frame, "abc");
        const AnswerValue value = DecodeAnswer(form, frame);
        EXPECT_EQ(value.says, Says::Text);
        EXPECT_EQ(value.text, "abc");
    }
}

TEST(AnswerForm, AStatusThatIsNoneIsUnknown) {
    for (const char* payload : {"\x02", "ab"}) {
        UartFrame frame = MakeFrame(FrameKind::Plain, kId);
        SetPayload(frame, payload);
        const AnswerValue value = DecodeAnswer(AnswerForm::Status, frame);
        EXPECT_EQ(value.says, Says::Unknown);
        EXPECT_EQ(value.text, payload);
    }
}

TEST(AnswerForm, AKeyPressReportIsATextUnderACommandAnsweredByStatus) {
    UartFrame frame = MakeFrame(FrameKind::Result, 0x1287);
    SetPayload(frame, "MENU");
    EXPECT_EQ(DecodeAnswer(AnswerForm::Status, frame).text, "MENU");
    EXPECT_EQ(DecodeAnswer(AnswerForm::Status, frame).says, Says::Text);
}

}  // namespace
}  // namespace zel
