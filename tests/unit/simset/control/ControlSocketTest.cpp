#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <memory>

#include "base/TempFolder.h"
#include "simset/control/ControlSocket.h"
#include "simset/wire/Message.h"

namespace simset {
namespace {

class ControlSocketTest : public ::testing::Test {
  protected:
    std::string Path() const { return (m_dir.Path() / "control").string(); }

    // What a verb prints, piece by piece.
    std::vector<std::string> Call(const Words& verb) const {
        std::vector<std::string> pieces;
        CallControl(Path(), "/folder", verb, [&pieces](const std::string& out) { pieces.push_back(out); });
        return pieces;
    }

    tests::TempFolder m_dir;
};

TEST_F(ControlSocketTest, CarriesAVerbAndItsAnswer) {
    const ControlServer server(Path(), [](const Caller& caller, const Words& verb) {
        return caller.folder + " " + verb.at(0) + " " + verb.at(1);
    });
    EXPECT_EQ(Call({"verb", "word"}), std::vector<std::string>{"/folder verb word"});
}

TEST_F(ControlSocketTest, WhatIsPrintedComesBeforeTheVerbEnds) {
    std::promise<void> seen;
    const ControlServer server(Path(), [&seen](const Caller& caller, const Words&) {
        EXPECT_TRUE(caller.print("one"));
        seen.get_future().wait();
        EXPECT_TRUE(caller.print(""));
        EXPECT_TRUE(caller.print("two"));
        return std::string("three");
    });
    std::vector<std::string> pieces;
    CallControl(Path(), "/", {"verb"}, [&](const std::string& out) {
        pieces.push_back(out);
        if (pieces.size() == 1) {
            seen.set_value();
        }
    });
    EXPECT_EQ(pieces, (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(ControlSocketTest, ARefusalComesAfterWhatWasPrinted) {
    const ControlServer server(Path(), [](const Caller& caller, const Words&) -> std::string {
        caller.print("one");
        throw ControlError("refused");
    });
    std::vector<std::string> pieces;
    try {
        CallControl(Path(), "/", {"verb"}, [&](const std::string& out) { pieces.push_back(out); });
        ADD_FAILURE() << "taken";
    } catch (const ControlError& error) {
        EXPECT_STREQ(error.what(), "refused");
    }
    EXPECT_EQ(pieces, std::vector<std::string>{"one"});
}

TEST_F(ControlSocketTest, TheVerbLearnsThatItsCallerHasGone) {
    std::promise<void> went;
    std::promise<bool> printed;
    const ControlServer server(Path(), [&](const Caller& caller, const Words&) {
        went.get_future().wait();
        printed.set_value(caller.print(""));
        return std::string();
    });
    {
        const Descriptor socket = ConnectTo(Path());
        ASSERT_TRUE(SendMessage(socket.Get(), {"/", "verb"}));
    }
    went.set_value();
    EXPECT_FALSE(printed.get_future().get());
}

TEST_F(ControlSocketTest, WhatIsPrintedWhileTheServerEndsArrives) {
    std::promise<void> begun;
    std::promise<void> ending;
    auto server = std::make_unique<ControlServer>(Path(), [&](const Caller& caller, const Words&) {
        begun.set_value();
        ending.get_future().wait();
        EXPECT_TRUE(caller.print("last"));
        return std::string("words");
    });
    auto pieces = std::async(std::launch::async, [this] { return Call({"verb"}); });
    begun.get_future().wait();
    auto ended = std::async(std::launch::async, [&server] { server.reset(); });
    while (std::filesystem::exists(Path())) {  // the first that it takes away
    }
    ending.set_value();
    ended.wait();
    EXPECT_EQ(pieces.get(), (std::vector<std::string>{"last", "words"}));
}

TEST_F(ControlSocketTest, SaysThatNobodyListens) {
    EXPECT_THROW(Call({"verb"}), NoSetError);
}

}  // namespace
}  // namespace simset
