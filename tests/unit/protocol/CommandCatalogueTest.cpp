// The command table: what its columns say of one another, and its examples.
#include <gtest/gtest.h>
#include <zlib.h>

#include <set>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "protocol/KeyFiles.h"

namespace zel {
namespace {

bool IsData(const CommandInfo& row) {
    return row.reply == ReplyRule::Data || row.reply == ReplyRule::DataByText || row.reply == ReplyRule::KeyData;
}

TEST(CommandCatalogue, HasARowForEveryIdAndNoOther) {
    EXPECT_EQ(FindCommand(0x1272), nullptr);
    EXPECT_EQ(FindCommand(0x12BB), nullptr);
    EXPECT_EQ(FindCommand(0x11273), nullptr);
    for (std::uint32_t id = 0x1273; id <= 0x12BA; ++id) {
        ASSERT_NE(FindCommand(id), nullptr);
        EXPECT_EQ(FindCommand(id)->id, id);
    }
}

TEST(CommandCatalogue, IgnoredIdsHaveNeitherNameNorAnswer) {
    for (const CommandInfo& row : kCommandCatalogue) {
        SCOPED_TRACE(row.id);
        const bool ignored = row.group == CommandGroup::Ignored;
        EXPECT_EQ(row.name.empty(), ignored);
        EXPECT_EQ(row.payloadText.empty(), ignored);
        EXPECT_EQ(row.answer == AnswerForm::None, ignored);
        if (ignored) {
            EXPECT_EQ(row.reply, ReplyRule::None);
        }
    }
}

TEST(CommandCatalogue, WhatIsNotHarmlessToRepeatIsAFileOrAnEnd) {
    for (const CommandInfo& row : kCommandCatalogue) {
        SCOPED_TRACE(row.id);
        const bool isFile = row.payload == PayloadRule::KeyChunk;
        const bool isEnd = row.group == CommandGroup::Finish || row.id == command::kLeaveFactory;
        EXPECT_EQ(row.repeat == RepeatRule::Counts, isFile || isEnd);
        const bool isVerdict = row.id == command::kWriteTestResult;
        EXPECT_EQ(row.subject == Subject::Whole, isFile || isEnd || isVerdict || row.id == command::kConfirmedKey);
        if (row.answer == AnswerForm::Empty || row.group == CommandGroup::Ignored) {
            EXPECT_EQ(row.subject, Subject::Nothing);
        }
    }
}

TEST(CommandCatalogue, ASubjectThatIsReadIsChangedByAnotherCommand) {
    std::set<Subject> changed;
    std::set<Subject> read;
    for (const CommandInfo& row : kCommandCatalogue) {
        if (row.subject != Subject::Nothing) {
            (ChangesSubject(row) ? changed : read).insert(row.subject);
        }
        EXPECT_FALSE(ChangesSubject(row) && IsData(row)) << row.id;
    }
    EXPECT_EQ(read, (std::set{Subject::SerialNumber, Subject::MacAddress, Subject::Backlight}));
    for (const Subject subject : read) {
        EXPECT_EQ(changed.count(subject), 1U);
    }
}

TEST(CommandCatalogue, TheFormOfTheAnswerFitsTheReply) {
    for (const CommandInfo& row : kCommandCatalogue) {
        SCOPED_TRACE(row.id);
        if (row.reply == ReplyRule::Deferred) {
            EXPECT_EQ(row.answer, row.id == command::kConfigFile ? AnswerForm::Bits32Big : AnswerForm::Status);
            EXPECT_EQ(row.payload, PayloadRule::KeyChunk);
        } else if (row.reply == ReplyRule::KeyData) {
            EXPECT_EQ(row.answer, AnswerForm::Bits32Big);
        } else if (row.reply != ReplyRule::None) {
            EXPECT_EQ(row.answer == AnswerForm::Status, !IsData(row));
        }
    }
}

// Each example, taken as the answer that it is and made again from what it says, is itself.
TEST(CommandCatalogue, ExamplesAreAnswersOfTheirForm) {
    for (const CommandInfo& row : kCommandCatalogue) {
        if (row.reply == ReplyRule::None) {
            continue;
        }
        SCOPED_TRACE(row.id);
        const UartFrame example = AnswerFrame(row.id, row.answer, row.exampleAnswer);
        const AnswerValue value = DecodeAnswer(row.answer, example);
        EXPECT_NE(value.says, AnswerValue::Says::Unknown);
        const WireFrame wire = EncodeFrame(EncodeAnswer(row.id, row.answer, value));
        EXPECT_EQ(wire.bytes, EncodeFrame(example).bytes);
        EXPECT_TRUE(PayloadFits(row.payload, row.exampleAsked));
        EXPECT_GE(row.answerTime, 1000);  // the set waits 0.5 s before it looks at a burst
        EXPECT_EQ(row.payload == PayloadRule::Any,
                  PayloadFits(row.payload, "") && row.reply != ReplyRule::Deferred);
    }
}

TEST(CommandCatalogue, TheExampleChecksumIsThatOfTheExampleFile) {
    const std::string_view file = catalogue::kExampleFile;
    const auto crc = crc32(0, reinterpret_cast<const Bytef*>(file.data()), static_cast<uInt>(file.size()));
    const UartFrame frame = EncodeAnswer(command::kCrcHdcp1, AnswerForm::Bits32Big,
                                         AnswerValue::OfNumber(static_cast<std::uint32_t>(crc)));
    EXPECT_EQ(Payload(frame), catalogue::kExampleCrc);
}

TEST(CommandCatalogue, PayloadRules) {
    EXPECT_TRUE(PayloadFits(PayloadRule::Any, ""));
    EXPECT_FALSE(PayloadFits(PayloadRule::NotEmpty, ""));
    EXPECT_TRUE(PayloadFits(PayloadRule::NotEmpty, "x"));
    EXPECT_FALSE(PayloadFits(PayloadRule::MacText, std::string(16, 'x')));
    EXPECT_TRUE(PayloadFits(PayloadRule::MacText, std::string(17, 'x')));
    EXPECT_FALSE(PayloadFits(PayloadRule::MacText, std::string(18, 'x')));
    EXPECT_TRUE(PayloadFits(PayloadRule::VolumeByte, "\x64"));
    EXPECT_FALSE(PayloadFits(PayloadRule::VolumeByte, "\x65"));
    EXPECT_FALSE(PayloadFits(PayloadRule::VolumeByte, "\xFF"));
    EXPECT_FALSE(PayloadFits(PayloadRule::VolumeByte, ""));
    EXPECT_FALSE(PayloadFits(PayloadRule::VolumeByte, "\x01\x01"));
}

TEST(KeyFiles, EachIsInItsPlaceAndHasIdsOfItsOwn) {
    std::set<std::uint16_t> transfers;
    std::set<std::uint16_t> checksums;
    for (const KeyFileInfo& info : kKeyFiles) {
        SCOPED_TRACE(info.name);
        EXPECT_EQ(&InfoOf(info.file), &info);
        EXPECT_EQ(FindKeyTransfer(info.transfer), &info);
        EXPECT_EQ(FindKeyChecksum(info.checksum), &info);
        EXPECT_EQ(FindCommand(info.transfer)->reply, ReplyRule::Deferred);
        EXPECT_EQ(FindCommand(info.checksum)->answer, AnswerForm::Bits32Big);
        transfers.insert(info.transfer);
        checksums.insert(info.checksum);
    }
    for (const CommandInfo& row : kCommandCatalogue) {
        EXPECT_EQ(transfers.count(row.id) == 1, row.reply == ReplyRule::Deferred) << row.id;
        EXPECT_EQ(checksums.count(row.id) == 1, row.answer == AnswerForm::Bits32Big) << row.id;
    }
    EXPECT_EQ(FindKeyTransfer(command::kConnect), nullptr);
    EXPECT_EQ(FindKeyChecksum(command::kConnect), nullptr);
}

}  // namespace
}  // namespace zel
