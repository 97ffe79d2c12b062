#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <string>

#include "amclient/ManagerStream.h"

namespace {

class ManagerStreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK), 0);
    }
    void TearDown() override {
        m_stream->Attach(-1);
        for (const int end : m_pipe) {
            close(end);
        }
    }
    std::string Arrived() {
        std::array<char, 4096> text{};
        const ssize_t got = read(m_pipe[0], text.data(), text.size());
        return std::string(text.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    }

    std::array<int, 2> m_pipe{};
    const std::unique_ptr<zel::ManagerStream> m_stream = std::make_unique<zel::ManagerStream>();
};

TEST_F(ManagerStreamTest, WritesAtOnce) {
    m_stream->Attach(m_pipe[1]);
    EXPECT_TRUE(m_stream->Write("one "));
    EXPECT_TRUE(m_stream->Write("two"));
    EXPECT_EQ(Arrived(), "one two");
    EXPECT_FALSE(m_stream->HasBacklog());
    EXPECT_FALSE(m_stream->IsStalled());
}

TEST_F(ManagerStreamTest, WithoutSpaceTextsWaitUntilThereIsSome) {
    const int file = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    m_stream->Attach(file);
    EXPECT_TRUE(m_stream->Write("first "));
    EXPECT_TRUE(m_stream->IsStalled());
    EXPECT_TRUE(m_stream->Write("second"));
    m_stream->Flush();
    EXPECT_TRUE(m_stream->HasBacklog());
    EXPECT_GE(m_stream->Descriptor(), 0);

    ASSERT_EQ(dup2(m_pipe[1], file), file);
    m_stream->Flush();
    EXPECT_EQ(Arrived(), "first second");
    EXPECT_FALSE(m_stream->HasBacklog());
    EXPECT_FALSE(m_stream->IsStalled());
    close(file);
}

TEST_F(ManagerStreamTest, AClosedPipeIsGivenUp) {
    close(m_pipe[0]);
    m_stream->Attach(m_pipe[1]);
    EXPECT_FALSE(m_stream->Write("nobody"));
    EXPECT_EQ(m_stream->Descriptor(), -1);
    EXPECT_FALSE(m_stream->HasBacklog());
    m_pipe[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
}

}  // namespace
