#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <thread>

#include "simset/wire/Message.h"

namespace simset {
namespace {

struct Pair {
    Pair() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        a.Reset(ends[0]);
        b.Reset(ends[1]);
    }
    Descriptor a;
    Descriptor b;
};

TEST(Message, CarriesTextsOfAnyBytes) {
    const Pair pair;
    const std::vector<std::string> parts{"", std::string("\0\xFF\n", 3), "text"};
    ASSERT_TRUE(SendMessage(pair.a.Get(), parts));
    const auto message = ReceiveMessage(pair.b.Get());
    ASSERT_TRUE(message);
    EXPECT_EQ(message->parts, parts);
    EXPECT_TRUE(message->fds.empty());
}

TEST(Message, CarriesMoreThanASocketBuffers) {
    const Pair pair;
    const std::string large(5'000'000, 'x');
    std::thread sender([&] { EXPECT_TRUE(SendMessage(pair.a.Get(), {large})); });
    const auto message = ReceiveMessage(pair.b.Get());
    sender.join();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->parts.at(0), large);
}

TEST(Message, CarriesDescriptors) {
    const Pair pair;
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const Descriptor readEnd(pipe[0]);
    const Descriptor writeEnd(pipe[1]);
    ASSERT_TRUE(SendMessage(pair.a.Get(), {"fd"}, {writeEnd.Get()}));
    const auto message = ReceiveMessage(pair.b.Get());
    ASSERT_TRUE(message);
    ASSERT_EQ(message->fds.size(), 1U);
    EXPECT_EQ(::write(message->fds[0].Get(), "z", 1), 1);
    char byte = 0;
    EXPECT_EQ(::read(readEnd.Get(), &byte, 1), 1);
    EXPECT_EQ(byte, 'z');
    EXPECT_NE(::fcntl(message->fds[0].Get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(Message, TwoInARowStayApart) {
    const Pair pair;
    SendMessage(pair.a.Get(), {"one"});
    SendMessage(pair.a.Get(), {"two", "three"});
    EXPECT_EQ(ReceiveMessage(pair.b.Get())->parts.size(), 1U);
    EXPECT_EQ(ReceiveMessage(pair.b.Get())->parts.size(), 2U);
}

TEST(Message, PeerGone) {
    Pair pair;
    pair.a.Reset();
    EXPECT_FALSE(ReceiveMessage(pair.b.Get()));
    EXPECT_FALSE(SendMessage(pair.b.Get(), {"late"}));
}

TEST(Message, BrokenLengthsAreRefused) {
    const std::uint32_t cases[][4] = {
        {1, 0xFFFFFFFF, 0, 0},  // more than any message
        {2, 4, 0, 0},           // a second text that is not there
        {1, 8, 100, 0},         // a text longer than the message
    };
    for (const auto& words : cases) {
        Pair pair;
        ASSERT_EQ(::send(pair.a.Get(), words, sizeof words, 0), static_cast<ssize_t>(sizeof words));
        pair.a.Reset();
        EXPECT_FALSE(ReceiveMessage(pair.b.Get()));
    }
}

}  // namespace
}  // namespace simset
