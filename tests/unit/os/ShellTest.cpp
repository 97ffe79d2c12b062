#include <gtest/gtest.h>
#include <sys/wait.h>

#include "os/Shell.h"

namespace {

TEST(Shell, OutputIsReadWholeWhateverItsLines) {
    EXPECT_EQ(zel::ReadOutput("printf 'a\\nb'"), "a\nb");
    EXPECT_EQ(zel::ReadOutput("head -c 50000 /dev/zero | tr '\\0' x"), std::string(50000, 'x'));
    EXPECT_EQ(zel::ReadOutput("true"), "");
}

TEST(Shell, ACommandRunUnreadHasEndedOnReturn) {
    EXPECT_TRUE(zel::RunUnread("exit 3"));  // how it ended is not seen
    EXPECT_TRUE(zel::RunUnread("no-such-command 2>/dev/null"));
}

TEST(Shell, TheStatusOfACommandIsGiven) {
    EXPECT_EQ(zel::RunSystem("exit 0"), 0);
    EXPECT_EQ(WEXITSTATUS(zel::RunSystem("exit 3")), 3);
}

}  // namespace
