#include <gtest/gtest.h>

#include <initializer_list>

#include "wire/Request.h"

namespace zelline {
namespace {

TEST(Request, LongCommandsHaveLongTimeOuts) {
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0x129A, 0x129B, 0x12A6}) {
        EXPECT_GT(DefaultTimeout(id), Millis(21000));
    }
    EXPECT_GT(DefaultTimeout(0x1294), Millis(15000));
    EXPECT_GT(DefaultTimeout(0x1288), Millis(10000));
}

TEST(Request, OnlyWhatIsHarmlessIsRepeated) {
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0x1273, 0x1274, 0x1275, 0x1278, 0x1288,
                                                                       0x1298, 0x129F, 0x12A5, 0x12FF}) {
        EXPECT_TRUE(MayRepeat(id)) << id;
    }
    for (const std::uint16_t id :
         std::initializer_list<std::uint16_t>{0x1281, 0x1299, 0x129A, 0x129B, 0x12A6, 0x12A7}) {
        EXPECT_FALSE(MayRepeat(id)) << id;
    }
}

TEST(Request, DropReasonsFollowTheCatalogue) {
    EXPECT_EQ(DropReason(0x1278, "00:11:22:33:44:55"), "");
    EXPECT_NE(DropReason(0x1278, "00:11"), "");
    EXPECT_NE(DropReason(0x1298, ""), "");
    EXPECT_EQ(DropReason(0x129F, std::string(1, '\x64')), "");
    EXPECT_NE(DropReason(0x1272, ""), "");
    EXPECT_NE(DropReason(0x12BB, ""), "");
}

}  // namespace
}  // namespace zelline
