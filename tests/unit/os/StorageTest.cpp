#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "os/File.h"
#include "os/Storage.h"

namespace {

class Storage : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = ::testing::TempDir() + "zelfac-storage.XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_folder = pattern;
        m_private = m_folder + "/private";
    }
    void TearDown() override {
        unlink((m_private + "/file").c_str());
        rmdir(m_private.c_str());
        rmdir(m_folder.c_str());
    }
    unsigned Mode() const {
        struct stat status {};
        return stat(m_private.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    std::string m_folder;
    std::string m_private;
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

TEST_F(Storage, WhatIsNotThereIsNull) {
    EXPECT_EQ(zel::OpenFile(m_folder + "/none", "r"), nullptr);
    EXPECT_EQ(zel::OpenFolder(m_folder + "/none"), nullptr);
    EXPECT_NE(zel::OpenFolder(m_folder), nullptr);
}

TEST_F(Storage, RemountingWhatIsNoMountPointFails) {
    EXPECT_EQ(zel::RemountReadWrite((m_folder + "/none").c_str()), -1);
}

}  // namespace
