#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include "os/File.h"
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

std::set<int> Descriptors() {
    std::set<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename()));
    }
    for (auto descriptor = descriptors.begin(); descriptor != descriptors.end();) {
        // The one by which the list was read is closed by now.
        descriptor = fcntl(*descriptor, F_GETFD) == -1 ? descriptors.erase(descriptor) : std::next(descriptor);
    }
    return descriptors;
}

bool IsInherited(int descriptor) {
    return (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
}

// A command that runs on in the background would otherwise hold the pipe that another thread reads to its end.
TEST(Shell, OtherShellsDoNotInheritThePipe) {
    const std::string folder = ::testing::TempDir() + "zelfac-shell." + std::to_string(getpid());
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    const std::set<int> before = Descriptors();
    std::thread other([&folder] {
        zel::ReadOutput("cd " + folder + " && touch started && until [ -e ended ]; do sleep 0.01; done");
    });
    while (!std::filesystem::exists(folder + "/started")) {
        std::this_thread::yield();
    }
    int pipes = 0;
    for (const int descriptor : Descriptors()) {
        if (before.count(descriptor) == 0) {
            EXPECT_FALSE(IsInherited(descriptor)) << descriptor;
            ++pipes;
        }
    }
    // The library closes the command's end on this side only after the command has started.
    EXPECT_GE(pipes, 1);
    zel::OpenFile(folder + "/ended", "w");
    other.join();
    std::filesystem::remove_all(folder);
}

TEST(Shell, ShellsInheritNoFile) {
    const std::string path = ::testing::TempDir() + "zelfac-file." + std::to_string(getpid());
    for (const char* const mode : {"wb+", "r"}) {
        const zel::File file = zel::OpenFile(path, mode);
        ASSERT_NE(file, nullptr);
        EXPECT_FALSE(IsInherited(fileno(file.get()))) << mode;
    }
    const zel::Folder folder = zel::OpenFolder(::testing::TempDir());
    ASSERT_NE(folder, nullptr);
    EXPECT_FALSE(IsInherited(dirfd(folder.get())));
    zel::RemoveFile(path);
}

TEST(Shell, TheStatusOfACommandIsGiven) {
    EXPECT_EQ(zel::RunSystem("exit 0"), 0);
    EXPECT_EQ(WEXITSTATUS(zel::RunSystem("exit 3")), 3);
}

}  // namespace
