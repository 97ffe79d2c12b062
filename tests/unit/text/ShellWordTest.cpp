#include <gtest/gtest.h>

#include <string>

#include "os/Shell.h"
#include "text/ShellWord.h"

namespace {

const std::string kOrdinary = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:,@%";

TEST(ShellWord, OrdinaryTextsStayAsTheyAre) {
    EXPECT_EQ(zel::ShellWord(kOrdinary), kOrdinary);
    EXPECT_EQ(zel::ShellWord("192.168.1.1"), "192.168.1.1");
    EXPECT_EQ(zel::ShellWord("/mnt/usb/RW9602CustomerFile/CI+/CIPLUSMTK9602_1.bin"),
              "/mnt/usb/RW9602CustomerFile/CI+/CIPLUSMTK9602_1.bin");
}

TEST(ShellWord, EveryOtherByteIsQuoted) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const std::string text = std::string("a") + c + "b";
        if (kOrdinary.find(c) != std::string::npos) {
            EXPECT_EQ(zel::ShellWord(text), text);
        } else if (c == '\'') {
            EXPECT_EQ(zel::ShellWord(text), "'a'\\''b'");
        } else {
            EXPECT_EQ(zel::ShellWord(text), "'" + text + "'") << byte;
        }
    }
}

TEST(ShellWord, NothingIsAWordToo) {
    EXPECT_EQ(zel::ShellWord(""), "''");
}

TEST(ShellWord, StatusOfACommand) {
    EXPECT_TRUE(zel::ExitedWithSuccess(0));
    EXPECT_FALSE(zel::ExitedWithSuccess(-1));
    EXPECT_FALSE(zel::ExitedWithSuccess(1 << 8));
    EXPECT_FALSE(zel::ExitedWithSuccess(9));
}

}  // namespace
