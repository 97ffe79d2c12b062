#include <tuple>

#include "provisioning/usb/SecondUpdateFixture.h"

namespace {

using namespace scripted;

constexpr char kEncryptAction[] = "tovix.sl2.common.intf.action.encrypt.key";
constexpr char kCheckAction[] = "tovix.sl2.common.intf.action.check.ciplus.key";
constexpr char kCustomer[] = "/mnt/a/RW9602CustomerFile";

struct Item {
    const char* folder;
    const char* file;
    const char* emptyWord;
    const char* label;
    const char* errorWord;
    int key;             // -1 none
    const char* ciWord;  // null: no CI+ key
};

constexpr Item kItems[] = {
    {"CONFIG", "CONFIG.bin", "config;", "Config", "config Err;", -1, nullptr},
    {"HDCP14KEY", "HDCP14MTK9602_1.bin", "hdcp14;", "HDCP14", "hdcp14 Err;", 5, nullptr},
    {"HDCP22KEY", "HDCP22MTK9602_1.bin", "hdcp22;", "HDCP22", "hdcp22 Err;", 1, nullptr},
    {"widevine_9602", "WIDEVNMTK9602_1.bin", "wvcenc;", "WVCENC", "wvcenc Err;", 2, nullptr},
    {"Netflix_9602", "NETFLIXMT9602_1.bin", "netflix;", "NETFLIX", "netflix Err;", 0, nullptr},
    {"CI+", "CIPLUSMTK9602_1.bin", "ci;", "CIPLUS", "ci Err;", 3, "NON_ECP"},
    {"ECP_CI+", "ECPCIPLUSMTK9602_1.bin", "ecp;", "CIPLUS_ECP", "ci ecp Err;", 4, "ECP"},
    {"MAC", "mac.txt", "mac;", "", "mac Err;", -1, nullptr},
};
constexpr int kItemCount = 8;

// What goes wrong with an item.
enum class Fault { None, Write, Check };

class Import : public SecondUpdateTest {
  protected:
    void SetUp() override {
        SecondUpdateTest::SetUp();
        PutSticks({"/mnt/a"});
        script.PutFile(std::string(kCustomer) + "/ZelFacTest_Eu4K", "");
    }
    static std::string Path(const Item& item) {
        return std::string(kCustomer) + "/" + item.folder + "/" + item.file;
    }
    void Put(const Item& item) {
        const bool mac = std::string(item.file) == "mac.txt";
        const bool config = std::string(item.file) == "CONFIG.bin";
        script.PutFile(Path(item), mac ? "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n" : config ? "3\r\n" : "key");
    }
    void ExpectAction(const std::string& key, const std::string& arguments, int status) {
        script.ExpectConnect(key);
        script.Expect("invoke " + key + " [" + arguments + "]").Returns(status);
        if (status == 0) {
            script.Expect("delay 10000");
            script.Expect("disconnect " + key);
        }
    }
    void ExpectConfig(Fault fault) {
        script.Expect("meta.write 1 3").Returns(fault == Fault::Write ? 1 : 0);
        script.ExpectSet("tovix.sl2.i32.qorfactory.country", 3);
        script.Expect("flash.set db_table=0");
        script.Expect("sync");
        script.Expect("meta.read 1").Values({fault == Fault::Check ? 4 : 3});
        script.Expect("meta.read 2").Values({0});
        script.Expect("meta.read 4").Values({0});
        script.Expect("flash.get brand");
        script.Expect("meta.read 3").Values({0});
        script.Expect("meta.read 0").Values({0});
    }
    void ExpectMac(Fault fault) {
        script.Expect("flash.set macaddr=00-11-22-33-44-FE").Returns(fault == Fault::None ? 0 : 1);
        if (fault == Fault::None) {
            script.Expect("meta.writestr 8 00-11-22-33-44-FE");
            script.Expect("sync");
        }
    }
    void ExpectItem(const Item& item, Fault fault) {
        const int write = fault == Fault::Write ? 1 : 0;
        const int check = fault == Fault::Check ? 1 : 0;
        if (item.key < 0) {
            std::string(item.file) == "mac.txt" ? ExpectMac(fault) : ExpectConfig(fault);
            return;
        }
        const std::string list = "keys.write " + std::to_string(item.key) + " [" + Path(item) + "]";
        if (item.ciWord != nullptr) {
            ExpectAction(kEncryptAction, std::string("0:") + item.ciWord + ", 1:" + Path(item), 0);
            script.Expect(list).Returns(write);
            ExpectAction(kCheckAction, std::string("0:") + item.ciWord, check);
        } else {
            script.Expect(list).Returns(write);
            script.Expect("keys.check " + std::to_string(item.key)).Returns(check);
        }
        if (fault == Fault::None) {
            const std::string path = Path(item);
            script.Expect("popen rm -rf " + path).Then([this, path] { script.RemoveFile(path); });
        }
    }
    // Behind the items: what they changed on the stick, then the request.
    void ExpectRebuild() {
        script.Expect("sync");
        SecondUpdateTest::ExpectRebuild();
    }
    void Run() {
        m_output = OutputOf([this] { m_manager->ZelSecondUpdateImport(); });
    }
    void ExpectPrinted(std::int32_t status, const std::string& message) {
        const std::string line =
            " m_secondUpdateStatus:" + std::to_string(status) + " m_strSecondUpdateMessage:" + message + "\n";
        EXPECT_NE(m_output.find(line), std::string::npos) << m_output;
    }
};

TEST_F(Import, TakesEveryItemInOrder) {
    for (const Item& item : kItems) {
        Put(item);
        ExpectItem(item, Fault::None);
    }
    ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
    ExpectPrinted(1, "");
    for (const Item& item : kItems) {
        EXPECT_NE(m_output.find(std::string(item.label) + " strFullUsbPath:" + Path(item) + "\n"),
                  std::string::npos);
        EXPECT_EQ(script.Exists(Path(item)), item.key < 0) << item.file;
    }
    EXPECT_EQ(script.ReadFile(Path(kItems[7])), "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n");
}

TEST_F(Import, AFolderThatIsNotThereIsNoEmptyFolder) {
    for (const Item& item : kItems) {
        if (std::string(item.folder) != "HDCP22KEY") {
            Put(item);
            ExpectItem(item, Fault::None);
        }
    }
    ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
}

class EachItem : public Import, public ::testing::WithParamInterface<std::tuple<int, Fault>> {};

TEST_P(EachItem, FailsAloneAndStaysOnTheStick) {
    const auto [failing, fault] = GetParam();
    for (int i = 0; i < kItemCount; ++i) {
        Put(kItems[i]);
        ExpectItem(kItems[i], i == failing ? fault : Fault::None);
    }
    ExpectRebuild();
    Run();
    ExpectOutcome(2, kItems[failing].errorWord);
    ExpectPrinted(2, kItems[failing].errorWord);
    EXPECT_TRUE(HasFail(m_output, "ZelSecondUpdateImport"));
    EXPECT_TRUE(script.Exists(Path(kItems[failing])));
}

INSTANTIATE_TEST_SUITE_P(Faults, EachItem,
                         ::testing::Combine(::testing::Range(0, kItemCount),
                                            ::testing::Values(Fault::Write, Fault::Check)));

class EmptyFolder : public Import, public ::testing::WithParamInterface<int> {};

TEST_P(EmptyFolder, EndsTheImportAfterTheOtherItems) {
    script.MakeFolder("/mnt/a/OEM_data");  // not even looked at
    const int failing = GetParam() == 1 ? 2 : 1;
    for (int i = 0; i < kItemCount; ++i) {
        if (i == GetParam()) {
            script.PutFile(std::string(kCustomer) + "/" + kItems[i].folder + "/other", "");
        } else {
            Put(kItems[i]);
            ExpectItem(kItems[i], i == failing ? Fault::Check : Fault::None);
        }
    }
    m_secondUpdateStatus = 9;
    script.Expect("sync").Then([] { EXPECT_EQ(m_secondUpdateStatus, 9) << "synced before the result is shown"; });
    Run();
    ExpectOutcome(0, kItems[failing].errorWord);
    EXPECT_EQ(Count(m_output, " ZelSecondUpdateImport "), 2) << m_output;
    EXPECT_EQ(m_output.find("m_secondUpdateStatus"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Items, EmptyFolder, ::testing::Range(0, kItemCount));

TEST_F(Import, ARefusedCiPlusKeyIsStillChecked) {
    Put(kItems[5]);
    ExpectAction(kEncryptAction, "0:NON_ECP, 1:" + Path(kItems[5]), 1);
    ExpectAction(kCheckAction, "0:NON_ECP", 0);
    ExpectRebuild();
    Run();
    ExpectOutcome(2, "ci Err;");
}

TEST_F(Import, ACheckIsMadeAlsoAfterAFailedWriteAndAllErrorsAreNamed) {
    for (const int i : {1, 4, 7}) {
        Put(kItems[i]);
        ExpectItem(kItems[i], Fault::Write);
    }
    ExpectRebuild();
    Run();
    ExpectOutcome(2, "hdcp14 Err;netflix Err;mac Err;");
}

TEST_F(Import, ThreeFilesServeThreeSets) {
    const Item& item = kItems[1];
    const std::string files = std::string(kCustomer) + "/HDCP14KEY/HDCP14MTK9602";
    for (const char* const name : {"1", "2", "3"}) {
        script.PutFile(files + name, "key");
    }
    for (int set = 0; set < 3; ++set) {
        // Directory order is the file system's; what the search finds first is what is taken.
        std::string found;
        std::string name;
        ASSERT_EQ(
            m_manager->ZelGetUSBUpdateFileFullPath("RW9602CustomerFile/HDCP14KEY", "HDCP14MTK9602", found, name),
            0);
        const std::string path = found + "/" + name;
        script.Expect("keys.write " + std::to_string(item.key) + " [" + path + "]");
        script.Expect("keys.check " + std::to_string(item.key));
        script.Expect("popen rm -rf " + path).Then([this, path] { script.RemoveFile(path); });
        ExpectRebuild();
        ExpectLeds();
        Run();
        ExpectOutcome(1, "");
        script.Verify();
    }
    script.Expect("sync");
    Run();  // the fourth set finds an empty folder
    ExpectOutcome(0, "");
}

TEST_F(Import, AKeyThatCannotBeRemovedIsLoggedAndCountsAsInstalled) {
    Put(kItems[3]);
    script.Expect("keys.write 2 [" + Path(kItems[3]) + "]");
    script.Expect("keys.check 2");
    script.Expect("popen rm -rf " + Path(kItems[3])).Returns(-1);
    ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
    EXPECT_TRUE(HasFail(m_output, "ZelSecondUpdateImport"));
}

TEST_F(Import, NamesReachTheShellAsOneWord) {
    const std::string folder = std::string(kCustomer) + "/HDCP14KEY/";
    for (const char* const name : {"HDCP14MTK9602 a b", "HDCP14MTK9602;reboot", "HDCP14MTK9602$(x)",
                                   "HDCP14MTK9602\nreboot", "HDCP14MTK9602\"`"}) {
        const std::string path = folder + name;
        script.PutFile(path, "key");
        script.Expect("keys.write 5 [" + path + "]");
        script.Expect("keys.check 5");
        script.Expect("popen rm -rf '" + path + "'").Then([this, path] { script.RemoveFile(path); });
        ExpectRebuild();
        ExpectLeds();
        Run();
        ExpectOutcome(1, "");
    }
}

TEST_F(Import, ItemPathsAreCutAt127Characters) {
    const std::string folder = std::string(kCustomer) + "/HDCP14KEY/";
    const std::string path = folder + "HDCP14MTK9602" + std::string(150, 'x');
    script.PutFile(path, "key");
    script.Expect("keys.write 5 [" + path.substr(0, 127) + "]").Returns(1);
    script.Expect("keys.check 5");
    ExpectRebuild();
    Run();
    ExpectOutcome(2, "hdcp14 Err;");
}

TEST_F(Import, ACustomerFolderWithoutItsMarkerWillDo) {
    script.RemoveFile(std::string(kCustomer) + "/ZelFacTest_Eu4K");
    ExpectRebuild();
    Run();
    ExpectOutcome(0, "");
    ExpectPrinted(0, "");
}

TEST_F(Import, AFailedRebuildRequestIsLogged) {
    script.Expect("sync");
    script.Expect("flash.set db_table=0").Returns(1);
    script.Expect("sync");
    Run();
    ExpectOutcome(0, "");
    EXPECT_TRUE(HasFail(m_output, "ZelSecondUpdateImport"));
}

TEST_F(Import, FailedLedsAreLogged) {
    Put(kItems[2]);
    ExpectItem(kItems[2], Fault::None);
    ExpectRebuild();
    script.ExpectModelFailure();
    script.ExpectModelFailure();
    Run();
    ExpectOutcome(1, "");
    EXPECT_EQ(Count(m_output, " ZelSecondUpdateImport "), 2) << m_output;
}

// ---- Import: OEM data -------------------------------------------------------------------------------------

class OemImport : public Import {
  protected:
    void SetUp() override {
        Import::SetUp();
        script.RemoveFile(kCustomer);
        script.MakeFolder("/mnt/a/OEM_data");
    }
};

TEST_F(OemImport, AloneSucceeds) {
    ExpectSupervisor("13", "x ret=0 y");
    SecondUpdateTest::ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
    EXPECT_NE(m_output.find("./src/UartManager ZelSecondUpdateImport  buf=x ret=0 y\n"), std::string::npos)
        << m_output;
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateImport ", " superwatch13 ssssssssssssssssssssssssssssss\n"));
    EXPECT_EQ(Count(m_output, "fail"), 0);
}

TEST_F(OemImport, ComesAfterTheItems) {
    script.PutFile(std::string(kCustomer) + "/ZelFacTest_Eu4K", "");
    Put(kItems[2]);
    ExpectItem(kItems[2], Fault::None);
    ExpectRebuild();
    ExpectSupervisor("13", "ret=0");
    SecondUpdateTest::ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
}

TEST_F(OemImport, AFailedItemIsNotMadeGoodByIt) {
    script.PutFile(std::string(kCustomer) + "/ZelFacTest_Eu4K", "");
    Put(kItems[2]);
    ExpectItem(kItems[2], Fault::Check);
    ExpectRebuild();
    ExpectSupervisor("13", "ret=0");
    SecondUpdateTest::ExpectRebuild();
    Run();
    ExpectOutcome(2, "hdcp22 Err;");
}

TEST_F(OemImport, AnAnswerWithoutSuccessIsNamedOnly) {
    ExpectSupervisor("13", "ret=1");
    SecondUpdateTest::ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "oem1 Err;");
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateImport ", " strstr ret!=0 fail\n")) << m_output;
}

TEST_F(OemImport, AnswersAreReadUpTo256Bytes) {
    const std::string late = std::string(252, 'x') + "ret=0";
    ExpectSupervisor("13", late.c_str());
    SecondUpdateTest::ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "oem1 Err;");
    const std::string early = std::string(251, 'x') + "ret=0";
    m_strSecondUpdateMessage.Set("");
    ExpectSupervisor("13", early.c_str());
    SecondUpdateTest::ExpectRebuild();
    ExpectLeds();
    Run();
    ExpectOutcome(1, "");
}

TEST_F(OemImport, AMarkerThatIsGoneIsSuccessAndFailure) {
    ExpectSupervisor("13", nullptr);
    SecondUpdateTest::ExpectRebuild();
    Run();
    ExpectOutcome(2, "oem2 Err;");
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateImport ", " fopen /var/run/.superwatch13 fail\n")) << m_output;
}

TEST_F(OemImport, NothingThatTheShellCanDo) {
    script.Expect("system touch /var/run/.superwatch13").Returns(kExit1);
    script.Expect("system echo 13 > /var/run/superwatch").Returns(-1);
    script.Expect("system rm -rf /var/run/.superwatch13").Returns(9);  // ended by a signal
    SecondUpdateTest::ExpectRebuild();
    Run();
    ExpectOutcome(2, "oem Err;oem3 Err;");
    for (const char* const line :
         {" touch .superwatch13 fail\n", " echo 13 > /var/run/superwatch fail\n", " rm .superwatch13 fail\n"}) {
        EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdateImport ", line)) << line;
    }
}

TEST_F(OemImport, AFailedMarkerDoesNotKeepTheRequestBack) {
    script.Expect("system touch /var/run/.superwatch13").Returns(kExit1);
    script.Expect("system echo 13 > /var/run/superwatch").Then([this] {
        script.PutFile("/var/run/.superwatch13", "ret=0");
    });
    script.Expect("delay-seconds 6");
    script.Expect("sync");
    script.Expect("system rm -rf /var/run/.superwatch13");
    script.Expect("sync");
    SecondUpdateTest::ExpectRebuild();
    Run();
    ExpectOutcome(2, "oem Err;");
}

}  // namespace
