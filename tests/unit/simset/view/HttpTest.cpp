#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <string>
#include <thread>

#include "simset/server/ThreadServer.h"
#include "simset/view/Http.h"

namespace simset {
namespace {

using namespace std::chrono_literals;

// A reader, and the browser's end of its connection.
class HttpReading : public ::testing::Test {
  protected:
    HttpReading() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        m_own.Reset(ends[0]);
        m_other.Reset(ends[1]);
    }

    void Send(const std::string& text) { ASSERT_TRUE(SendAll(m_other.Get(), text.data(), text.size())); }

    HttpReader::Outcome Next() { return m_reader->Next(m_request, 10s, 10s); }

    Descriptor m_own;
    Descriptor m_other;
    std::unique_ptr<HttpReader> m_reader = std::make_unique<HttpReader>(-1);
    HttpRequest m_request;

    void SetUp() override { m_reader = std::make_unique<HttpReader>(m_own.Get()); }
};

TEST_F(HttpReading, TakesARequestApart) {
    Send(
        "POST /a%20b?token=x%2By&empty&blank=a+b HTTP/1.1\r\nHost: 127.0.0.1:1\r\nX-Some: "
        "Thing\r\nContent-Length: 2\r\n\r\n[]");
    ASSERT_EQ(Next(), HttpReader::Outcome::Request);
    EXPECT_EQ(m_request.method, "POST");
    EXPECT_EQ(m_request.path, "/a b");
    EXPECT_EQ(m_request.Query("token"), "x+y");
    EXPECT_EQ(m_request.Query("blank"), "a b");
    EXPECT_EQ(m_request.Query("empty"), "");
    EXPECT_EQ(m_request.Header("host"), "127.0.0.1:1");
    EXPECT_EQ(m_request.Header("x-some"), "Thing");
    EXPECT_EQ(m_request.Header("missing"), "");
    EXPECT_EQ(m_request.body, "[]");
    EXPECT_TRUE(m_request.keepAlive);
}

TEST_F(HttpReading, KeepsWhatComesBehindARequestForTheNext) {
    Send("GET /one HTTP/1.1\r\nHost: a\r\n\r\nGET /two HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    ASSERT_EQ(Next(), HttpReader::Outcome::Request);
    EXPECT_EQ(m_request.path, "/one");
    ASSERT_EQ(Next(), HttpReader::Outcome::Request);
    EXPECT_EQ(m_request.path, "/two");
    EXPECT_FALSE(m_request.keepAlive);
}

TEST_F(HttpReading, PutsPiecesTogether) {
    const std::string text = "GET /pieces HTTP/1.1\r\nHost: a\r\n\r\n";
    std::thread sender([this, &text] {
        for (const char c : text) {
            SendAll(m_other.Get(), &c, 1);
        }
    });
    EXPECT_EQ(Next(), HttpReader::Outcome::Request);
    sender.join();
    EXPECT_EQ(m_request.path, "/pieces");
}

TEST_F(HttpReading, RefusesWhatIsNoRequest) {
    for (const char* text :
         {"nonsense\r\n\r\n", "GET http://elsewhere/ HTTP/1.1\r\nHost: a\r\n\r\n",
          "GET /%zz HTTP/1.1\r\nHost: a\r\n\r\n", "GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n"}) {
        SetUp();
        Send(text);
        EXPECT_EQ(Next(), HttpReader::Outcome::Malformed) << text;
    }
}

TEST_F(HttpReading, HasBoundsForHeadAndBody) {
    Send("GET / HTTP/1.1\r\nX: " + std::string(HttpReader::kMaxHeaderBytes, 'x') + "\r\n\r\n");
    EXPECT_EQ(Next(), HttpReader::Outcome::TooLarge);
    SetUp();
    Send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: " + std::to_string(HttpReader::kMaxBodyBytes + 1) +
         "\r\n\r\n");
    EXPECT_EQ(Next(), HttpReader::Outcome::TooLarge);
}

TEST_F(HttpReading, EndsWithTheOtherEndAndWithItsPatience) {
    Send("GET / HT");
    EXPECT_EQ(m_reader->Next(m_request, 10s, 20ms), HttpReader::Outcome::Ended);
    EXPECT_EQ(m_reader->Next(m_request, 20ms, 20ms), HttpReader::Outcome::Ended);
    m_other.Reset();
    EXPECT_EQ(Next(), HttpReader::Outcome::Ended);
}

TEST(HttpHead, ForbidsTheBrowserWhatThePageDoesNotNeed) {
    const std::string head = HttpHead({200, "text/html", "", {{"ETag", "\"1\""}}}, 5, true);
    for (const char* part :
         {"HTTP/1.1 200 OK\r\n", "Content-Type: text/html\r\n", "Content-Length: 5\r\n", "ETag: \"1\"\r\n",
          "Content-Security-Policy: default-src 'none'; script-src 'self';", "frame-ancestors 'none'",
          "X-Content-Type-Options: nosniff\r\n", "Connection: keep-alive\r\n\r\n"}) {
        EXPECT_NE(head.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(HttpHead({}, std::nullopt, false).find("Content-Length"), std::string::npos);
}

}  // namespace
}  // namespace simset
