#include "UartManager/LinkFixture.h"

namespace {

constexpr char kPcbSn[] = "/var/local/ZelPcbSn";
constexpr char kTestResult[] = "/var/local/ZelTestResult";
constexpr char kRunningTime[] = "/var/tvservice/tvRunningTime";

class Records : public scripted::LinkTest {
  protected:
    template <typename Operation>
    std::string Output(Operation operation) {
        script.CaptureOutput();
        operation();
        return script.Output();
    }
};

TEST_F(Records, WritingReadsBackTheSame) {
    script.Expect("popen touch /var/local/ZelPcbSn");
    script.Expect("sync").Then([this] { EXPECT_FALSE(script.Exists(kPcbSn)); });
    script.Expect("sync").Then([this] { EXPECT_EQ(script.ReadFile(kPcbSn), "AB12"); });
    EXPECT_EQ(m_manager->ZelSetPcbSn("AB12"), 1);
    EXPECT_EQ(m_manager->GetStatusChanged(), 1);
    EXPECT_EQ(m_manager->ZelGetPcbSn(), "AB12");
    EXPECT_EQ(m_manager->ZelGetTestResult(), "");
}

TEST_F(Records, TheTestResultHasItsOwnFile) {
    script.Expect("popen touch /var/local/ZelTestResult");
    script.Expect("sync").Times(2);
    EXPECT_EQ(m_manager->ZelSetTestResult("PASS"), 1);
    EXPECT_EQ(m_manager->GetStatusChanged(), 1);
    EXPECT_EQ(script.ReadFile(kTestResult), "PASS");
    EXPECT_EQ(m_manager->ZelGetTestResult(), "PASS");
    EXPECT_FALSE(script.Exists(kPcbSn));
}

TEST_F(Records, AShorterValueLeavesNothingOfALongerOne) {
    script.PutFile(kPcbSn, "a much longer value");
    script.Expect("popen touch /var/local/ZelPcbSn");
    script.Expect("sync").Times(2);
    m_manager->ZelSetPcbSn("B");
    EXPECT_EQ(script.ReadFile(kPcbSn), "B");
}

TEST_F(Records, AZeroByteEndsTheText) {
    script.Expect("popen touch /var/local/ZelPcbSn");
    script.Expect("sync").Times(2);
    m_manager->ZelSetPcbSn(std::string("AB\0CD", 5));
    EXPECT_EQ(script.ReadFile(kPcbSn), "AB");
}

TEST_F(Records, ATouchThatCannotStartLeavesTheFile) {
    script.PutFile(kPcbSn, "old");
    script.Expect("popen touch /var/local/ZelPcbSn").Returns(-1);
    const std::string output = Output([&] { EXPECT_EQ(m_manager->ZelSetPcbSn("new"), 0); });
    EXPECT_EQ(output.rfind(" ZelSetPcbSn ", 0), 0U) << output;
    EXPECT_NE(output.find(" fail\n"), std::string::npos);
    EXPECT_EQ(script.ReadFile(kPcbSn), "old");
    EXPECT_EQ(m_manager->GetStatusChanged(), 0);
}

TEST_F(Records, AFileThatCannotBeOpenedFails) {
    script.FailOpen(std::string(kTestResult) + ".new");
    script.Expect("popen touch /var/local/ZelTestResult");
    script.Expect("sync");
    const std::string output = Output([&] { EXPECT_EQ(m_manager->ZelSetTestResult("new"), 0); });
    EXPECT_EQ(output.rfind(" ZelSetTestResult ", 0), 0U) << output;
    EXPECT_EQ(m_manager->GetStatusChanged(), 0);
}

TEST_F(Records, AFullDiskKeepsTheFormerRecord) {
    script.PutFile(kPcbSn, "old");
    std::filesystem::create_symlink("/dev/full", script.FilePath(std::string(kPcbSn) + ".new"));
    script.Expect("popen touch /var/local/ZelPcbSn");
    script.Expect("sync");
    const std::string output = Output([&] { EXPECT_EQ(m_manager->ZelSetPcbSn("new"), 0); });
    EXPECT_EQ(output.rfind(" ZelSetPcbSn ", 0), 0U) << output;
    EXPECT_EQ(m_manager->ZelGetPcbSn(), "old");
    EXPECT_EQ(m_manager->GetStatusChanged(), 0);
    EXPECT_FALSE(script.Exists(std::string(kPcbSn) + ".new"));
}

TEST_F(Records, MissingRecordsReadEmptyWithALogLine) {
    EXPECT_EQ(Output([&] { EXPECT_EQ(m_manager->ZelGetPcbSn(), ""); }), "fopen /var/local/ZelPcbSn fail!\n");
    EXPECT_EQ(Output([&] { EXPECT_EQ(m_manager->ZelGetTestResult(), ""); }),
              "fopen /var/local/ZelTestResult fail!\n");
}

TEST_F(Records, ARecordIsReadUpToItsFirstZeroAndAtMost255Characters) {
    script.PutFile(kPcbSn, std::string("AB\0CD", 5));
    EXPECT_EQ(m_manager->ZelGetPcbSn(), "AB");
    script.PutFile(kPcbSn, std::string(300, 'x'));
    EXPECT_EQ(m_manager->ZelGetPcbSn(), std::string(255, 'x'));
}

TEST_F(Records, RunningTime) {
    for (const auto& [text, value] :
         std::vector<std::pair<std::string, std::int32_t>>{{"300", 300},
                                                           {"1234abc", 1234},
                                                           {"hours", 0},
                                                           {"", 0},
                                                           {"-7\n", -7},
                                                           {" 12", 12},
                                                           {"4294967301", 2147483647}}) {
        script.PutFile(kRunningTime, text);
        EXPECT_EQ(m_manager->ZelGetRunningTime(), value) << text;
    }
    script.RemoveFile(kRunningTime);
    EXPECT_EQ(Output([&] { EXPECT_EQ(m_manager->ZelGetRunningTime(), 0); }),
              "/var/tvservice/tvRunningTime fail!\n");
}

}  // namespace
