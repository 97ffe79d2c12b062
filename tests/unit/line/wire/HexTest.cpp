#include <gtest/gtest.h>

#include "wire/Error.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

TEST(Hex, ReadsWhatPeopleWrite) {
    const Bytes expected = {0x79, 0x00, 0xFE};
    for (const char* text : {"79 00 fe", "7900FE", "0x79 0x00 0xFE", "79:00:fe", "79,00,FE", " 79\n00\tFE "}) {
        EXPECT_EQ(FromHex(text), expected) << text;
    }
    EXPECT_EQ(ToHex(expected), "79 00 FE");
}

TEST(Hex, NamesThePlaceOfAMistake) {
    for (const auto& [text, part] : {std::pair("79 0", "position 4"), std::pair("79 zz", "'z' at position 4")}) {
        try {
            FromHex(text);
            ADD_FAILURE() << text;
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Exit::Unusable);
            EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
        }
    }
}

TEST(Hex, IdsAreHexadecimalUnlessMarked) {
    EXPECT_EQ(ParseId("0x1297"), 0x1297);
    EXPECT_EQ(ParseId("1297"), 0x1297);
    EXPECT_EQ(ParseId("12ab"), 0x12AB);
    EXPECT_EQ(ParseId("#4759"), 0x1297);
    for (const char* text : {"", "0x", "12 97", "0x10000", "volume", "#12AB", "-1"}) {
        EXPECT_THROW(ParseId(text), Error) << text;
    }
}

TEST(Hex, PrintableKeepsCharactersAndShowsOtherBytes) {
    const std::string good = "A~ \u00e9 \u97f3 \U0001f4fa";
    EXPECT_EQ(Printable(good), good);
    EXPECT_EQ(Printable("a\x01\x7f\n"), "a\\x01\\x7F\\x0A");
    EXPECT_EQ(Printable("\xE9t\xE9"), "\\xE9t\\xE9");
    EXPECT_EQ(Printable("\xC2\x9B"), "\\xC2\\x9B");
    EXPECT_EQ(Printable("\xC0\x80"), "\\xC0\\x80");
    EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");
    EXPECT_EQ(Printable("\xE9\x9F"), "\\xE9\\x9F");
}

}  // namespace
}  // namespace zelline
