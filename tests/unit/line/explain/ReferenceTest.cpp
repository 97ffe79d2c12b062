#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "explain/Explain.h"
#include "explain/Reference.h"
#include "protocol/CommandCatalogue.h"

namespace zelline {
namespace {

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

// So is the dissector: "zelline commands --lua" makes it anew.
TEST(Reference, DissectorIsTheOneInTheRepository) {
    std::ostringstream text;
    text << std::ifstream(ZELLINE_DISSECTOR).rdbuf();
    EXPECT_TRUE(text.str() == DissectorScript()) << ZELLINE_DISSECTOR << " is out of date";
}

}  // namespace
}  // namespace zelline
