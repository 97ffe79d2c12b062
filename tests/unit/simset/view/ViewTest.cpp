#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <array>
#include <condition_variable>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "simset/view/View.h"

namespace simset {
namespace {

using nlohmann::json;

// A folder for the trace's file.
class Folder {
  public:
    Folder() : m_path(::mkdtemp(m_name.data())) {}
    ~Folder() { std::filesystem::remove_all(m_path); }
    std::filesystem::path operator/(const char* name) const { return m_path / name; }

  private:
    std::string m_name = "/tmp/simset-view.XXXXXX";
    std::filesystem::path m_path;
};

class ViewServing : public ::testing::Test {
  protected:
    ViewServing() { Open({}); }

    void Open(const ViewAddress& address) {
        m_view = std::make_unique<View>(
            ViewOptions{address, "t0ken"},
            View::Parts{m_trace, [this](const Words& words) { return CarryOut(words); },
                        []() -> Screenshot { throw std::runtime_error("no panel"); }, "/my/set"});
        const std::string url = m_view->Url();
        const std::string authority = url.substr(7, url.find('/', 7) - 7);
        m_host = authority;
        m_port = static_cast<std::uint16_t>(std::stoi(authority.substr(authority.rfind(':') + 1)));
    }

    std::string CarryOut(const Words& words) {
        m_verbs.push_back(words);
        if (words[0] == "bad") {
            throw ControlError("it is bad");
        }
        return "did " + words[0] + "\n";
    }

    Descriptor Connect() const {
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        union {
            sockaddr any;
            sockaddr_in v4;
        } name{};
        name.v4 = {};
        name.v4.sin_family = AF_INET;
        name.v4.sin_port = htons(m_port);
        name.v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket.Get(), &name.any, sizeof name.v4), 0);
        return socket;
    }

    // What comes on a connection until `end` is in it, or all of it.
    static std::string Receive(int socket, const std::string& end = "") {
        std::string all;
        std::array<char, 4096> bytes{};
        while (end.empty() || all.find(end) == std::string::npos) {
            const ssize_t count = ::recv(socket, bytes.data(), bytes.size(), 0);
            if (count <= 0) {
                break;
            }
            all.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return all;
    }

    Descriptor Ask(const std::string& head, const std::string& headers = "", const std::string& body = "") const {
        Descriptor socket = Connect();
        std::string text = head + " HTTP/1.1\r\nHost: " + m_host + "\r\nConnection: close\r\n" + headers;
        if (!body.empty()) {
            text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
        }
        text += "\r\n" + body;
        EXPECT_TRUE(SendAll(socket.Get(), text.data(), text.size()));
        return socket;
    }

    std::string Whole(const std::string& head, const std::string& headers = "",
                      const std::string& body = "") const {
        return Receive(Ask(head, headers, body).Get());
    }

    static int StatusOf(const std::string& answer) { return std::stoi(answer.substr(answer.find(' '))); }
    static std::string BodyOf(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }

    json Post(const std::string& body) const {
        return json::parse(
            BodyOf(Whole("POST /ctl", "Content-Type: application/json\r\nX-Simset-Token: t0ken\r\n", body)));
    }

    Folder m_folder;
    TraceLog m_trace{m_folder / "trace.jsonl"};
    std::vector<Words> m_verbs;
    std::unique_ptr<View> m_view;
    std::string m_host;
    std::uint16_t m_port = 0;
};

TEST_F(ViewServing, GivesThePageAndItsFilesToWhoHasNoTokenYet) {
    const std::string page = Whole("GET /?token=t0ken");
    EXPECT_EQ(StatusOf(page), 200);
    EXPECT_NE(page.find("<title>simset</title>"), std::string::npos);
    EXPECT_EQ(page.find("t0ken"), std::string::npos);
    for (const char* file : {"/main.js", "/page.css", "/commands.js", "/icon.svg"}) {
        EXPECT_EQ(StatusOf(Whole(std::string("GET ") + file)), 200) << file;
    }
    EXPECT_NE(Whole("GET /commands.js").find("'0x1273': 'connect'"), std::string::npos);
    EXPECT_EQ(StatusOf(Whole("POST /", "Content-Type: application/json\r\n")), 405);
}

TEST_F(ViewServing, TellsNothingOfTheSetWithoutTheToken) {
    for (const char* path : {"/events", "/panel.png", "/ctl", "/nothing", "/events?token=wrong"}) {
        EXPECT_EQ(StatusOf(Whole(std::string("GET ") + path)), 403) << path;
    }
    EXPECT_EQ(StatusOf(Whole("POST /ctl", "Content-Type: application/json\r\n", R"([["press","70"]])")), 403);
    EXPECT_TRUE(m_verbs.empty());
}

TEST_F(ViewServing, KnowsOnlyItsOwnPaths) {
    EXPECT_EQ(StatusOf(Whole("GET /nothing?token=t0ken")), 404);
    EXPECT_EQ(StatusOf(Whole("GET /../state.db?token=t0ken")), 404);
    EXPECT_EQ(StatusOf(Whole("GET /ctl?token=t0ken")), 405);
    EXPECT_EQ(StatusOf(Whole("POST /events", "Content-Type: application/json\r\nX-Simset-Token: t0ken\r\n", "1")),
              405);
    EXPECT_TRUE(m_verbs.empty());
}

TEST_F(ViewServing, CarriesVerbsOut) {
    EXPECT_EQ(Post(R"([["press","70"],["bad"],["keys","list"]])"),
              json::parse(R"([{"ok":true,"out":"did press\n"},{"ok":false,"error":"it is bad"},
                              {"ok":true,"out":"did keys\n"}])"));
    EXPECT_EQ(m_verbs, (std::vector<Words>{{"press", "70"}, {"bad"}, {"keys", "list"}}));
}

TEST_F(ViewServing, RefusesWhatIsNoListOfVerbs) {
    for (const char* body : {"nonsense", "{}", "[1]", R"([[1]])", R"(["press"])", "\xFF"}) {
        const std::string answer =
            Whole("POST /ctl", "Content-Type: application/json\r\nX-Simset-Token: t0ken\r\n", body);
        EXPECT_EQ(StatusOf(answer), 400) << body;
    }
    EXPECT_TRUE(m_verbs.empty());
}

TEST_F(ViewServing, LeavesOutVerbsThatWriteThePcsFilesOrGoOn) {
    const json answers =
        Post(R"([["screenshot","/tmp/x"],["usb","read","a","/tmp"],["wait","x"],["trace","--follow"],[]])");
    ASSERT_EQ(answers.size(), 5U);
    for (const json& answer : answers) {
        EXPECT_FALSE(answer["ok"]);
    }
    EXPECT_TRUE(m_verbs.empty());
}

TEST_F(ViewServing, SaysWhyThereIsNoPicture) {
    const std::string answer = Whole("GET /panel.png?token=t0ken");
    EXPECT_EQ(StatusOf(answer), 404);
    EXPECT_EQ(BodyOf(answer), "no panel\n");
}

TEST_F(ViewServing, StreamsTheRowsThatAreThereAndThoseThatCome) {
    m_trace.Append(1, {{"who", "one"}});
    m_trace.Append(2, {{"who", "two"}});
    const Descriptor stream = Ask("GET /events?since=1&token=t0ken");
    const std::string begin = Receive(stream.Get(), "\"two\"}\n\n");
    EXPECT_NE(begin.find("event: hello\ndata: {\"last\":2,\"since\":1,\"state\":\"/my/set\"}\n\n"),
              std::string::npos)
        << begin;
    EXPECT_NE(begin.find("event: rows\nid: 2\ndata: {\"seq\":2"), std::string::npos) << begin;
    EXPECT_EQ(begin.find("\"one\""), std::string::npos);
    m_trace.Append(3, {{"who", "three"}});
    EXPECT_NE(Receive(stream.Get(), "\n\n").find("id: 3\n"), std::string::npos);
    m_trace.Close();
    EXPECT_NE(Receive(stream.Get()).find("event: ended\n"), std::string::npos);
}

TEST_F(ViewServing, GoesOnWhereTheBrowserWas) {
    for (int i = 0; i < 3; ++i) {
        m_trace.Append(i, {{"who", "row"}});
    }
    const Descriptor again = Ask("GET /events?since=0&token=t0ken", "Last-Event-ID: 2\r\n");
    const std::string rows = Receive(again.Get(), "\n\nevent: rows");
    EXPECT_NE(rows.find("\"since\":2"), std::string::npos);
    // Of a trace that this set does not have: from its beginning.
    const Descriptor other = Ask("GET /events?since=900&token=t0ken");
    EXPECT_NE(Receive(other.Get(), "\n\nevent: rows").find("\"since\":0"), std::string::npos);
}

TEST_F(ViewServing, EndsWithOpenStreamsAndSilentConnections) {
    const Descriptor stream = Ask("GET /events?token=t0ken");
    Receive(stream.Get(), "hello");
    const Descriptor silent = Connect();
    const Descriptor begun = Connect();
    ASSERT_TRUE(SendAll(begun.Get(), "GET /", 5));
    const auto begin = std::chrono::steady_clock::now();
    m_view.reset();
    // Far below the patience that a connection has.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(Receive(silent.Get()), "");
}

TEST_F(ViewServing, EndsWithABrowserThatReadsNothing) {
    const std::string text(4000, 'x');
    for (int i = 0; i < 5000; ++i) {
        m_trace.Append(i, {{"who", "row"}, {"text", text}});
    }
    const Descriptor stream = Ask("GET /events?token=t0ken");
    Receive(stream.Get(), "event: rows");
    m_view.reset();
}

TEST_F(ViewServing, SaysThatAPortIsTaken) {
    EXPECT_THROW(View({{"127.0.0.1", m_port}, ""}, {m_trace, nullptr, nullptr, ""}), std::system_error);
    m_view.reset();
    EXPECT_NO_THROW(View({{"127.0.0.1", m_port}, ""}, {m_trace, nullptr, nullptr, ""}));
}

}  // namespace
}  // namespace simset
