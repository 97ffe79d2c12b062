#include <gmock/gmock.h>

#include "manual/Page.h"

namespace manual {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Page, NothingInATextIsTakenForARequest) {
    Program program{"tool", "1.0", "a tool", {"VERB"}, {}, {}, {{"Notes", ".br\n'br\na\\b --c \xE2\x80\xA6\n"}},
                    {}};
    EXPECT_THAT(ManPage(program), HasSubstr(".SH NOTES\n\\&.br\n\\&'br\na\\eb \\-\\-c \\[u2026]\n"));
}

TEST(Page, LinesWithTwoBlanksStandAsTheyAre) {
    Program program{"tool", "1.0", "a tool", {}, {}, {}, {{"Notes", "One\ntwo.\n  tool x\n  tool y\nThree."}}, {}};
    EXPECT_THAT(ManPage(program), HasSubstr("One\ntwo.\n.nf\n  tool x\n  tool y\n.fi\nThree.\n"));
}

TEST(Page, ACommandHasItsFormsOptionsAndHelp) {
    const Command command{"put", {"on|off NAME", "all"}, {{"--last", "N", "how many", true}}, "Put it", "More.",
                          {}};
    const std::string page = ManPage(
        {"tool", "1.0", "a tool", {}, {{"-h,--help", "", "this", false}}, {{"Work", "", {}, {command}}}, {}, {}});
    EXPECT_THAT(
        page, HasSubstr(".TP\n\\fBput\\fR \\fBon\\fR|\\fBoff\\fR \\fINAME\\fR [\\fB\\-\\-last\\fR \\fIN\\fR]..."));
    EXPECT_THAT(page, HasSubstr(".TQ\n\\fBput\\fR \\fBall\\fR"));
    EXPECT_THAT(page,
                HasSubstr("Put it.\n.IP\nMore.\n.RS\n.TP\n\\fB\\-\\-last\\fR \\fIN\\fR\nhow many; may stand"));
    EXPECT_THAT(page, HasSubstr(".TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nthis\n"));
}

}  // namespace
}  // namespace manual
