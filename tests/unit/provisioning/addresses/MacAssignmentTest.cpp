#include "provisioning/ProvisioningFixture.h"

namespace {

constexpr char kRange[] = "/mnt/usb/mac.txt";
constexpr char kBeside[] = "/mnt/usb/range.new";  // must not look like a range file to the next search

class MacAssignment : public scripted::ProvisioningTest {
  protected:
    std::int32_t Update(const std::string& content) {
        m_content = content;
        script.PutFile(kRange, content);
        std::int32_t result = 1;
        m_output = OutputOf([&] { result = m_manager->ZelUpdateMac(kRange); });
        return result;
    }
    void ExpectStored(const std::string& mac) {
        script.Expect("flash.set macaddr=" + mac);
        script.Expect("meta.writestr 8 " + mac);
    }
    // The new line has taken the former one's place before all is synced.
    void ExpectRewritten() {
        script.Expect("sync").Then([this] { EXPECT_FALSE(script.Exists(kBeside)); });
    }
    // Nothing stored, nothing changed.
    void ExpectRefused(const std::string& content) {
        EXPECT_EQ(Update(content), -1) << content;
        EXPECT_TRUE(HasFail(m_output, "ZelUpdateMac")) << m_output;
        EXPECT_EQ(script.ReadFile(kRange), content);
    }

    std::string m_content;
    std::string m_output;
};

TEST_F(MacAssignment, TakesTheFirstAndLeavesTheNext) {
    ExpectStored("00-11-22-33-44-FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-33-44-FE--00-11-22-33-44-FF\r\n"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n");
    const std::string before =
        "read the config file curLine:1 strlen:38 data:00-11-22-33-44-FE--00-11-22-33-44-FF\r\n \n"
        "MacFullMacStr:00-11-22-33-44-FE--00-11-22-33-44-FF\r\n\n"
        "strTmpStart:--00-11-22-33-44-FF\r\n\n"
        "i32MacEnd1: 001122\ni32MacEnd2: 3344FF\n"
        "strTmpStart 222:00-11-22-33-44-FE\n"
        "i32MacStart1: 001122\ni32MacStart2: 3344FE\n";
    EXPECT_EQ(m_output.substr(0, before.size()), before);
    EXPECT_TRUE(HasLine(m_output, "ZelUpdateMac ", " strTmp:00-11-22-33-44-FF--00-11-22-33-44-FF\r\n\n"));
}

TEST_F(MacAssignment, CarriesIntoTheUpperHalf) {
    ExpectStored("00-11-22-FF-FF-FF");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-FF-FF-FF--00-11-23-00-00-10\r\n"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "00-11-23-00-00-00--00-11-23-00-00-10\r\n");
}

TEST_F(MacAssignment, AnUpperHalfOfZeroKeepsItsDigits) {
    ExpectStored("00-00-00-00-00-09");
    ExpectRewritten();
    EXPECT_EQ(Update("00-00-00-00-00-09--00-00-01-00-00-00\r\n"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "00-00-00-00-00-0A--00-00-01-00-00-00\r\n");
}

TEST_F(MacAssignment, TheLastAddressRemovesTheFile) {
    ExpectStored("00-11-22-33-44-FF");
    script.Expect(std::string("popen rm -rf ") + kRange).Then([this] { script.RemoveFile(kRange); });
    script.Expect("sync");
    EXPECT_EQ(Update("00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"), 0);
    EXPECT_FALSE(script.Exists(kRange));
}

TEST_F(MacAssignment, TheLastAddressFailsWhenTheFileCannotBeRemoved) {
    ExpectStored("00-11-22-33-44-FF");
    script.Expect(std::string("popen rm -rf ") + kRange).Returns(-1);
    EXPECT_EQ(Update("00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelUpdateMac"));
}

TEST_F(MacAssignment, TheLastAddressFailsOnAStickThatCannotBeWritten) {
    ExpectStored("00-11-22-33-44-FF");
    script.Expect(std::string("popen rm -rf ") + kRange);
    script.Expect("sync");
    EXPECT_EQ(Update("00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelUpdateMac"));
}

TEST_F(MacAssignment, ThePathReachesTheShellAsOneWord) {
    const std::string path = "/mnt/usb/my; mac.txt";
    script.PutFile(path, "00-11-22-33-44-FF--00-11-22-33-44-FF");
    ExpectStored("00-11-22-33-44-FF");
    script.Expect("popen rm -rf '/mnt/usb/my; mac.txt'").Then([&] { script.RemoveFile(path); });
    script.Expect("sync");
    OutputOf([&] { EXPECT_EQ(m_manager->ZelUpdateMac(path), 0); });
}

TEST_F(MacAssignment, LowerCaseIsStoredAsWrittenAndRewrittenInUpperCase) {
    ExpectStored("aa-bb-cc-dd-ee-fe");
    ExpectRewritten();
    EXPECT_EQ(Update("aa-bb-cc-dd-ee-fe--aa-bb-cc-dd-ee-ff\n"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "AA-BB-CC-DD-EE-FF--aa-bb-cc-dd-ee-ff\r\n");
}

TEST_F(MacAssignment, OtherSeparatorsAreStoredAsWrittenAndRewrittenAsDashes) {
    ExpectStored("00:11:22:33:44:FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00:11:22:33:44:FE--00.11 22_33/44:FF"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n");
}

TEST_F(MacAssignment, ThirtySixCharactersAreEnoughThirtyFiveAreNot) {
    ExpectStored("00-11-22-33-44-FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-33-44-FE--00-11-22-33-44-FF"), 0);
    ExpectStored("00-11-22-33-44-FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-33-44-FE--001122-33-44-FF\r\n"), 0);
    ExpectRefused("00-11-22-33-44-FE--001122-33-44-FF\n");
    EXPECT_EQ(Count(m_output, "strTmpStart"), 0);
}

TEST_F(MacAssignment, MalformedRangesAreRefused) {
    ExpectRefused("");
    ExpectRefused("00-11-22-33-44-FE-00-11-22-33-44-FF-00\r\n");   // no two dashes
    ExpectRefused("00-11-22-33-44-FF--00-11-22-33-44-FE\r\n");     // start above end
    ExpectRefused("00-11-23-00-00-00--00-11-22-FF-FF-FF\r\n");     // likewise by the upper half
    ExpectRefused("00-11-22-33-44-FE--00-11-22-33-44-FF-66\r\n");  // seventh pair in the end
    ExpectRefused("0011-22334455-667--00-11-22-33-44-FF\r\n");     // seventh pair in the start
    ExpectRefused("00-11-22-33-44-FE--ZZ-11-22-33-44-FF\r\n");     // half above 24 bits
    ExpectRefused("00-11-22-G0-00-00--00-11-23-00-00-00\r\n");     // likewise in the start
    EXPECT_EQ(Count(m_output, "i32MacStart2: 1000000"), 1) << m_output;
}

// What is not two addresses would be stored as it stands, and the next set's range be made from it.
TEST_F(MacAssignment, WhatIsNotTwoAddressesIsRefused) {
    for (const char* const content : {
             "\357\273\27700-11-22-33-44-FE--00-11-22-33-44-FF\r\n",  // byte-order mark
             " 00-11-22-33-44-FE--00-11-22-33-44-FF\r\n",
             "-----------------\r\n--00-11-22-33-44-FF",
             "------------------00-11-22-33-44-FF\r\n",
             "00-11-22-33-44-GE--00-11-22-33-44-FF\r\n",
             "00-11-22-33-44-0E--00-11-22-33-44-0G\r\n",
             "0x-11-22-33-44-0E--00-11-22-33-44-FF\r\n",
             "0011-2233-44FE-----00-11-22-33-44-FF\r\n",
             "00-11-22-33-44-F --00-11-22-33-44-FF\r\n",
             "00-11-22-33-44-FE--00-11-22-33-44-F \r\n",
             "00-11-22-33-44-FE-- the last address\r\n",
         }) {
        ExpectRefused(content);
    }
}

TEST_F(MacAssignment, OnlyTheFirstLineCounts) {
    ExpectStored("00-11-22-33-44-FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-33-44-FE--00-11-22-33-44-FF\r\nsecond\r\n"), 0);
    EXPECT_EQ(script.ReadFile(kRange), "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n");
    EXPECT_STREQ(m_strCountry, "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n");
    EXPECT_STREQ(m_strRegion, "second\r\n");
}

TEST_F(MacAssignment, TheOtherConfigurationLinesStay) {
    SetLine(m_strRegion, "7\r\n");
    ExpectStored("00-11-22-33-44-FE");
    ExpectRewritten();
    EXPECT_EQ(Update("00-11-22-33-44-FE--00-11-22-33-44-FF\r\n"), 0);
    EXPECT_STREQ(m_strRegion, "7\r\n");
}

TEST_F(MacAssignment, AnEmptyFileDoesNotRepeatTheFormerRange) {
    SetLine(m_strCountry, "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n");
    ExpectRefused("");
}

TEST_F(MacAssignment, NoRangeFile) {
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelUpdateMac("/mnt/usb/none"), -1); });
    EXPECT_TRUE(HasFail(output, "ZelReadSpeacialLine"));
    EXPECT_TRUE(HasFail(output, "ZelUpdateMac"));
}

TEST_F(MacAssignment, AFlashFailureLeavesTheFile) {
    const std::string content = "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n";
    script.Expect("flash.set macaddr=00-11-22-33-44-FE").Returns(5);
    EXPECT_EQ(Update(content), -1);
    EXPECT_TRUE(HasLine(m_output, " ZelUpdateMac ", " fail ret:5\n")) << m_output;
    EXPECT_EQ(script.ReadFile(kRange), content);
}

TEST_F(MacAssignment, AMetadataFailureLeavesTheFile) {
    const std::string content = "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n";
    script.Expect("flash.set macaddr=00-11-22-33-44-FE");
    script.Expect("meta.writestr 8 00-11-22-33-44-FE").Returns(6);
    EXPECT_EQ(Update(content), -1);
    EXPECT_TRUE(HasLine(m_output, " ZelUpdateMac ", " fail ret:6\n")) << m_output;
    EXPECT_EQ(script.ReadFile(kRange), content);
}

TEST_F(MacAssignment, AFileThatCannotBeRewrittenFails) {
    const std::string content = "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n";
    script.FailOpen(kBeside);
    ExpectStored("00-11-22-33-44-FE");
    EXPECT_EQ(Update(content), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelUpdateMac"));
    EXPECT_EQ(script.ReadFile(kRange), content);
}

TEST_F(MacAssignment, AFullStickKeepsTheFormerRange) {
    const std::string content = "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n";
    script.MakeFolder("/mnt/usb");
    std::filesystem::create_symlink("/dev/full", script.FilePath(kBeside));
    ExpectStored("00-11-22-33-44-FE");
    EXPECT_EQ(Update(content), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelUpdateMac"));
    EXPECT_EQ(script.ReadFile(kRange), content);
    EXPECT_FALSE(script.Exists(kBeside));
}

// ---- Random address ---------------------------------------------------------------------------------------

class RandomAssignment : public scripted::ProvisioningTest {
  protected:
    void SetUp() override {
        ProvisioningTest::SetUp();
        const std::uint32_t seed = 0x0A1B2B;
        script.PutFile("/dev/urandom", std::string(reinterpret_cast<const char*>(&seed), sizeof seed));
    }
};

TEST_F(RandomAssignment, AStoredAddressStays) {
    script.Expect("meta.readstr 8").Text("00:11:22:33:44:55");
    EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckIfSetSetRandomMAC(), 0); }), "");
}

TEST_F(RandomAssignment, AnEmptyOneIsReplaced) {
    script.Expect("meta.readstr 8").Text("");
    script.Expect("flash.set macaddr=00:00:00:0A:1B:2C");
    script.Expect("meta.writestr 8 00:00:00:0A:1B:2C");
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckIfSetSetRandomMAC(), 0); });
    EXPECT_NE(output.find("=========mac test 3333333:00:00:00:0A:1B:2C strlen():17\n"), std::string::npos);
}

TEST_F(RandomAssignment, SoIsOneThatCannotBeRead) {
    script.Expect("meta.readstr 8").Returns(1);
    script.Expect("flash.set macaddr=00:00:00:0A:1B:2C");
    script.Expect("meta.writestr 8 00:00:00:0A:1B:2C");
    OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckIfSetSetRandomMAC(), 0); });
}

TEST_F(RandomAssignment, AFlashFailureIsLoggedAndTheMetadataWritten) {
    script.Expect("meta.readstr 8");
    script.Expect("flash.set macaddr=00:00:00:0A:1B:2C").Returns(9);
    script.Expect("meta.writestr 8 00:00:00:0A:1B:2C");
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckIfSetSetRandomMAC(), 0); });
    EXPECT_TRUE(HasLine(output, " ZelCheckIfSetSetRandomMAC ", " fail ret:9\n")) << output;
}

TEST_F(RandomAssignment, AMetadataFailureReturnsWhatWasLogged) {
    script.Expect("meta.readstr 8");
    script.Expect("flash.set macaddr=00:00:00:0A:1B:2C");
    script.Expect("meta.writestr 8 00:00:00:0A:1B:2C").Returns(-2);
    std::int32_t result = 0;
    const std::string output = OutputOf([&] { result = m_manager->ZelCheckIfSetSetRandomMAC(); });
    EXPECT_TRUE(HasLine(output, " ZelCheckIfSetSetRandomMAC ", " fail ret:-2\n")) << output;
    EXPECT_EQ(static_cast<std::size_t>(result), output.size() - output.find(" ZelCheckIf"));
}

TEST_F(RandomAssignment, WithoutRandomnessAllIsZero) {
    script.FailOpen("/dev/urandom");
    script.Expect("meta.readstr 8");
    script.Expect("flash.set macaddr=00:00:00:00:00:00");
    script.Expect("meta.writestr 8 00:00:00:00:00:00");
    OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckIfSetSetRandomMAC(), 0); });
}

}  // namespace
