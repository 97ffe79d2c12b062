#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <thread>

#include "base/TempFolder.h"
#include "simset/board/folder/StateFolder.h"

namespace simset {
namespace {

using tests::TempFolder;

std::string Refused(const std::string& path, StateFolder::For purpose) {
    try {
        const StateFolder folder(path, purpose);
        return "";
    } catch (const FolderInUse& inUse) {
        EXPECT_EQ(inUse.Status(), kExitUsage);
        return inUse.what();
    }
}

TEST(StateFolderTest, ASetThatRunsIsNamedToWhoComesBesideIt) {
    const TempFolder dir;
    const StateFolder held(dir.At("set"));
    for (const auto purpose : {StateFolder::For::Run, StateFolder::For::Control}) {
        const std::string said = Refused(dir.At("set"), purpose);
        EXPECT_NE(said.find("(process " + std::to_string(::getpid()) + ")"), std::string::npos) << said;
    }
}

TEST(StateFolderTest, AChangeFromOutsideIsWaitedForByARun) {
    const TempFolder dir;
    dir.Write("set/lock", std::to_string(::getpid()));  // of a set that was killed
    std::optional<StateFolder> change(std::in_place, dir.At("set"), StateFolder::For::Control);
    EXPECT_NE(Refused(dir.At("set"), StateFolder::For::Control), "");
    std::atomic<bool> waits = false;
    std::atomic<bool> had = false;
    std::thread run([&] {
        waits = true;
        had = Refused(dir.At("set"), StateFolder::For::Run).empty();
    });
    while (!waits) {
        std::this_thread::yield();
    }
    change.reset();
    run.join();
    EXPECT_TRUE(had);
    EXPECT_EQ(Refused(dir.At("set"), StateFolder::For::Control), "");
}

}  // namespace
}  // namespace simset
