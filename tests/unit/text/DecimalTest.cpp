#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "text/Decimal.h"

namespace {

TEST(Decimal, WhatATextBeginsWith) {
    for (const auto& [text, value] : std::vector<std::pair<const char*, std::int32_t>>{{"300", 300},
                                                                                       {"1234abc", 1234},
                                                                                       {"hours", 0},
                                                                                       {"", 0},
                                                                                       {"-7\n", -7},
                                                                                       {" \t+12", 12},
                                                                                       {"0x10", 0},
                                                                                       {"010", 10},
                                                                                       {"+4", 4}}) {
        EXPECT_EQ(zel::DecimalOf(text), value) << text;
    }
}

TEST(Decimal, WhatDoesNotFitIsTheNearestThatDoes) {
    for (const auto& [text, value] :
         std::vector<std::pair<const char*, std::int32_t>>{{"2147483647", 2147483647},
                                                           {"2147483648", 2147483647},
                                                           {"4294967296", 2147483647},  // 0 in its low 32 bits
                                                           {"4294967301", 2147483647},
                                                           {"9223372036854775807", 2147483647},
                                                           {"99999999999999999999999", 2147483647},
                                                           {"-2147483648", -2147483647 - 1},
                                                           {"-2147483649", -2147483647 - 1},
                                                           {"-99999999999999999999999", -2147483647 - 1}}) {
        EXPECT_EQ(zel::DecimalOf(text), value) << text;
    }
}

}  // namespace
