#include <gtest/gtest.h>

#include "test_adapter/screen/ScreenText.h"

using namespace std::string_view_literals;
using zel::ScreenText;

namespace {

TEST(ScreenText, OrdinaryTextStays) {
    EXPECT_EQ(ScreenText(""), "");
    EXPECT_EQ(ScreenText("Test Result: PASS ~!"), "Test Result: PASS ~!");
    EXPECT_EQ(ScreenText("Ä€\U0001F600\u0800\uFFFD"), "Ä€\U0001F600\u0800\uFFFD");
}

TEST(ScreenText, EndsAtAZeroByteAndAfter127) {
    EXPECT_EQ(ScreenText("ab\0cd"sv), "ab");
    EXPECT_EQ(ScreenText(std::string(127, 'x')), std::string(127, 'x'));
    EXPECT_EQ(ScreenText(std::string(128, 'x')), std::string(127, 'x'));
    EXPECT_EQ(ScreenText(std::string(126, 'x') + "ä"), std::string(126, 'x') + "?");
}

TEST(ScreenText, ControlCharactersAreLeftOut) {
    EXPECT_EQ(ScreenText("\ta\r\nb\x7F\x1B[0m"), "ab[0m");
}

TEST(ScreenText, WhatIsNoUtf8BecomesQuestionMarks) {
    EXPECT_EQ(ScreenText("a\xFF\xFE\x80z"), "a???z");
    EXPECT_EQ(ScreenText("\xC0\xAF"), "??");            // overlong
    EXPECT_EQ(ScreenText("\xE0\x80\x80"), "???");       // overlong
    EXPECT_EQ(ScreenText("\xED\xA0\x80"), "???");       // surrogate
    EXPECT_EQ(ScreenText("\xF4\x90\x80\x80"), "????");  // beyond Unicode
    EXPECT_EQ(ScreenText("\xE2\x82"), "??");            // cut off
    EXPECT_EQ(ScreenText("\xE2\x82z"), "??z");
    EXPECT_EQ(ScreenText("\xF0\x9F\x98z"), "???z");
}

}  // namespace
