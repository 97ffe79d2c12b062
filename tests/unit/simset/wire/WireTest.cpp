#include <gtest/gtest.h>

#include <string>

#include "simset/wire/Wire.h"

namespace simset {
namespace {

TEST(Wire, BringsEveryByteBack) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    const nlohmann::json message{{"text", bytes}, {"list", {"plain", bytes}}, {"number", -5}};
    const std::string line = EncodeLine(message);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_EQ(DecodeLine(line), message);
    EXPECT_EQ(FromHex(ToHex(bytes)), bytes);
    EXPECT_EQ(FromHex("C3a9"), "\xc3\xa9");
    EXPECT_FALSE(FromHex("abc"));
    EXPECT_FALSE(FromHex("0g"));
}

TEST(Wire, RefusesWhatIsNoMessage) {
    EXPECT_FALSE(DecodeLine(""));
    EXPECT_FALSE(DecodeLine("{"));
    EXPECT_FALSE(DecodeLine(std::string(100000, '[')));
    EXPECT_FALSE(DecodeLine("{\"a\":1} {\"b\":2}"));
    EXPECT_TRUE(DecodeLine(R"({"text":"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[\"{{{{{{{{{{"})"));
}

}  // namespace
}  // namespace simset
