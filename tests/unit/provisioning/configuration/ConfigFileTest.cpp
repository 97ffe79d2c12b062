
#include "provisioning/ProvisioningFixture.h"
#include "provisioning/configuration/ConfigLines.h"

namespace {

constexpr char kPath[] = "/tmp/config.ini";
constexpr char kCountryKey[] = "tovix.sl2.i32.qorfactory.country";
constexpr char kModelKey[] = "tovix.sl2.i32.qorfactory.serialsdata.model.index";
constexpr char kVersionKey[] = "tovix.sl2.str.qorfactory.software.version";

TEST(ConfigLines, EmptyByTheFirstCharacter) {
    for (const char* const line : {"", "\r\n", "\n", "\t5", " 5", "\r5"}) {
        EXPECT_TRUE(zel::IsEmptyLine(line)) << line;
    }
    for (const char* const line : {"5", "-", "a b", "\v", "\f"}) {
        EXPECT_FALSE(zel::IsEmptyLine(line)) << line;
    }
}

TEST(ConfigLines, TextsEndAtTheFirstLineFeedThenAtTheFirstReturn) {
    const std::pair<const char*, const char*> cases[] = {{"ACME\r\n", "ACME"}, {"ACME\n", "ACME"},
                                                         {"ACME\r", "ACME"},   {"ACME", "ACME"},
                                                         {"A\rB\r\n", "A"},    {"", ""}};
    for (const auto& [line, text] : cases) {
        char buffer[16];
        std::snprintf(buffer, sizeof buffer, "%s", line);
        zel::CutLineEnd(buffer);
        EXPECT_STREQ(buffer, text);
    }
}

class ConfigFile : public scripted::ProvisioningTest {
  protected:
    std::int32_t Read(const std::string& content) {
        script.PutFile(kPath, content);
        std::int32_t result = 1;
        m_output = OutputOf([&] { result = m_manager->ZelReadSpeacialLine(kPath); });
        return result;
    }
    std::int32_t Write(const std::string& content) {
        script.PutFile(kPath, content);
        std::int32_t result = 1;
        m_output = OutputOf([&] { result = m_manager->ZelWriteConfigFile(kPath); });
        return result;
    }
    std::int32_t Check() {
        std::int32_t result = 1;
        m_output = OutputOf([&] { result = m_manager->ZelCheckConfig(); });
        return result;
    }

    void ExpectCountry(int country) {
        script.Expect("meta.write 1 " + std::to_string(country));
        script.ExpectSet(kCountryKey, country);
        script.Expect("flash.set db_table=0");
    }
    void ExpectLogo(int logo) {
        script.Expect("flash.set db_table=0");
        script.Expect("meta.write 4 " + std::to_string(logo));
    }
    void ExpectProject(int project) {
        script.ExpectSet(kModelKey, project);
        script.Expect("meta.write 0 " + std::to_string(project));
        script.Expect("accessroute");
        script.Expect("flash.set normal_start=0");
    }
    void ExpectAll() {
        ExpectCountry(3);
        script.Expect("meta.write 2 4");
        ExpectLogo(5);
        script.Expect("flash.set brand=ACME");
        script.Expect("meta.write 3 6");
        script.Expect("meta.writestr 6 Model X");
        ExpectProject(7);
        script.Expect("sync");
    }
    void ExpectReads(int country, int region, int logo, const std::string& brand, int language, int project) {
        script.Expect("meta.read 1").Values({country});
        script.Expect("meta.read 2").Values({region});
        script.Expect("meta.read 4").Values({logo});
        script.Expect("flash.get brand").Text(brand);
        script.Expect("meta.read 3").Values({language});
        script.Expect("meta.read 0").Values({project});
    }

    const std::string m_full = "3\r\n4\r\n5\r\nACME\r\n6\r\n7\r\nModel X\r\n";
    std::string m_output;
};

TEST_F(ConfigFile, ReaderKeepsSevenLinesWithTheirEnds) {
    EXPECT_EQ(Read("1\r\n2\n3\r\nbrand\r\n5\r\n6\r\nmodel\r\neighth\r\nninth\r\n"), 0);
    EXPECT_STREQ(m_strCountry, "1\r\n");
    EXPECT_STREQ(m_strRegion, "2\n");
    EXPECT_STREQ(m_strLogo, "3\r\n");
    EXPECT_STREQ(m_strBrand, "brand\r\n");
    EXPECT_STREQ(m_strLanguage, "5\r\n");
    EXPECT_STREQ(m_strProjectId, "6\r\n");
    EXPECT_STREQ(m_strCustomerModel, "model\r\n");
    EXPECT_EQ(m_output.find("read the config file curLine:1 strlen:3 data:1\r\n \n"
                            "read the config file curLine:2 strlen:2 data:2\n \n"),
              0U);
    EXPECT_NE(m_output.find("read the config file curLine:7 strlen:7 data:model\r\n \n"), std::string::npos);
    EXPECT_EQ(m_output.find("eighth"), std::string::npos);
}

TEST_F(ConfigFile, ReaderOfFewLinesLeavesTheOthers) {
    SetLine(m_strRegion, "old\r\n");
    EXPECT_EQ(Read("new"), 0);
    EXPECT_STREQ(m_strCountry, "new");
    EXPECT_STREQ(m_strRegion, "old\r\n");
    EXPECT_EQ(Read(""), 0);
    EXPECT_STREQ(m_strCountry, "new");
    EXPECT_EQ(m_output, "");
}

TEST_F(ConfigFile, ReaderTakes254CharactersAtATime) {
    const std::string line(255, 'x');
    EXPECT_EQ(Read(line + "\r\nnext\r\n"), 0);
    EXPECT_EQ(std::string(m_strCountry), line.substr(0, 254));
    EXPECT_STREQ(m_strRegion, "x\r\n");
    EXPECT_STREQ(m_strLogo, "next\r\n");
}

TEST_F(ConfigFile, ReaderOfABinaryFileEndsLinesAtTheFirstZero) {
    EXPECT_EQ(Read(std::string("a\0b\n\0\xFF\n", 7)), 0);
    EXPECT_STREQ(m_strCountry, "a");
    EXPECT_STREQ(m_strRegion, "");
}

TEST_F(ConfigFile, ReaderWithoutFileOrPath) {
    for (const char* const path : {static_cast<const char*>(nullptr), "/tmp/none"}) {
        const std::string output = OutputOf([&] { EXPECT_EQ(m_manager->ZelReadSpeacialLine(path), -1); });
        EXPECT_TRUE(HasFail(output, "ZelReadSpeacialLine")) << output;
    }
}

TEST_F(ConfigFile, WritesAllSevenInTheirOrder) {
    ExpectAll();
    EXPECT_EQ(Write(m_full), 0);
    const char* const lines[] = {
        "i32NewCountryIndex:3 m_strCountry:3\r\n \n", "i32NewRegionIndex:4 m_strRegion:4\r\n \n",
        "i32NewLogoIndex:5 m_strLogo:5\r\n \n",       "m_strBrand:ACME \n",
        "i32NewLanguageIndex:6 m_strRegion:6\r\n \n", "m_strCustomerModel:Model X \n",
        "i32ProjectId:7 m_strProjectId:7\r\n \n"};
    std::size_t at = 0;
    for (const char* const line : lines) {
        const std::size_t found = m_output.find(line, at);
        EXPECT_NE(found, std::string::npos) << line;
        at = found == std::string::npos ? at : found;
    }
    EXPECT_EQ(Count(m_output, "fail"), 0) << m_output;
}

TEST_F(ConfigFile, BareLineFeedsAndAMissingLastLineEndDoToo) {
    ExpectAll();
    EXPECT_EQ(Write("3\n4\n5\nACME\n6\n7\nModel X"), 0);
}

TEST_F(ConfigFile, ThreeLinesReportTheOthersAsEmptyWhateverWasThereBefore) {
    ExpectAll();
    EXPECT_EQ(Write(m_full), 0);
    ExpectCountry(1);
    script.Expect("meta.write 2 2");
    ExpectLogo(3);
    script.Expect("sync");
    EXPECT_EQ(Write("1\r\n2\r\n3\r\n"), 0);
    EXPECT_NE(m_output.find("BRAND The line data is empty !"
                            "META_LAGUAGE The line data is empty !"
                            "META_CUSTOMER_MODEL The line data is empty !"
                            "META_PROJECT_ID The line data is empty !"),
              std::string::npos)
        << m_output;
}

TEST_F(ConfigFile, EmptyLinesAreNoFailures) {
    const std::string all =
        "META_COUNTRY The line data is empty !"
        "META_REGION The line data is empty !"
        "META_LOGO The line data is empty !"
        "BRAND The line data is empty !"
        "META_LAGUAGE The line data is empty !"
        "META_CUSTOMER_MODEL The line data is empty !"
        "META_PROJECT_ID The line data is empty !";
    for (const char* const content :
         {"", " 1\r\n\t2\r\n\r\n\n \r\n\r\n \r\n", "\r\n\r\n\r\n\r\n\r\n\r\n\r\n8\r\n9\r\n"}) {
        script.Expect("sync");
        EXPECT_EQ(Write(content), 0);
        EXPECT_NE(m_output.find(all), std::string::npos) << m_output;
    }
}

TEST_F(ConfigFile, WriteWithoutPathOrFile) {
    EXPECT_TRUE(HasFail(OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteConfigFile(nullptr), -1); }),
                        "ZelWriteConfigFile"));
    SetLine(m_strCountry, "9\r\n");  // of an earlier file: must not be applied
    script.Expect("sync");
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteConfigFile("/tmp/none"), -1); });
    EXPECT_TRUE(HasFail(output, "ZelReadSpeacialLine"));
    EXPECT_TRUE(HasFail(output, "ZelWriteConfigFile"));
}

TEST_F(ConfigFile, EachFailureIsPrintedAndGoesIntoTheResult) {
    script.Expect("meta.write 1 3").Returns(1);
    script.ExpectModelFailure();
    script.Expect("flash.set db_table=0").Returns(2);
    script.Expect("meta.write 2 4").Returns(4);
    script.Expect("flash.set db_table=0").Returns(8);
    script.Expect("meta.write 4 5").Returns(16);
    script.Expect("flash.set brand=ACME").Returns(32);
    script.Expect("meta.write 3 6").Returns(64);
    script.Expect("meta.writestr 6 Model X").Returns(128);
    script.ExpectModelFailure();
    script.Expect("meta.write 0 7").Returns(256);
    script.Expect("accessroute").Returns(512);
    script.Expect("flash.set normal_start=0").Returns(1024);
    script.Expect("sync");
    EXPECT_EQ(Write(m_full), -1);
    EXPECT_EQ(Count(m_output, " ZelWriteConfigFile "), 13) << m_output;
}

TEST_F(ConfigFile, TheResultIsTheOrOfTheResults) {
    script.Expect("meta.write 1 3").Returns(1);
    script.ExpectSet(kCountryKey, 3);
    script.Expect("flash.set db_table=0").Returns(4);
    script.Expect("sync");
    EXPECT_EQ(Write("3"), 5);
    script.ExpectSet(kModelKey, 7);
    script.Expect("meta.write 0 7");
    script.Expect("accessroute").Returns(6);
    script.Expect("flash.set normal_start=0");
    script.Expect("sync");
    EXPECT_EQ(Write("\n\n\n\n\n7"), 6);
}

TEST_F(ConfigFile, CheckHoldsTheStoresAgainstTheLines) {
    Read(m_full);
    ExpectReads(3, 4, 5, "ACME", 6, 7);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(m_output,
              "META_COUNTRY is:3 atoi(m_strCountry):3\n"
              "META_REGION is:4 atoi(m_strRegion):4\n"
              "META_LOGO is:5 atoi(m_strLogo):5\n"
              "Brand is:ACME m_strBrand:ACME\r\n\n"
              "META_LAGUAGE is:6 atoi(m_strLanguage):6\n"
              "META_PROJECT_ID is:7 atoi(m_strProjectId):7\n");
}

TEST_F(ConfigFile, EachMismatchFailsTheCheck) {
    Read(m_full);
    for (int wrong = 0; wrong < 6; ++wrong) {
        ExpectReads(wrong == 0 ? 99 : 3, wrong == 1 ? 99 : 4, wrong == 2 ? 99 : 5, wrong == 3 ? "other" : "ACME",
                    wrong == 4 ? 99 : 6, wrong == 5 ? 99 : 7);
        EXPECT_EQ(Check(), -1) << wrong;
        EXPECT_EQ(Count(m_output, " ZelCheckConfig "), 1) << m_output;
        EXPECT_TRUE(HasFail(m_output, "ZelCheckConfig"));
    }
}

TEST_F(ConfigFile, TheBrandIsComparedOverTheStoredLength) {
    Read(m_full);
    ExpectReads(3, 4, 5, "AC", 6, 7);
    EXPECT_EQ(Check(), 0);
    ExpectReads(3, 4, 5, "", 6, 7);
    EXPECT_EQ(Check(), 0);
    ExpectReads(3, 4, 5, "ACMEX", 6, 7);
    EXPECT_EQ(Check(), -1);
}

TEST_F(ConfigFile, MissingLinesCompareAsZero) {
    ExpectReads(0, 0, 0, "", 0, 0);
    EXPECT_EQ(Check(), 0);
    ExpectReads(0, 0, 0, "", 0, 1);
    EXPECT_EQ(Check(), -1);
}

TEST_F(ConfigFile, FailedReadsCompareAsZeroTheRegionAsTheCountry) {
    Read("0\n8\n0\n\n0\n0\n");
    script.Expect("meta.read 1").Values({8});
    script.Expect("meta.read 2").Returns(1);
    script.Expect("meta.read 4").Returns(1);
    script.Expect("flash.get brand").Returns(1);
    script.Expect("meta.read 3").Returns(1);
    script.Expect("meta.read 0").Returns(1);
    EXPECT_EQ(Check(), -1);  // the country alone differs
    EXPECT_EQ(Count(m_output, " ZelCheckConfig "), 1);
    EXPECT_NE(m_output.find("META_REGION is:8 atoi(m_strRegion):8\n"), std::string::npos);
    EXPECT_NE(m_output.find("META_LOGO is:0 atoi(m_strLogo):0\n"), std::string::npos);
}

TEST_F(ConfigFile, PrintsEverything) {
    ExpectReads(3, 4, 5, "ACME", 6, 7);
    script.ExpectGetText(kVersionKey, "V1.2.3");
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelPrintfConfig(), 0); });
    const std::string before =
        "META_COUNTRY is       :3\n"
        "META_REGION is        :4\n"
        "META_LOGO is          :5\n"
        "Brand is              :ACME\n"
        "META_LAGUAGE is       :6\n"
        "META_PROJECT_ID is    :7\n"
        "Git Revision is       :";
    EXPECT_EQ(output.substr(0, before.size()), before);
    const std::string after = "\nSoftWare Version is   :V1.2.3\n";
    EXPECT_EQ(output.find(after), output.size() - after.size());
    EXPECT_GT(output.size(), before.size() + after.size()) << "no revision";
}

TEST_F(ConfigFile, PrintingReportsEachFailedRead) {
    script.Expect("meta.read 1").Returns(1);
    script.Expect("meta.read 2").Returns(2);
    script.Expect("meta.read 4").Returns(4);
    script.Expect("flash.get brand").Returns(8);
    script.Expect("meta.read 3").Returns(16);
    script.Expect("meta.read 0").Returns(32);
    script.ExpectGetText(kVersionKey, "V1");
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelPrintfConfig(), 63); });
    EXPECT_EQ(Count(output, " ZelPrintfConfig "), 6) << output;
    ExpectReads(3, 4, 5, "ACME", 6, 7);
    script.ExpectModelFailure();
    const std::string version = OutputOf([this] { EXPECT_EQ(m_manager->ZelPrintfConfig(), -1); });
    EXPECT_EQ(Count(version, " ZelPrintfConfig "), 1) << version;
}

}  // namespace
