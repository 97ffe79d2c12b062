#include <gtest/gtest.h>

#include "provisioning/addresses/MacRange.h"
#include "provisioning/addresses/MacText.h"
#include "scripted/Script.h"

namespace {

using zel::MacAddress;

TEST(MacDigits, AnyOtherCharacterSeparatesPairs) {
    EXPECT_EQ(zel::CollectMacDigits("--00-11-22-aa-Bb-FF\r\n"), "001122aaBbFF");
    EXPECT_EQ(zel::CollectMacDigits("00:11:22:33:44:55"), "001122334455");
    EXPECT_EQ(zel::CollectMacDigits("001122334455"), "001122334455");
    EXPECT_EQ(zel::CollectMacDigits("\r\n--"), "");
    EXPECT_EQ(zel::CollectMacDigits("1-2-3-4-5-6"), "123456");
}

TEST(MacDigits, ASeventhPairFails) {
    EXPECT_EQ(zel::CollectMacDigits("00-11-22-33-44-55-66"), std::nullopt);
    EXPECT_EQ(zel::CollectMacDigits("0011223344556"), std::nullopt);
    EXPECT_EQ(zel::CollectMacDigits("1-2-3-4-5-6-7"), std::nullopt);
}

TEST(MacNumber, LettersCountOnPastF) {
    EXPECT_EQ(zel::HexTextToNumber("0011223344"), 0x11223344);
    EXPECT_EQ(zel::HexTextToNumber("aBcDeF"), 0xABCDEF);
    EXPECT_EQ(zel::HexTextToNumber("0x1F"), 0x1F);
    EXPECT_EQ(zel::HexTextToNumber("0X1f"), 0x1F);
    EXPECT_EQ(zel::HexTextToNumber("G"), 16);
    EXPECT_EQ(zel::HexTextToNumber("z0"), 35 * 16);
    EXPECT_EQ(zel::HexTextToNumber("12-34"), 0x12);
    EXPECT_EQ(zel::HexTextToNumber(""), 0);
}

TEST(MacDigits, HalvesAreTheFirstSixAndTheLastSix) {
    EXPECT_EQ(zel::MacFromDigits("00112233445F"), (MacAddress{0x001122, 0x33445F}));
    EXPECT_EQ(zel::MacFromDigits("001122334"), (MacAddress{0x001122, 0x122334}));
    EXPECT_EQ(zel::MacFromDigits("0011"), (MacAddress{0x11, 0x11}));
}

TEST(MacDigits, AnAddressHasTwelveAndNoLetterBeyondF) {
    EXPECT_TRUE(zel::AreMacDigits("00aaBB99ffFF"));
    for (const char* const digits : {"", "00aaBB99ffF", "00aaBB99ffFF0", "00aaBB99ffFG", "00aaBB99ff F"}) {
        EXPECT_FALSE(zel::AreMacDigits(digits)) << digits;
    }
}

TEST(MacText, AnAddressIsSixPairsWithOneCharacterBetween) {
    EXPECT_TRUE(zel::IsMacText("00-11-aa-BB-99-ff"));
    EXPECT_TRUE(zel::IsMacText("00:11.aa BB/99_ff"));
    for (const char* const text : {"", "00-11-aa-BB-99-f", "00-11-aa-BB-99-ff-", "00-11-aa-BB-99-fg",
                                   "00-11-aaxBB-99-ff", "001122334455-----", "-----------------"}) {
        EXPECT_FALSE(zel::IsMacText(text)) << text;
    }
}

TEST(MacRange, StartMustNotBeBeyondEnd) {
    EXPECT_TRUE(zel::IsMacRange({1, 5}, {1, 5}));
    EXPECT_TRUE(zel::IsMacRange({1, 5}, {1, 6}));
    EXPECT_TRUE(zel::IsMacRange({1, 0xFFFFFF}, {2, 0}));
    EXPECT_FALSE(zel::IsMacRange({1, 6}, {1, 5}));
    EXPECT_FALSE(zel::IsMacRange({2, 0}, {1, 0xFFFFFF}));
}

TEST(MacRange, HalvesAreTwentyFourBits) {
    EXPECT_TRUE(zel::IsMacRange({0xFFFFFF, 0xFFFFFF}, {0xFFFFFF, 0xFFFFFF}));
    EXPECT_FALSE(zel::IsMacRange({0, 0x1000000}, {1, 0}));
    EXPECT_FALSE(zel::IsMacRange({0, 0}, {0, 0x1000000}));
    EXPECT_FALSE(zel::IsMacRange({0, 0}, {0x1000000, 0}));
    EXPECT_FALSE(zel::IsMacRange({0x1000000, 0}, {0x1000001, 0}));
}

struct NextCase {
    MacAddress start;
    MacAddress end;
    const char* next;  // null: none
};

class NextMac : public ::testing::TestWithParam<NextCase> {};

TEST_P(NextMac, IsOneMore) {
    const std::optional<std::string> next = zel::NextMacDigits(GetParam().start, GetParam().end);
    if (GetParam().next == nullptr) {
        EXPECT_EQ(next, std::nullopt);
    } else {
        EXPECT_EQ(next, GetParam().next);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, NextMac,
                         ::testing::Values(NextCase{{0x001122, 0x3344FE}, {0x001122, 0x3344FF}, "0011223344FF"},
                                           NextCase{{0x001122, 0xFFFFFF}, {0x001123, 0x000010}, "001123000000"},
                                           NextCase{{0x001122, 0xFFFFFE}, {0x001123, 0x000010}, "001122FFFFFF"},
                                           NextCase{{0, 0x00000A}, {0, 0x0000FF}, "00000000000B"},
                                           NextCase{{0, 0x00000A}, {5, 0}, "00000000000B"},
                                           NextCase{{0, 0xFFFFFF}, {5, 0}, "000001000000"},
                                           NextCase{{0xFFFFFE, 0xFFFFFF}, {0xFFFFFF, 0}, "FFFFFF000000"},
                                           NextCase{{0xABCDEF, 0xABCDEF}, {0xABCDF0, 0}, "ABCDEFABCDF0"},
                                           NextCase{{1, 5}, {1, 5}, nullptr},
                                           NextCase{{0xFFFFFF, 0xFFFFFF}, {0xFFFFFF, 0xFFFFFF}, nullptr}));

TEST(MacRange, LineOfTheFile) {
    EXPECT_EQ(zel::MacRangeLine("0011223344FF", "aabbccddeeff"), "00-11-22-33-44-FF--aa-bb-cc-dd-ee-ff\r\n");
}

TEST(MacText, UpperCaseWithColons) {
    EXPECT_EQ(zel::MacText({0x00, 0x0A, 0xB1, 0x9F, 0xFF, 0x30}), "00:0A:B1:9F:FF:30");
}

TEST(MacText, Nibbles) {
    std::string digits;
    for (std::uint32_t nibble = 0; nibble < 17; ++nibble) {
        digits += zel::NibbleToHex(nibble);
    }
    EXPECT_EQ(digits, "0123456789ABCDEF0");
}

class RandomMac : public scripted::Test {
  protected:
    // A random source that yields `seed` first, as this machine reads it.
    void PutSeed(std::uint32_t seed) {
        script.PutFile("/dev/urandom", std::string(reinterpret_cast<const char*>(&seed), sizeof seed) + "more");
    }
    std::string MacFromSeed(std::uint32_t seed) {
        PutSeed(seed);
        script.CaptureOutput();
        std::string mac = zel::RandomMacText();
        script.Output();
        return mac;
    }
};

TEST_F(RandomMac, SeedModuloPlusMinimum) {
    PutSeed(0x80000005);
    script.CaptureOutput();
    EXPECT_EQ(zel::getrandom(3, 100), 0x80000005 % 100 + 3);
    EXPECT_EQ(script.Output(),
              "./src/UartManager getrandom *seed=2147483653\n"
              "./src/UartManager getrandom *seed=-2147483643, randval=56\n");
}

TEST_F(RandomMac, NoSourceGivesZero) {
    EXPECT_EQ(zel::getrandom(1, 100), 0U);
    EXPECT_EQ(zel::RandomMacText(), "00:00:00:00:00:00");
}

TEST_F(RandomMac, IsNeverAllZeroAndHasThreeRandomBytes) {
    EXPECT_EQ(MacFromSeed(0xFFFFFF), "00:00:00:00:00:01");  // a multiple of the modulus
    EXPECT_EQ(MacFromSeed(0xFFFFFE), "00:00:00:FF:FF:FF");
    EXPECT_EQ(MacFromSeed(0x0A1B2B), "00:00:00:0A:1B:2C");
}

}  // namespace
