#include <sys/socket.h>

#include <future>
#include <thread>

#include "simset/base/Status.h"
#include "simset/core/Fixture.h"
#include "simset/server/UnixServer.h"
#include "simset/wire/Wire.h"

namespace simset::test {
namespace {

class SocketOfSet : public SimsetTest {
  protected:
    LineSocket Connect() const {
        Descriptor socket = ConnectTo(Socket());
        EXPECT_TRUE(socket);
        return LineSocket(std::move(socket));
    }

    static void SendRaw(LineSocket& socket, const std::string& bytes) {
        ASSERT_EQ(::send(socket.Fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    static nlohmann::json Receive(LineSocket& socket) {
        std::string line;
        EXPECT_TRUE(socket.Receive(line));
        return DecodeLine(line).value_or(nlohmann::json());
    }
};

TEST_F(SocketOfSet, SurvivesWhatIsNoRequest) {
    auto socket = Connect();
    const std::vector<std::string> lines = {
        "",
        "nonsense",
        "[]",
        "5",
        "{\"op\":5}",
        "{}",
        "{\"op\":\"no such\"}",
        "{\"op\":\"hello\",\"client\":5}",
        "{\"op\":\"connect\"}",
        "{\"op\":\"connect\",\"client\":\"x\",\"conn\":\"y\",\"key\":5}",
        "{\"op\":\"set\",\"client\":\"x\",\"conn\":1}",
        "{\"op\":\"invoke\",\"client\":\"x\",\"conn\":1,\"args\":[[1,2]]}",
        "{\"op\":\"keys-write\",\"key\":5,\"files\":[7],\"data\":[null]}",
        "{\"op\":\"keys-write\",\"key\":5,\"files\":{},\"data\":\"\"}",
        "{\"op\":\"meta-write\",\"item\":\"1\"}",
        "{\"op\":\"apm-delivered\"}",
        "{\"op\":\"trace\",\"row\":7}",
        "{\"op\":\"trace\"}",
        std::string(1 << 20, '['),
        std::string("\xff\xfe\0{", 4),
    };
    for (const auto& line : lines) {
        SendRaw(socket, line + '\n');
        EXPECT_NE(Receive(socket)["status"], kOk) << line.substr(0, 80);
    }
    SendRaw(socket, "{\"op\":\"proxy\"}\n");
    EXPECT_EQ(Receive(socket)["status"], kOk);
}

TEST_F(SocketOfSet, TakesRequestsInPieces) {
    auto socket = Connect();
    const std::string request =
        "{\"op\":\"trace\",\"row\":{\"who\":\"shell\",\"command\":\"ls\"}}\n{\"op\":\"proxy\"}\n";
    for (const char byte : request) {
        SendRaw(socket, std::string(1, byte));
    }
    EXPECT_EQ(Receive(socket)["status"], kOk);
    EXPECT_EQ(Receive(socket)["status"], kOk);
    EXPECT_EQ(Trace("shell").at(0)["command"], "ls");
}

TEST_F(SocketOfSet, HearsReportsOfOtherProcesses) {
    int syncs = 0;
    m_hooks.onSync = [&] { return ++syncs > 0; };
    auto socket = Connect();
    SendRaw(socket, "{\"op\":\"sync\"}\n");
    EXPECT_EQ(Receive(socket)["status"], kOk);
    EXPECT_EQ(syncs, 1) << "the answer came before the hook had run";
    SendRaw(socket, "{\"op\":\"mount\",\"call\":\"mount\",\"target\":\"/zodata/critical\"}\n");
    EXPECT_EQ(Receive(socket)["status"], kOk);
    const auto row = Trace("mount").at(0);
    EXPECT_EQ(row["target"], "/zodata/critical");
    EXPECT_FALSE(row.contains("op"));
}

TEST_F(SocketOfSet, WhatIsUnderWayWhenThePowerGoesIsToldBefore) {
    std::promise<void> begun;
    std::promise<void> ended;
    m_hooks.onSync = [&] {
        begun.set_value();
        ended.get_future().wait();
        return true;
    };
    auto socket = Connect();
    SendRaw(socket, "{\"op\":\"sync\"}\n");
    begun.get_future().wait();
    const auto releaser = std::async(std::launch::async, [&] {
        std::string line;
        EXPECT_FALSE(socket.Receive(line)) << "the connection is ended before it is waited for";
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ended.set_value();
    });
    TheMiddleware().PowerOff();
    EXPECT_EQ(Trace("sync").size(), 1U);
}

TEST_F(SocketOfSet, AnswersCommandsAndMountsAsWasAskedFor) {
    Ctl({"shell", "fail", "mv *", "3", "--times", "1"});
    Ctl({"mount", "fail", "/zodata/*", "30"});
    const auto command = [](const char* text) {
        return AskStatus({{"op", "trace"}, {"row", {{"who", "shell"}, {"command", text}}}});
    };
    const auto mount = [](const char* target) { return AskStatus({{"op", "mounting"}, {"target", target}}); };
    EXPECT_EQ(command("rm x"), kOk);
    EXPECT_EQ(command("mv x y"), 3);
    EXPECT_EQ(command("mv x y"), kOk);
    EXPECT_EQ(mount("/config"), kOk);
    EXPECT_EQ(mount("/zodata/model"), 30);
    const auto rows = Trace("shell");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_FALSE(rows[0].contains("fault"));
    EXPECT_EQ(rows[1]["fault"], 3);
    EXPECT_TRUE(Trace("mount").empty()) << "who mounts tells it when it is done";
    Ctl({"mount", "fail", "/zodata/*", "0"});
    EXPECT_EQ(mount("/zodata/model"), kOk);
}

TEST_F(SocketOfSet, ASyncThatFailsSavesNothing) {
    int syncs = 0;
    m_hooks.onSync = [&] { return ++syncs > 0; };
    Ctl({"sync", "fail", "5", "--times", "1"});
    EXPECT_EQ(AskStatus({{"op", "sync"}}), 5);
    EXPECT_EQ(syncs, 0);
    EXPECT_EQ(AskStatus({{"op", "sync"}}), kOk);
    EXPECT_EQ(syncs, 1);
    const auto rows = Trace("sync");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0]["fault"], 5);
    EXPECT_EQ(rows[0]["status"], 5);
    EXPECT_FALSE(rows[1].contains("fault"));
}

TEST_F(SocketOfSet, ForgetsAProcessThatIsGone) {
    auto requests = Connect();
    {
        auto events = Connect();
        SendRaw(events, "{\"op\":\"hello\",\"client\":\"p\"}\n");
        EXPECT_EQ(Receive(events)["status"], kOk);
        SendRaw(requests, "{\"op\":\"apm-register\",\"client\":\"p\",\"appId\":\"a\"}\n");
        EXPECT_EQ(Receive(requests)["status"], kOk);
    }
    // The middleware learns it from the closed connection, in its own time.
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (CtlError({"press", "1"}).find("no application") == std::string::npos) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
    SendRaw(requests, "{\"op\":\"apm-register\",\"client\":\"p\",\"appId\":\"a\"}\n");
    EXPECT_EQ(Receive(requests)["status"], kUnreachable);
}

TEST_F(SocketOfSet, RefusesAPathThatIsTooLong) {
    const tests::TempFolder dir;
    Middleware other(dir.Path());
    EXPECT_THROW(other.Listen("/" + std::string(200, 'x')), std::system_error);
    EXPECT_THROW(other.Listen(""), std::system_error);
    EXPECT_THROW(other.Listen((dir.Path() / "no" / "socket").string()), std::system_error);
}

TEST_F(SocketOfSet, TakesAnAbstractName) {
    const tests::TempFolder dir;
    Middleware other(dir.Path());
    const std::string name = "@" + dir.Path().string();
    other.Listen(name);
    ::setenv("SIMSET_SOCKET", name.c_str(), 1);
    EXPECT_EQ(AskStatus({{"op", "trace"}, {"row", {{"who", "shell"}, {"command", "abstract"}}}}), kOk);
}

}  // namespace
}  // namespace simset::test
