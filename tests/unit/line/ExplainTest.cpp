#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "Error.h"
#include "Explain.h"
#include "Tools.h"
#include "protocol/CommandCatalogue.h"

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
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
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
    EXPECT_NE(words("79 11 12 87 04 4D 45 4E 55 00 01 1C FE").find("key MENU"), std::string::npos);
}

// Every example of the reference is a frame with the right checksum, and every command has one.
TEST(Reference, ExamplesAreIntactFrames) {
    const std::string page = ProtocolReference();
    std::size_t requests = 0;
    std::size_t replies = 0;
    for (std::size_t at = page.find("\n    "); at != std::string::npos; at = page.find("\n    ", at + 1)) {
        const char mark = page[at + 5];
        if (mark != '>' && mark != '<') {
            continue;
        }
        const auto end = page.find('\n', at + 1);
        const auto parts = Dissect(FromHex(page.substr(at + 7, end - at - 7)));
        ASSERT_EQ(parts.size(), 1U);
        EXPECT_TRUE(parts[0].intact) << parts[0].words;
        (mark == '>' ? requests : replies) += 1;
    }
    std::size_t named = 0;
    std::size_t answered = 0;
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        named += row.name.empty() ? 0U : 1U;
        answered += row.reply == zel::ReplyRule::None ? 0U : row.reply == zel::ReplyRule::StatusTwice ? 2U : 1U;
        EXPECT_NE(page.find(IdText(row.id)), std::string::npos);
    }
    EXPECT_EQ(requests, named);
    EXPECT_EQ(replies, answered);
    EXPECT_NE(page.find("add up to 88; 100 - 88 = 78"), std::string::npos);
}

// The reference in the repository is this one; otherwise make it anew with "zelline commands --markdown".
TEST(Reference, IsTheOneInTheRepository) {
    std::ostringstream text;
    text << std::ifstream(ZELLINE_REFERENCE).rdbuf();
    EXPECT_TRUE(text.str() == ProtocolReference()) << ZELLINE_REFERENCE << " is out of date";
}

}  // namespace
}  // namespace zelline
