#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "base/TempFolder.h"
#include "simset/base/Files.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

TEST(Tree, CopyKeepsNamesContentPermissionsAndTimes) {
    const tests::TempFolder from;
    const tests::TempFolder to;
    const std::string odd = "a b'\"$;\n\xFF.bin";
    from.Write("folder/below/" + odd, std::string("\0\x01\xFF", 3));
    from.Write("empty", "");
    fs::create_symlink("empty", from.At("link"));
    fs::permissions(from.At("empty"), fs::perms::owner_read);
    CopyTree(from.Get(), to.Get());

    EXPECT_EQ(to.Read("folder/below/" + odd), std::string("\0\x01\xFF", 3));
    EXPECT_EQ(fs::read_symlink(to.At("link")), "empty");
    EXPECT_EQ(fs::status(to.At("empty")).permissions(), fs::perms::owner_read);
    EXPECT_EQ(fs::last_write_time(to.At("folder/below/" + odd)),
              fs::last_write_time(from.At("folder/below/" + odd)));
    EXPECT_EQ(ListFolder(to.Get()), (std::vector<std::string>{"empty", "folder", "link"}));
}

TEST(Tree, FingerprintSeesEveryKindOfChange) {
    const tests::TempFolder folder;
    folder.Write("sub/file", "one");
    std::uint64_t before = TreeFingerprint(folder.Get());
    EXPECT_EQ(TreeFingerprint(folder.Get()), before);
    const auto changed = [&] {
        const std::uint64_t now = TreeFingerprint(folder.Get());
        return now != std::exchange(before, now);
    };
    folder.Write("sub/file", "more");
    EXPECT_TRUE(changed());
    fs::permissions(folder.At("sub/file"), fs::perms::owner_all);
    EXPECT_TRUE(changed());
    fs::rename(folder.At("sub/file"), folder.At("sub/elif"));
    EXPECT_TRUE(changed());
    fs::create_directory(folder.At("sub/new"));
    EXPECT_TRUE(changed());
    fs::remove_all(folder.At("sub"));
    EXPECT_TRUE(changed());
    EXPECT_FALSE(changed());
}

TEST(Tree, ReplaceFolderPutsTheNewOneInPlace) {
    const tests::TempFolder folder;
    const auto put = [&folder](const std::string& name) {
        ReplaceFolder(folder.Get(), "current", [&name](int fresh) { WriteFile(fresh, name, name + "!"); });
    };
    put("new");
    EXPECT_EQ(folder.Read("current/new"), "new!");
    put("newer");
    EXPECT_EQ(folder.Read("current/newer"), "newer!");
    const auto onlyNewer = [&folder] {
        EXPECT_EQ(ListFolder(folder.Get()), std::vector<std::string>{"current"});
        EXPECT_EQ(ListFolder(OpenFolder(folder.Get(), "current").Get()), std::vector<std::string>{"newer"});
    };
    onlyNewer();
    EXPECT_THROW(ReplaceFolder(folder.Get(), "current", [](int) { throw std::runtime_error("disk full"); }),
                 std::runtime_error);
    onlyNewer();
}

TEST(Tree, RemoveTakesFoldersLinksAndNothingElse) {
    const tests::TempFolder folder;
    const tests::TempFolder other;
    other.Write("kept", "x");
    folder.Write("a/b/c", "x");
    fs::create_directory_symlink(other.At("."), folder.At("a/link"));
    RemoveTree(folder.Get(), "a");
    RemoveTree(folder.Get(), "never-there");
    EXPECT_TRUE(ListFolder(folder.Get()).empty());
    EXPECT_EQ(other.Read("kept"), "x");
}

TEST(Tree, MakeFoldersMakesTheWholePathAndAgain) {
    const tests::TempFolder folder;
    MakeFolders(folder.Get(), "a/b/c");
    MakeFolders(folder.Get(), "a/b/c");
    EXPECT_TRUE(fs::is_directory(folder.At("a/b/c")));
    folder.Write("file", "");
    EXPECT_THROW(MakeFolders(folder.Get(), "file/below"), std::system_error);
}

}  // namespace
}  // namespace simset
