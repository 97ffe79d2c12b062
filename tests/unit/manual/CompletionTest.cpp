#include <gmock/gmock.h>

#include "manual/Completion.h"

namespace manual {
namespace {

using testing::HasSubstr;
using testing::Not;

Program Tool(const Command& command) {
    return {"tool",
            "1.0",
            "a tool",
            {},
            {{"--at", "PATH", "where it's", false}},
            {{"Work", "in", {}, {command}}},
            {},
            {{"KIND", {"one", "two"}}}};
}

std::string Row(const std::string& text) {
    return "\n        '" + text + "'\n";
}

TEST(Completion, WordsInCapitalsBecomeWhatTheyStandFor) {
    const Command command{
        "put", {"KIND FILE", "NAME on|off|MS", "PLAN.toml FOLDER", "ID [HEX]", "HEX ...", "a|b ..."},
        {},    "Put it",
        "",    {{"NAME", {"x", "y"}}}};
    for (const std::string& script : {BashCompletion(Tool(command)), ZshCompletion(Tool(command))}) {
        EXPECT_THAT(script, HasSubstr(Row("in put one|two <file>")));
        EXPECT_THAT(script, HasSubstr(Row("in put x|y on|off|<any>")));
        EXPECT_THAT(script, HasSubstr(Row("in put <file:toml> <dir>")));
        EXPECT_THAT(script, HasSubstr(Row("in put <any> <any>...")));
        EXPECT_THAT(script, HasSubstr(Row("in put <any>...")));
        EXPECT_THAT(script, HasSubstr(Row("in put a|b <file>...")));
        EXPECT_THAT(script, Not(HasSubstr("@NAME@")));
    }
}

TEST(Completion, OptionsBelongToTheirForm) {
    const Command command{"put", {"NAME"}, {{"-l,--last", "KIND", "", false}}, "Put it", "", {}};
    for (const std::string& script : {BashCompletion(Tool(command)), ZshCompletion(Tool(command))}) {
        EXPECT_THAT(script, HasSubstr(Row("0;;--at;<file>;where it'\\''s")));
        EXPECT_THAT(script, HasSubstr(Row("2;in put <any>;-l;one|two;")));
        EXPECT_THAT(script, HasSubstr(Row("2;in put <any>;--last;one|two;")));
    }
}

}  // namespace
}  // namespace manual
