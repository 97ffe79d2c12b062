#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "simset/board/host/RunOptions.h"

namespace simset {
namespace {

RunOptions Parse(const std::string& arguments) {
    CLI::App app;
    RunOptions options;
    AddRunOptions(app, options);
    app.parse(arguments);
    return options;
}

TEST(RunOptions, DefaultsAreThoseOfASet) {
    const RunOptions options = Parse("--state s");
    EXPECT_EQ(options.state, "s");
    EXPECT_FALSE(options.mode);
    EXPECT_TRUE(options.sticks.empty());
    ASSERT_TRUE(options.panel);
    EXPECT_EQ(options.panel->width, 1920U);
    EXPECT_EQ(options.panel->height, 1080U);
    EXPECT_EQ(options.line.baud, 115200U);
    EXPECT_TRUE(options.application.empty());
}

TEST(RunOptions, StateIsRequired) {
    EXPECT_THROW(Parse("--mode 1"), CLI::ParseError);
}

TEST(RunOptions, ModeNoneIsTheEmptyText) {
    EXPECT_EQ(Parse("--state s --mode none").mode, "");
    EXPECT_EQ(Parse("--state s --mode 3").mode, "3");
    EXPECT_THROW(Parse("--state s --mode 4"), CLI::ParseError);
    EXPECT_THROW(Parse("--state s --mode ''"), CLI::ParseError);
}

TEST(RunOptions, SticksKeepTheirOrder) {
    const RunOptions options = Parse("--state s --usb / --usb /usr");
    EXPECT_EQ(options.sticks, (std::vector<std::string>{"/", "/usr"}));
    EXPECT_THROW(Parse("--state s --usb /no-such-folder"), CLI::ParseError);
}

TEST(RunOptions, PanelSizeOrNone) {
    EXPECT_EQ(Parse("--state s --panel 3840x2160").panel->width, 3840U);
    EXPECT_FALSE(Parse("--state s --panel none").panel);
    EXPECT_THROW(Parse("--state s --panel big"), CLI::ParseError);
}

TEST(RunOptions, APowerCutAfterNoStepIsNone) {
    EXPECT_EQ(Parse("--state s --power-cut-after 0").powerCutAfter, 0U);
    EXPECT_EQ(Parse("--state s --power-cut-after 7").powerCutAfter, 7U);
    EXPECT_THROW(Parse("--state s --power-cut-after -1"), CLI::ParseError);
}

TEST(RunOptions, ThePageIsAtAnAddressOrAnywhere) {
    EXPECT_FALSE(Parse("--state s").view);
    EXPECT_EQ(Parse("--state s --view").view->Text(), "127.0.0.1:0");
    EXPECT_EQ(Parse("--view --state s").view->Text(), "127.0.0.1:0");
    EXPECT_EQ(Parse("--state s --view 0.0.0.0:8080").view->Text(), "0.0.0.0:8080");
    EXPECT_THROW(Parse("--state s --view somewhere:8080"), CLI::ParseError);
}

TEST(RunOptions, ThePageGoesWithoutATokenOnThisPcAlone) {
    EXPECT_FALSE(Parse("--state s --view").viewToken);
    EXPECT_EQ(Parse("--state s --view --view-token abc").viewToken, "abc");
    EXPECT_EQ(Parse("--state s --view --view-token none").viewToken, "");
    EXPECT_EQ(Parse("--state s --view [::1]:80 --view-token none").viewToken, "");
    EXPECT_THROW(Parse("--state s --view 0.0.0.0:80 --view-token none"), CLI::ParseError);
    EXPECT_THROW(Parse("--state s --view --view-token 'a b'"), CLI::ParseError);
    EXPECT_THROW(Parse("--state s --view-token abc"), CLI::ParseError);
}

TEST(RunOptions, ExtraArgumentsAreRefused) {
    EXPECT_THROW(Parse("--state s now"), CLI::ParseError);
    EXPECT_THROW(Parse("--state s --baud fast"), CLI::ParseError);
    EXPECT_THROW(Parse("--state s --baud -1"), CLI::ParseError);
}

TEST(PanelSize, OnlyTwoPlainNumbers) {
    EXPECT_EQ(ParsePanelSize("1280x720")->height, 720U);
    EXPECT_EQ(ParsePanelSize("48x4096")->height, 4096U);
    for (const char* text : {"", "x", "1280", "1280x", "x720", "1280x720x24", "47x720", "1280x4097", "-1280x720",
                             "1280 x720", "0x0"}) {
        EXPECT_FALSE(ParsePanelSize(text)) << text;
    }
}

}  // namespace
}  // namespace simset
