#include <gtest/gtest.h>

#include "simset/stick/Names.h"

namespace simset::stick {
namespace {

TEST(NamesOnAStick, SlipsOfFoldersAreSeen) {
    EXPECT_TRUE(IsNearlyFolder("rw9602customerfile", "RW9602CustomerFile"));
    EXPECT_TRUE(IsNearlyFolder("RW9602 Customer File", "RW9602CustomerFile"));
    EXPECT_TRUE(IsNearlyFolder("RW9062CustomerFile", "RW9602CustomerFile"));
    EXPECT_TRUE(IsNearlyFolder("RW9602CustomerFile (1)", "RW9602CustomerFile"));
    EXPECT_TRUE(IsNearlyFolder("HDCP14", "HDCP14KEY"));
    EXPECT_TRUE(IsNearlyFolder("CONFIGS", "CONFIG"));
    EXPECT_FALSE(IsNearlyFolder("HDCP22KEYS and more", "HDCP14KEY"));
    EXPECT_FALSE(IsNearlyFolder("CopyRW9602CustomerFile", "RW9602CustomerFile"));
    EXPECT_FALSE(IsNearlyFolder("photos", "MAC"));
    EXPECT_FALSE(IsNearlyFolder("ECP_CI+", "CI+"));
}

TEST(NamesOnAStick, SlipsOfFilesAreSeen) {
    EXPECT_TRUE(IsNearlyFile("hdcp14mtk9602_1.bin", "HDCP14MTK9602"));
    EXPECT_TRUE(IsNearlyFile("WIDEVINEMTK9602_1.bin", "WIDEVNMTK9602"));
    EXPECT_TRUE(IsNearlyFile("NETFLIXMTK9602_1.bin", "NETFLIXMT9602"));
    EXPECT_TRUE(IsNearlyFile("MAC.TXT", "mac.txt"));
    EXPECT_FALSE(IsNearlyFile("readme.txt", "mac.txt"));
    EXPECT_FALSE(IsNearlyFile("1.bin", "HDCP14MTK9602"));
}

TEST(NamesOnAStick, QuotesAndEscapes) {
    EXPECT_FALSE(NeedsQuotes("HDCP14MTK9602_1-a+b:c,d@e%.bin"));
    for (const char* name : {"", "a b", "a;b", "a$b", "a'b", "a\nb", "a=b", "\xC3\xA4"}) {
        EXPECT_TRUE(NeedsQuotes(name)) << name;
    }
    EXPECT_EQ(Printable("a\nb\xC3 c"), "a\\x0ab\\xc3 c");
}

}  // namespace
}  // namespace simset::stick
