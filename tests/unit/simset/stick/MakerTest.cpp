#include <gtest/gtest.h>

#include <stdexcept>

#include "base/TempFolder.h"
#include "simset/stick/Checker.h"
#include "simset/stick/Maker.h"

namespace simset::stick {
namespace {

namespace fs = std::filesystem;
using tests::TempFolder;

std::size_t Files(const fs::path& folder) {
    std::size_t count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        count += entry.is_regular_file() ? 1U : 0U;
    }
    return count;
}

TEST(SampleStick, IsWhatASetTakes) {
    const TempFolder stick;
    Sample sample;
    sample.keys = 3;
    sample.oem = true;
    MakeStick(stick.Path().string(), sample);
    EXPECT_TRUE(fs::exists(stick.Path() / "USB.ZEL"));
    EXPECT_TRUE(fs::exists(stick.Path() / "RW9602CustomerFile/ZelFacTest_Eu4K"));
    EXPECT_TRUE(fs::exists(stick.Path() / "RW9602CustomerFile/CONFIG/CONFIG.bin"));
    EXPECT_TRUE(fs::exists(stick.Path() / "RW9602CustomerFile/ECP_CI+/ECPCIPLUSMTK9602_0003.bin"));
    EXPECT_TRUE(fs::exists(stick.Path() / "OEM_data"));
    EXPECT_FALSE(fs::exists(stick.Path() / "CopyRW9602CustomerFile"));
    EXPECT_EQ(Files(stick.Path()), 2U + 1U + 6U * 3U + 1U + 1U);

    const Report report = CheckStick(stick.Path().string());
    EXPECT_TRUE(report.Usable()) << report.findings.front().text;
    EXPECT_EQ(report.expected.status, 1);
    EXPECT_EQ(report.expected.sets, 3U);
}

TEST(SampleStick, ServesAsManySetsAsAddressesAllow) {
    const TempFolder stick;
    Sample sample;
    sample.keys = 9;
    sample.copy = true;
    sample.range = "02-00-00-00-00-01--02-00-00-00-00-02";
    MakeStick((stick.Path() / "new").string(), sample);
    const Report report = CheckStick((stick.Path() / "new").string());
    EXPECT_TRUE(report.Usable());
    EXPECT_EQ(report.expected.sets, 2U);
    EXPECT_TRUE(fs::exists(stick.Path() / "new/CopyRW9602CustomerFile/CONFIG/CONFIG.bin"));
}

TEST(SampleStick, GoesIntoAnEmptyFolderOnly) {
    const TempFolder stick;
    stick.Write("photo.jpg", "mine");
    EXPECT_THROW(MakeStick(stick.Path().string(), {}), std::invalid_argument);
    EXPECT_THROW(MakeStick((stick.Path() / "photo.jpg").string(), {}), std::invalid_argument);
    Sample sample;
    sample.range = "none";
    EXPECT_THROW(MakeStick((stick.Path() / "new").string(), sample), std::invalid_argument);
    EXPECT_EQ(Files(stick.Path()), 1U);
}

}  // namespace
}  // namespace simset::stick
