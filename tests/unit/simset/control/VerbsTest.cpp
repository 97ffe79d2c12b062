#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simset/control/Verbs.h"

namespace simset {
namespace {

using ::testing::HasSubstr;

// Answers with what reached it.
class Kitchen {
  public:
    std::string Cook(const Arguments& arguments) {
        return "cook " + arguments[0] + " in " + arguments.caller.folder + " for " +
               arguments.Option("--minutes").value_or("-") + (arguments.Has("--salt") ? " salted" : "");
    }
    std::string Heat(const Arguments& arguments) { return m_plate = "heat " + arguments[0]; }
    std::string Stop(const Arguments&) { return "stop"; }

  private:
    std::string m_plate;
};

const std::vector<Verb<Kitchen>> kVerbs = {
    {{"cook", "stop", "take it off"}, &Kitchen::Stop},
    {{"cook", "DISH [--minutes N] [--salt]", "make it"}, &Kitchen::Cook},
    {{"heat", "high|low", "turn the plate"}, &Kitchen::Heat},
};

std::string Answer(const Words& words) {
    Kitchen kitchen;
    return RunVerb(kVerbs, kitchen, words, Caller{"/home", {}});
}

std::string Refusal(const Words& words) {
    try {
        return "taken: " + Answer(words);
    } catch (const ControlError& error) {
        return error.what();
    }
}

TEST(Verbs, TakeTheFirstFormThatMatches) {
    EXPECT_EQ(Answer({"cook", "stop"}), "stop");
    EXPECT_EQ(Answer({"cook", "soup"}), "cook soup in /home for -");
    EXPECT_EQ(Answer({"cook", "soup", "--salt", "--minutes", "5"}), "cook soup in /home for 5 salted");
    EXPECT_EQ(Answer({"cook", "soup", "--minutes=5"}), "cook soup in /home for 5");
    EXPECT_EQ(Answer({"cook", "--salt"}), "cook --salt in /home for -") << "a text may look like an option";
    EXPECT_EQ(Answer({"heat", "low"}), "heat low");
}

TEST(Verbs, SayHowTheyAreUsed) {
    const std::string usage = "usage: cook stop | cook DISH [--minutes N] [--salt]";
    for (const Words& words : {Words{"cook"}, Words{"cook", "soup", "--minutes"},
                               Words{"cook", "soup", "--salt=1"}, Words{"cook", "soup", "now"}}) {
        EXPECT_EQ(Refusal(words), usage);
    }
    EXPECT_EQ(Refusal({"heat", "high|low"}), "usage: heat high|low");
    EXPECT_EQ(Refusal({"heat", "medium"}), "usage: heat high|low");
    EXPECT_THAT(Refusal({"coock"}), HasSubstr("did you mean cook"));
    EXPECT_THAT(Refusal({}), HasSubstr("there is no verb"));
}

TEST(Verbs, MakeTheHelp) {
    EXPECT_EQ(HelpText(FormsOf(kVerbs)),
              "  cook stop                           take it off\n"
              "  cook DISH [--minutes N] [--salt]    make it\n"
              "  heat high|low                       turn the plate\n");
    EXPECT_EQ(
        HelpText({{"serve", "A-VERY-LONG-NAME-OF-A-DISH TABLE", "one\ntwo"}, {"wash", "", "", true, When::On}}),
        "  serve A-VERY-LONG-NAME-OF-A-DISH TABLE\n"
        "                                      one\n"
        "                                      two\n"
        "* wash\n");
}

}  // namespace
}  // namespace simset
