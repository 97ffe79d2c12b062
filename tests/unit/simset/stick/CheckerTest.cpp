#include <gmock/gmock.h>

#include <stdexcept>

#include "base/TempFolder.h"
#include "simset/stick/Checker.h"
#include "simset/stick/Maker.h"

namespace simset::stick {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Matcher;
using ::testing::Not;

Matcher<const Finding&> Says(Finding::Level level, const std::string& path, const std::string& text) {
    return AllOf(Field(&Finding::level, level), Field(&Finding::path, path),
                 Field(&Finding::text, HasSubstr(text)));
}

Matcher<const Finding&> Problem(const std::string& path, const std::string& text) {
    return Says(Finding::Level::Problem, path, text);
}

Matcher<const Finding&> Note(const std::string& path, const std::string& text) {
    return Says(Finding::Level::Note, path, text);
}

class CheckedStick : public ::testing::Test {
  protected:
    CheckedStick() { MakeStick(m_stick.Path().string(), {}); }

    void Remove(const std::string& path) const { std::filesystem::remove_all(m_stick.At(path)); }
    void Rename(const std::string& from, const std::string& to) const {
        std::filesystem::rename(m_stick.At(from), m_stick.At(to));
    }
    Report Check() const { return CheckStick(m_stick.Path().string()); }
    std::vector<Finding> Findings() const { return Check().findings; }

    const std::string kCustomer = "RW9602CustomerFile";
    tests::TempFolder m_stick;
};

TEST_F(CheckedStick, AKeyThatIsTooLongForTheStoreIsAProblem) {
    const std::string path = kCustomer + "/HDCP14KEY/HDCP14MTK9602_0001.bin";
    std::filesystem::resize_file(m_stick.At(path), 16U << 20U);
    EXPECT_TRUE(Check().Usable());
    std::filesystem::resize_file(m_stick.At(path), (16U << 20U) + 1);
    const Report report = Check();
    EXPECT_THAT(report.findings, Contains(Problem(path, "more than 16 MiB")));
    EXPECT_EQ(report.expected.status, 2);
    EXPECT_EQ(report.expected.message, "hdcp14 Err;");
}

TEST_F(CheckedStick, ASampleIsUsable) {
    const Report report = Check();
    EXPECT_TRUE(report.Usable());
    EXPECT_THAT(report.findings, ElementsAre(Note(kCustomer + "/MAC/mac.txt", "addresses left: 100")));
    EXPECT_TRUE(report.expected.imports);
    EXPECT_TRUE(report.expected.endsAging);
    EXPECT_EQ(report.expected.steps.size(), 8U);
    EXPECT_EQ(report.expected.status, 1);
    EXPECT_EQ(report.expected.screen, "Update Config OK");
    EXPECT_EQ(report.expected.sets, 1U);
}

TEST_F(CheckedStick, MarkersAreLookedFor) {
    Rename("USB.ZEL", "usb.zel");
    Rename(kCustomer + "/ZelFacTest_Eu4K", kCustomer + "/ZelFacTest_EU4K");
    EXPECT_THAT(Findings(), Contains(Problem("usb.zel", "USB.ZEL")));
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/ZelFacTest_EU4K", "ZelFacTest_Eu4K")));
    Remove("usb.zel");
    Remove(kCustomer + "/ZelFacTest_EU4K");
    EXPECT_TRUE(Check().Usable());
    EXPECT_THAT(Findings(), Contains(Note("", "the USB port check does not count")));
    EXPECT_THAT(Findings(), Contains(Note(kCustomer, "ZelFacTest_Eu4K")));
}

TEST_F(CheckedStick, AMisnamedCustomerFolderWouldMakeItAnExport) {
    Rename(kCustomer, "RW9602customerfile");
    const Report report = Check();
    EXPECT_FALSE(report.Usable());
    EXPECT_FALSE(report.expected.imports);
    EXPECT_EQ(report.expected.status, 3);
    EXPECT_THAT(report.findings, Contains(Problem("RW9602customerfile", kCustomer)));
}

TEST_F(CheckedStick, FoldersThatAreMissingOrMisnamed) {
    Remove(kCustomer + "/CONFIG");
    EXPECT_TRUE(Check().Usable());
    EXPECT_THAT(Findings(), Contains(Note("", "no configuration is taken")));
    Rename(kCustomer + "/HDCP14KEY", kCustomer + "/HDCP14");
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/HDCP14", "HDCP14KEY")));
    m_stick.Write(kCustomer + "/notes", "x");
    EXPECT_THAT(Findings(), Contains(Note(kCustomer + "/notes", "not used")));
}

TEST_F(CheckedStick, AFolderWithoutItsFileFailsTheImport) {
    Rename(kCustomer + "/HDCP14KEY/HDCP14MTK9602_0001.bin", kCustomer + "/HDCP14KEY/hdcp14mtk9602.bin");
    const Report report = Check();
    EXPECT_THAT(report.findings, Contains(Problem(kCustomer + "/HDCP14KEY", "ends with an error")));
    EXPECT_THAT(report.findings, Contains(Problem(kCustomer + "/HDCP14KEY/hdcp14mtk9602.bin", "HDCP14MTK9602")));
    EXPECT_EQ(report.expected.status, 0);
    EXPECT_EQ(report.expected.screen, "Update NG,");
}

TEST_F(CheckedStick, FilesInTheWrongFolder) {
    Rename(kCustomer + "/MAC/mac.txt", kCustomer + "/mac.txt");
    m_stick.Write("CONFIG.bin", "1");
    // A set takes it for the other sort of credential.
    m_stick.Write(kCustomer + "/CI+/ECPCIPLUSMTK9602_0001.bin", "x");
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/mac.txt", "wrong folder")));
    EXPECT_THAT(Findings(), Contains(Problem("CONFIG.bin", "wrong folder")));
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/CI+/ECPCIPLUSMTK9602_0001.bin", "CI+ ECP key")));
}

TEST_F(CheckedStick, FilesThatCannotBeUsed) {
    m_stick.Write(kCustomer + "/HDCP22KEY/HDCP22MTK9602_0001.bin", "");
    m_stick.Write(kCustomer + "/MAC/mac.txt", "no range");
    m_stick.Write(kCustomer + "/CONFIG/CONFIG.bin", "GB\n\n");
    const Report report = Check();
    EXPECT_THAT(report.findings, Contains(Problem(kCustomer + "/HDCP22KEY/HDCP22MTK9602_0001.bin", "is empty")));
    EXPECT_THAT(report.findings, Contains(Problem(kCustomer + "/MAC/mac.txt", "8 characters")));
    EXPECT_THAT(report.findings, Contains(Problem(kCustomer + "/CONFIG/CONFIG.bin", "country")));
    EXPECT_EQ(report.expected.status, 2);
    EXPECT_EQ(report.expected.message, "config Err;hdcp22 Err;mac Err;");
    Remove(kCustomer + "/HDCP22KEY/HDCP22MTK9602_0001.bin");
    m_stick.Write(kCustomer + "/HDCP22KEY/HDCP22MTK9602_1/key.bin", "x");
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/HDCP22KEY/HDCP22MTK9602_1", "a file")));
}

TEST_F(CheckedStick, SeveralEntriesForOneItem) {
    m_stick.Write(kCustomer + "/MAC/old mac.txt", "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n");
    m_stick.Write(kCustomer + "/HDCP14KEY/HDCP14MTK9602_2.bin", "x");
    m_stick.Write(kCustomer + "/HDCP14KEY/._HDCP14MTK9602_2.bin", "x");
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/MAC", "chance")));
    EXPECT_THAT(Findings(), Contains(Note(kCustomer + "/MAC/old mac.txt", "quotes")));
    EXPECT_THAT(Findings(), Contains(Note(kCustomer + "/HDCP14KEY", "3 files")));
    EXPECT_THAT(Findings(), Contains(Problem(kCustomer + "/HDCP14KEY/._HDCP14MTK9602_2.bin", "own note")));
    m_stick.Write(kCustomer + "/HDCP14KEY/HDCP14MTK9602" + std::string(80, 'x'), "x");
    EXPECT_THAT(Findings(), Contains(Field(&Finding::text, HasSubstr("may cut"))));
}

TEST_F(CheckedStick, AWriteProtectedOneIsNoUse) {
    std::filesystem::permissions(m_stick.Path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    const Report report = Check();
    EXPECT_THAT(report.findings, Contains(Problem("", "write-protected")));
    EXPECT_EQ(report.expected.status, 2);
    EXPECT_EQ(report.expected.message, "mac Err;");
}

TEST(OtherSticks, ExportAndOemData) {
    const tests::TempFolder stick;
    const std::string path = stick.Path().string();
    Report report = CheckStick(path);
    EXPECT_TRUE(report.Usable());
    EXPECT_FALSE(report.expected.imports);
    EXPECT_FALSE(report.expected.endsAging);
    EXPECT_EQ(report.expected.status, 3);

    stick.Write("CopyRW9602CustomerFile/CONFIG/CONFIG.bin", "1");
    EXPECT_TRUE(CheckStick(path).expected.endsAging);

    stick.Write("oem_data", "x");
    EXPECT_THAT(CheckStick(path).findings, Contains(Problem("oem_data", "OEM_data")));
    std::filesystem::rename(stick.At("oem_data"), stick.At("OEM_data.zip"));
    report = CheckStick(path);
    EXPECT_TRUE(report.Usable());
    EXPECT_TRUE(report.expected.imports);
    EXPECT_EQ(report.expected.status, 1);

    EXPECT_THROW(CheckStick(path + "/none"), std::invalid_argument);
}

TEST(OtherSticks, ACustomerFolderWithNothingInIt) {
    const tests::TempFolder stick;
    stick.Write("RW9602CustomerFile/ZelFacTest_Eu4K", "");
    const Report report = CheckStick(stick.Path().string());
    EXPECT_FALSE(report.Usable());
    EXPECT_EQ(report.expected.status, 0);
    EXPECT_THAT(report.expected.steps, IsEmpty());
    EXPECT_THAT(report.findings, Not(Contains(Field(&Finding::text, HasSubstr("write-protected")))));
}

}  // namespace
}  // namespace simset::stick
