#include <gtest/gtest.h>

#include "wire/Address.h"

namespace zelline {
namespace {

TEST(Address, IsReadAndWritten) {
    EXPECT_EQ(ParseAddress("00:11:22:aa:Bb:CC"), 0x001122AABBCCU);
    EXPECT_EQ(ParseAddress("FF-FF-FF-FF-FF-FF"), 0xFFFFFFFFFFFFU);
    EXPECT_EQ(AddressText(0x001122AABBCCU), "00:11:22:AA:BB:CC");
    EXPECT_EQ(AddressText(0xFFFFFFFFFFFFU), "FF:FF:FF:FF:FF:FF");
    for (const char* text : {"", "001122AABBCC", "00:11:22:AA:BB", "00:11:22:AA:BB:CC:", "00:11:22:AA:BB-CC",
                             "00:11:22:AA:BB:C", "00:11:22:AA:BB:+C", "0011:22:AA:BB:CC0", "00.11.22.AA.BB.CC"}) {
        EXPECT_FALSE(ParseAddress(text)) << text;
    }
}

TEST(Address, ASetHasOneOfItsOwn) {
    EXPECT_EQ(AddressDoubt(0x001122334455U), "");
    EXPECT_EQ(AddressDoubt(0x021122334455U), "");
    EXPECT_NE(AddressDoubt(0x011122334455U), "");
    EXPECT_NE(AddressDoubt(0xFFFFFFFFFFFFU), "");
    EXPECT_NE(AddressDoubt(0), "");
}

}  // namespace
}  // namespace zelline
