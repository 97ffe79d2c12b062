// Threads as the framework's wrappers start them; the wrappers are this file's own.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <array>
#include <string>

#include "csp/Csp.h"
#include "os/Thread.h"

namespace {

int g_attributesResult = 0;
int g_createResult = 0;
std::string g_file;
int g_line = 0;
std::size_t g_stackSize = 0;

struct Seen {
    std::string name;
    pthread_t self{};
    int joinedItself = 0;
};

void* LookAround(void* argument) {
    auto& seen = *static_cast<Seen*>(argument);
    zel::NameThread("UartManager Task");
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data());
    seen.name = name.data();
    seen.self = pthread_self();
    seen.joinedItself = zel::JoinThread(pthread_self());
    return nullptr;
}

class Thread : public ::testing::Test {
  protected:
    void SetUp() override {
        g_attributesResult = 0;
        g_createResult = 0;
        g_line = 0;
    }
};

TEST_F(Thread, HasAStackOfOneMebibyteAndTheCallersLine) {
    Seen seen;
    pthread_t thread{};
    ASSERT_EQ(zel::StartThread(thread, LookAround, &seen, 42), 0);
    EXPECT_EQ(zel::JoinThread(thread), 0);
    EXPECT_EQ(g_stackSize, std::size_t{1} << 20);
    EXPECT_EQ(g_file, "./src/UartManager");
    EXPECT_EQ(g_line, 42);
    EXPECT_EQ(seen.name, "UartManager Tas");  // the kernel keeps 15 characters
    EXPECT_NE(pthread_equal(seen.self, thread), 0);
}

TEST_F(Thread, JoiningItselfIsADeadlockThatIsToldAndNotEntered) {
    Seen seen;
    pthread_t thread{};
    ASSERT_EQ(zel::StartThread(thread, LookAround, &seen, 1), 0);
    zel::JoinThread(thread);
    EXPECT_EQ(seen.joinedItself, EDEADLK);
}

TEST_F(Thread, OneThatCannotBeMadeLeavesTheHandle) {
    Seen seen;
    const pthread_t mine = pthread_self();
    pthread_t thread = mine;
    g_createResult = EAGAIN;
    EXPECT_EQ(zel::StartThread(thread, LookAround, &seen, 1), EAGAIN);
    EXPECT_NE(pthread_equal(thread, mine), 0);
    g_createResult = 0;
    g_attributesResult = ENOMEM;
    g_line = 0;
    EXPECT_EQ(zel::StartThread(thread, LookAround, &seen, 1), ENOMEM);
    EXPECT_EQ(g_line, 0) << "nothing is started without attributes";
    EXPECT_NE(pthread_equal(thread, mine), 0);
}

}  // namespace

extern "C" {

int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    return g_attributesResult != 0 ? g_attributesResult : pthread_attr_init(attributes);
}

int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                      void* argument, const char* file, int line) {
    g_file = file;
    g_line = line;
    pthread_attr_getstacksize(attributes, &g_stackSize);
    return g_createResult != 0 ? g_createResult : pthread_create(thread, attributes, entry, argument);
}
}
