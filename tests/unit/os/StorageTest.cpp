#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/TempFolder.h"
#include "os/File.h"
#include "os/Storage.h"

namespace {

class Storage : public ::testing::Test {
  protected:
    unsigned Mode() const {
        struct stat status {};
        return stat(m_private.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    tests::TempFolder m_folder;
    std::string m_private = m_folder.At("private").string();
};

TEST_F(Storage, APrivateFolderIsTheOwnersFromTheFirstMoment) {
    zel::MakePrivateFolder(m_private.c_str());
    EXPECT_EQ(Mode(), 0700U);
}

TEST_F(Storage, AFolderThatWasOpenToOthersIsClosed) {
    ASSERT_EQ(mkdir(m_private.c_str(), 0700), 0);
    ASSERT_EQ(chmod(m_private.c_str(), 0755), 0);
    zel::MakePrivateFolder(m_private.c_str());
    EXPECT_EQ(Mode(), 0700U);
}

TEST_F(Storage, OnlyAnEmptyFolderIsRemoved) {
    zel::MakePrivateFolder(m_private.c_str());
    ASSERT_NE(zel::OpenFile(m_private + "/file", "w"), nullptr);
    zel::RemoveEmptyFolder(m_private.c_str());
    EXPECT_EQ(Mode(), 0700U);
    unlink((m_private + "/file").c_str());
    zel::RemoveEmptyFolder(m_private.c_str());
    EXPECT_EQ(Mode(), 0U);
}

TEST_F(Storage, ALinkInTheFoldersPlaceIsRemovedAndWhatItLeadsToLeftAlone) {
    const std::string other = m_folder.At("other").string();
    ASSERT_EQ(mkdir(other.c_str(), 0700), 0);
    ASSERT_EQ(chmod(other.c_str(), 0755), 0);
    ASSERT_EQ(symlink(other.c_str(), m_private.c_str()), 0);
    zel::MakePrivateFolder(m_private.c_str());
    struct stat status {};
    ASSERT_EQ(lstat(m_private.c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    ASSERT_EQ(stat(other.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0755U);
    rmdir(other.c_str());
}

TEST_F(Storage, AFileIsReplacedInOneStep) {
    const std::string beside = m_folder.At("new").string();
    const std::string path = m_folder.At("record").string();
    ASSERT_TRUE(zel::WriteAll(zel::OpenFile(path, "w").get(), "former"));
    ASSERT_TRUE(zel::WriteAll(zel::OpenFile(beside, "w").get(), "new"));
    const zel::File open = zel::OpenFile(path, "r");
    ASSERT_TRUE(zel::RenameFile(beside, path));
    EXPECT_EQ(zel::ReadUpTo(zel::OpenFile(path, "r").get(), 10), "new");
    EXPECT_EQ(zel::ReadUpTo(open.get(), 10), "former");
    EXPECT_EQ(zel::OpenFile(beside, "r"), nullptr);
    EXPECT_FALSE(zel::RenameFile(beside, path));
    zel::RemoveFile(path);
    EXPECT_EQ(zel::OpenFile(path, "r"), nullptr);
}

TEST_F(Storage, WhatIsNotThereIsNull) {
    EXPECT_EQ(zel::OpenFile(m_folder.At("none").string(), "r"), nullptr);
    EXPECT_EQ(zel::OpenFolder(m_folder.At("none").string()), nullptr);
    EXPECT_NE(zel::OpenFolder(m_folder.Path().string()), nullptr);
}

TEST_F(Storage, RemountingWhatIsNoMountPointFails) {
    EXPECT_EQ(zel::RemountReadWrite(m_folder.At("none").c_str()), -1);
}

}  // namespace
