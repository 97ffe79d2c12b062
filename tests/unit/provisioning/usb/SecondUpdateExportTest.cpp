#include "provisioning/usb/SecondUpdateFixture.h"

namespace {

using namespace scripted;

class Export : public SecondUpdateTest {
  protected:
    void SetUp() override {
        SecondUpdateTest::SetUp();
        PutSticks({"/mnt/a"});
    }
    void ExpectFolder() {
        script.Expect("system rm -rf /mnt/a/CopyRW9602CustomerFile");
        script.Expect("system mkdir -p /mnt/a/CopyRW9602CustomerFile/CONFIG").Then([this] {
            script.MakeFolder("/mnt/a/CopyRW9602CustomerFile/CONFIG");
        });
        script.Expect(std::string("system touch ") + kFile);
    }
    void ExpectReads(int status = 0) {
        script.Expect("meta.read 1").Values({3}).Returns(status);
        script.Expect("meta.read 2").Values({4}).Returns(status);
        script.Expect("meta.read 4").Values({5}).Returns(status);
        script.Expect("flash.get brand").Text("ACME").Returns(status);
        script.Expect("meta.read 3").Values({6}).Returns(status);
        script.Expect("meta.read 0").Values({7}).Returns(status);
    }
    void Run() {
        m_output = OutputOf([this] { m_manager->ZelSecondUpdateExport(); });
    }
    static constexpr char kFile[] = "/mnt/a/CopyRW9602CustomerFile/CONFIG/CONFIG.bin";
};

TEST_F(Export, WritesTheConfigurationAndAsksTheSupervisor) {
    ExpectFolder();
    ExpectReads();
    script.Expect("sync").Times(2);
    ExpectSupervisor("12", "ret=0");
    ExpectLeds();
    Run();
    ExpectOutcome(3, "");
    EXPECT_EQ(script.ReadFile(kFile), "3\r\n4\r\n5\r\nACME\r\n6\r\n7");
    EXPECT_NE(m_output.find("META_COUNTRY is       :3\n"
                            "META_REGION is        :4\n"
                            "META_LOGO is          :5\n"
                            "Brand is              :ACME\n"
                            "META_LAGUAGE is       :6\n"
                            "META_PROJECT_ID is    :7\n"),
              std::string::npos)
        << m_output;
    EXPECT_NE(m_output.find("./src/UartManager ZelSecondUpdateExport  buf=ret=0\n"), std::string::npos);
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateExport ", " superwatch12 ssssssssssssssssssssssssssssss\n"));
    EXPECT_NE(m_output.find(" m_secondUpdateStatus:3 m_strSecondUpdateMessage:\n"), std::string::npos);
    EXPECT_EQ(Count(m_output, "fail"), 0) << m_output;
}

TEST_F(Export, IsWhatAnImportReads) {
    ExpectFolder();
    ExpectReads();
    script.Expect("sync").Times(2);
    ExpectSupervisor("12", "ret=0");
    ExpectLeds();
    Run();
    OutputOf([this] { EXPECT_EQ(m_manager->ZelReadSpeacialLine(kFile), 0); });
    ExpectReads();
    OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckConfig(), 0); });
}

TEST_F(Export, FailedReadsAreNamedAndTheRestIsWritten) {
    ExpectFolder();
    ExpectReads(1);
    script.Expect("sync").Times(2);
    ExpectSupervisor("12", "ret=0");
    Run();
    ExpectOutcome(4, "Country;Region;Logo;Brand;Lang;Pid;");
    EXPECT_EQ(script.ReadFile(kFile), "0\r\n0\r\n0\r\n\r\n0\r\n0");
    EXPECT_EQ(Count(m_output, " fail\n"), 6) << m_output;
}

TEST_F(Export, WithoutAFolderNothingIsReadAndTheSupervisorAskedAllTheSame) {
    script.Expect("system rm -rf /mnt/a/CopyRW9602CustomerFile").Returns(kExit1);
    script.Expect("system mkdir -p /mnt/a/CopyRW9602CustomerFile/CONFIG").Returns(kExit1);
    script.Expect("sync");
    ExpectSupervisor("12", "ret=0");
    Run();
    ExpectOutcome(4, "Config.bin;");
    EXPECT_EQ(Count(m_output, " fail\n"), 2) << m_output;
}

TEST_F(Export, WithoutAFileLikewise) {
    script.Expect("system rm -rf /mnt/a/CopyRW9602CustomerFile");
    script.Expect("system mkdir -p /mnt/a/CopyRW9602CustomerFile/CONFIG");
    script.Expect(std::string("system touch ") + kFile).Returns(kExit1);
    script.Expect("sync");
    ExpectSupervisor("12", "ret=0");
    Run();
    ExpectOutcome(4, "Config.bin;");
}

TEST_F(Export, AFileThatCannotBeOpenedFails) {
    script.FailOpen(kFile);
    ExpectFolder();
    ExpectReads();
    script.Expect("sync");
    ExpectSupervisor("12", "ret=0");
    Run();
    ExpectOutcome(4, "Config.bin;");
    EXPECT_TRUE(HasFail(m_output, "ZelSecondUpdateExport"));
}

TEST_F(Export, WithoutAStickGoesToTheRootOfTheSet) {
    PutSticks({});
    script.Expect("system rm -rf /CopyRW9602CustomerFile");
    script.Expect("system mkdir -p /CopyRW9602CustomerFile/CONFIG").Returns(kExit1);
    script.Expect("sync");
    ExpectSupervisor("12", "ret=0");
    Run();
    ExpectOutcome(4, "Config.bin;");
    EXPECT_EQ(Count(m_output, " fail\n"), 2) << m_output;  // the search and the folder
}

TEST_F(Export, EveryFailureOfTheSupervisorHasTheSameWord) {
    ExpectFolder();
    ExpectReads();
    script.Expect("sync").Times(2);
    script.Expect("system touch /var/run/.superwatch12").Returns(kExit1);
    script.Expect("system echo 12 > /var/run/superwatch").Returns(kExit1);
    script.Expect("system rm -rf /var/run/.superwatch12").Returns(kExit1);
    Run();
    ExpectOutcome(4, "oem;oem;");
    for (const char* const line : {" touch .superwatch12 fail\n", " echo 12 > /var/run/superwatch fail\n",
                                   " rm -rf .superwatch12 fail\n"}) {
        EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateExport ", line)) << line;
    }
}

TEST_F(Export, AMarkerThatIsGoneFails) {
    ExpectFolder();
    ExpectReads();
    script.Expect("sync").Times(2);
    ExpectSupervisor("12", nullptr);
    Run();
    ExpectOutcome(4, "oem;");
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateExport ", " fopen /var/run/.superwatch12 fail\n"));
}

TEST_F(Export, AnAnswerWithoutSuccessIsNamedOnly) {
    ExpectFolder();
    ExpectReads();
    script.Expect("sync").Times(2);
    ExpectSupervisor("12", "ret=5");
    ExpectLeds();
    Run();
    ExpectOutcome(3, "oem;");
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateExport ", " strstr ret!=0 fail\n"));
}

}  // namespace
