#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amclient/PendingLine.h"

using zel::PendingLine;

namespace {

constexpr std::size_t kBuffer = 2048;

// The lines that `pending` completes out of `bytes`; an overlong one reads "(overlong)".
std::vector<std::string> Feed(PendingLine& pending, std::string_view bytes) {
    std::vector<std::string> lines;
    while (!bytes.empty()) {
        if (pending.Take(bytes)) {
            lines.emplace_back(pending.IsOverlong() ? "(overlong)" : std::string(pending.Line()));
        }
    }
    return lines;
}

using Lines = std::vector<std::string>;

class PendingLineTest : public ::testing::Test {
  protected:
    std::string m_buffer = std::string(kBuffer, '\0');
    PendingLine m_pending{m_buffer.data(), m_buffer.size()};
};

TEST_F(PendingLineTest, SeveralLinesInOnePiece) {
    EXPECT_EQ(Feed(m_pending, "a\nbc\n\nd"), (Lines{"a", "bc"}));
    EXPECT_EQ(Feed(m_pending, "\n"), (Lines{"d"}));
}

TEST_F(PendingLineTest, EverySplitIntoTwoPieces) {
    const std::string bytes = "first\nsecond line\n\nlast\n";
    for (std::size_t split = 0; split <= bytes.size(); ++split) {
        Lines lines = Feed(m_pending, std::string_view(bytes).substr(0, split));
        for (const std::string& line : Feed(m_pending, std::string_view(bytes).substr(split))) {
            lines.push_back(line);
        }
        EXPECT_EQ(lines, (Lines{"first", "second line", "last"})) << split;
    }
}

TEST_F(PendingLineTest, ByteByByte) {
    Lines lines;
    for (const char& byte : std::string("one\ntwo\n")) {
        for (const std::string& line : Feed(m_pending, {&byte, 1})) {
            lines.push_back(line);
        }
    }
    EXPECT_EQ(lines, (Lines{"one", "two"}));
}

TEST_F(PendingLineTest, ZeroBytesAreSkippedBehindANewlineOnly) {
    using namespace std::string_view_literals;
    EXPECT_EQ(Feed(m_pending, "\0\0a\0b\n\0\0\0c\n\0"sv), (Lines{std::string("a\0b"sv), "c"}));
    EXPECT_EQ(Feed(m_pending, "\0d\n"sv), (Lines{"d"}));
}

TEST_F(PendingLineTest, BlankLinesAreSkipped) {
    using namespace std::string_view_literals;
    EXPECT_EQ(Feed(m_pending, "\n"), Lines{});
    EXPECT_EQ(Feed(m_pending, "\na\n\n\nb\n"), (Lines{"a", "b"}));
    EXPECT_EQ(Feed(m_pending, "\0\n\0\n\nc\n"sv), Lines{"c"});
    EXPECT_EQ(Feed(m_pending, " \n\r\n"), (Lines{" ", "\r"})) << "a line of blanks is not a blank line";
}

TEST_F(PendingLineTest, TheLongestLineFits) {
    for (const std::size_t length : {std::size_t{126}, std::size_t{127}, std::size_t{128}, kBuffer - 1}) {
        const std::string line(length, 'x');
        EXPECT_EQ(Feed(m_pending, line + "\nnext\n"), (Lines{line, "next"}));
    }
}

TEST_F(PendingLineTest, ALongerLineIsReportedOnceAndTheNextOneIsWhole) {
    for (const std::size_t length : {kBuffer, kBuffer + 1, std::size_t{100000}}) {
        EXPECT_EQ(Feed(m_pending, std::string(length, 'x') + "\nnext\n"), (Lines{"(overlong)", "next"}));
    }
}

TEST_F(PendingLineTest, ALongerLineInPieces) {
    Lines lines;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(Feed(m_pending, std::string(127, 'x')).empty());
        EXPECT_LT(m_pending.Line().size(), kBuffer);
    }
    EXPECT_EQ(Feed(m_pending, "\nnext\n"), (Lines{"(overlong)", "next"}));
}

TEST_F(PendingLineTest, NothingBehindTheBufferIsTouched) {
    std::string guarded(32, '#');
    PendingLine pending(guarded.data(), 16);
    Feed(pending, std::string(500, 'x') + "\nab\n" + std::string(500, 'y'));
    EXPECT_EQ(guarded.substr(16), std::string(16, '#'));
}

}  // namespace
