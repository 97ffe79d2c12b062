#include <gtest/gtest.h>

#include <random>

#include "base/Seed.h"
#include "explain/Explain.h"
#include "wire/Request.h"

namespace zelline {
namespace {

TEST(Explain, FramesInARowAndDamagedOnes) {
    const auto parts =
        Dissect(FromHex("79 00 12 72 01 02 00 01 78 FE  00 01  79 10 12 73 01 00 00 01 69 FE"
                        "79 10 12 73 01 01 00 01 69 FE  79 00 12 73 41 00 00 7B FE  79 00 12"));
    ASSERT_EQ(parts.size(), 6U);
    EXPECT_NE(parts[0].words.find("ready"), std::string::npos);
    EXPECT_NE(parts[1].words.find("noise"), std::string::npos);
    EXPECT_EQ(parts[2].words, "answer 0x1273 connect, success");
    EXPECT_FALSE(parts[3].intact);
    EXPECT_EQ(parts[3].words, "damaged: 0x1273, checksum 69, but the bytes give 68");
    EXPECT_NE(parts[4].words.find("length 65"), std::string::npos);
    EXPECT_NE(parts[5].words.find("cut off"), std::string::npos);
}

TEST(Explain, EveryByteIsInExactlyOnePart) {
    const unsigned seed = tests::Seed();
    SCOPED_TRACE("ZELFAC_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const Bytes frame = FromHex("79 10 12 73 01 00 00 01 69 FE");
    for (int round = 0; round < 500; ++round) {
        Bytes stream;
        while (stream.size() < 60) {
            if (random() % 3 == 0) {
                stream.insert(stream.end(), frame.begin(), frame.end());
            } else {
                stream.push_back(static_cast<std::uint8_t>(random() % 4 == 0 ? 0x79 : random()));
            }
        }
        Bytes joined;
        for (const Stretch& part : Dissect(stream)) {
            EXPECT_EQ(part.at, joined.size());
            EXPECT_FALSE(part.bytes.empty());
            joined.insert(joined.end(), part.bytes.begin(), part.bytes.end());
        }
        EXPECT_EQ(joined, stream);
    }
}

TEST(Explain, RequestsSayWhatTheyAskFor) {
    const auto words = [](const char* hex) { return Dissect(FromHex(hex)).at(0).words; };
    EXPECT_EQ(words("79 00 12 9F 01 14 00 00 3A FE"), "request 0x129F set main volume to 20");
    EXPECT_NE(words("79 00 12 81 01 41 02 0A 1F FE").find("chunk 3 of 10, 1 bytes"), std::string::npos);
    const Bytes zeros(74, 0);
    EXPECT_EQ(Dissect({zeros.begin() + 1, zeros.end()}).at(0).words, kFlushWords);
    EXPECT_NE(Dissect(zeros).at(0).words, kFlushWords);
    EXPECT_NE(words("79 11 12 87 04 4D 45 4E 55 00 01 1C FE").find("key MENU"), std::string::npos);
}

}  // namespace
}  // namespace zelline
