#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "base/TempFolder.h"
#include "simset/base/Files.h"
#include "simset/board/folder/Sticks.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

class SticksTest : public testing::Test {
  protected:
    SticksTest() {
        fs::create_directory(state.At("usb"));
        source.Write("USB.ZEL", "marker");
    }
    tests::TempFolder state;
    tests::TempFolder source;
};

TEST_F(SticksTest, NamesCountUpAndAreReused) {
    Sticks sticks(state.Get());
    EXPECT_EQ(sticks.Add(source.At(""), "", false).name, "vu_sda1");
    EXPECT_EQ(sticks.Add(source.At(""), "", false).name, "vu_sdb1");
    sticks.Remove("vu_sda1");
    EXPECT_EQ(sticks.Add(source.At(""), "", false).name, "vu_sda1");
    EXPECT_EQ(sticks.Plugged().front().name, "vu_sdb1");
}

TEST_F(SticksTest, OrderAndContentOutliveTheProcess) {
    {
        Sticks sticks(state.Get());
        sticks.Add(source.At(""), "sdc1", true);
        sticks.Add(source.At(""), "vu_sda1", false);
    }
    const Sticks again(state.Get());
    ASSERT_EQ(again.Plugged().size(), 2U);
    EXPECT_EQ(again.Plugged()[0].name, "vu_sdc1");
    EXPECT_TRUE(again.Plugged()[0].readOnly);
    EXPECT_FALSE(again.Plugged()[1].readOnly);
    EXPECT_EQ(state.Read("usb/vu_sdc1/USB.ZEL"), "marker");
}

TEST_F(SticksTest, PluggingAgainTakesTheFoldersContentOfThatMoment) {
    Sticks sticks(state.Get());
    sticks.Add(source.At(""), "sda1", false);
    EXPECT_THROW(sticks.Add(source.At(""), "sda1", false), std::runtime_error);
    sticks.Remove("vu_sda1");
    fs::remove(source.At("USB.ZEL"));
    source.Write("other", "");
    sticks.Add(source.At(""), "sda1", false);
    EXPECT_FALSE(fs::exists(state.At("usb/vu_sda1/USB.ZEL")));
    EXPECT_TRUE(fs::exists(state.At("usb/vu_sda1/other")));
}

TEST_F(SticksTest, TheFolderOfTheStateIsNone) {
    fs::create_directory(source.At("state"));
    fs::create_directory(source.At("state/usb"));
    const Descriptor inner = OpenFolder(source.Get(), "state");
    Sticks inside(inner.Get());
    EXPECT_THROW(inside.Add(source.At(""), "", false), std::runtime_error);
    EXPECT_THROW(inside.Add(source.At("state"), "", false), std::runtime_error);
    EXPECT_TRUE(inside.Plugged().empty());
    EXPECT_TRUE(fs::is_empty(source.At("state/usb")));
}

TEST_F(SticksTest, FolderWithoutWritePermissionIsAProtectedStick) {
    Sticks sticks(state.Get());
    fs::permissions(source.At(""), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_TRUE(sticks.Add(source.At(""), "", false).readOnly);
    fs::permissions(source.At(""), fs::perms::owner_all);
}

TEST_F(SticksTest, NamesThatNoDeviceHasAreRefused) {
    for (const char* name : {"", "vu_", "a/b", "..", "a b", "a\nb", "$x"}) {
        EXPECT_THROW(Sticks::FullName(name), std::runtime_error) << name;
    }
    EXPECT_THROW(Sticks(state.Get()).Remove("vu_sda1"), std::runtime_error);
}

TEST_F(SticksTest, MissingFolderPlugsNothing) {
    Sticks sticks(state.Get());
    EXPECT_THROW(sticks.Add(source.At("missing"), "", false), std::runtime_error);
    EXPECT_TRUE(sticks.Plugged().empty());
}

TEST_F(SticksTest, DamagedListIsNamed) {
    state.Write("usb.json", "[{");
    EXPECT_THROW(Sticks sticks(state.Get()), std::runtime_error);
}

}  // namespace
}  // namespace simset
