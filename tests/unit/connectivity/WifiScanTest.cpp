#include <cerrno>
#include <cstring>
#include <regex>

#include "UartManager/UartManager.h"
#include "connectivity/RadioScan.h"
#include "model/ModelKeys.h"
#include "scripted/Script.h"

namespace {

namespace key = zel::key;

class WifiScan : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
        ASSERT_NE(m_manager, nullptr);
    }

    zel::RadioScan& Scan() { return *m_manager->m_radioScan; }

    void ExpectSearch(std::int32_t accessPoints) {
        script.ExpectSet(key::kAccessPointSearch, 1);
        script.Expect("delay 100000");
        script.ExpectGet(key::kAccessPointCount, accessPoints);
    }
    void ExpectRound(const std::vector<std::int32_t>& signals) {
        ExpectSearch(static_cast<std::int32_t>(signals.size()));
        script.ExpectGetVector(key::kAccessPointSignal, signals);
    }
    void ExpectStop() { script.ExpectSet(key::kAccessPointSearch, 0); }

    UartManager* m_manager = nullptr;
    std::string m_output;
};

// ---- The start ------------------------------------------------------------------------------------------------

TEST_F(WifiScan, StartsItsThread) {
    script.Expect("start-thread");
    script.CaptureOutput();
    m_manager->ZelWifiScan();
    EXPECT_EQ(script.Output(), "");
    EXPECT_EQ(script.PendingThreads(), 1u);
    EXPECT_EQ(Scan().fWifiScanning, 0) << "the thread says when it scans";
}

TEST_F(WifiScan, AThreadThatCannotBeMadeIsReported) {
    script.Expect("start-thread").Returns(EAGAIN);
    script.CaptureOutput();
    m_manager->ZelWifiScan();
    EXPECT_TRUE(std::regex_match(
        script.Output(), std::regex(R"(\[PTHREAD\] \./src/UartManager: [1-9][0-9]*: )"
                                    R"(pthread_create\(&m_threadWifiScan, &attr, ZelWifiScanThread, this\): )" +
                                    std::string(strerror(EAGAIN)) + "\n ZelWifiScan [1-9][0-9]* \n")));
}

TEST_F(WifiScan, AnErrorThatTheWrappersReportedIsNotReportedAgain) {
    script.Expect("start-thread").Returns(110);
    script.CaptureOutput();
    m_manager->ZelWifiScan();
    EXPECT_EQ(script.Output(), "");
}

// ---- One round ------------------------------------------------------------------------------------------------

class WifiRound : public WifiScan {
  protected:
    void SetUp() override {
        WifiScan::SetUp();
        Scan().fWifiScanning = 1;
    }
    void Run() {
        script.CaptureOutput();
        m_manager->RunWifiScanRound();
        m_output = script.Output();
    }
};

TEST_F(WifiRound, WithoutAccessPointIsNotCounted) {
    m_u8WifiScanTestAPCount = 2;
    Scan().m_u32WifiLevel = 5;
    ExpectSearch(0);
    Run();
    EXPECT_EQ(m_output, "wifidevice:0 APCount:2 m_u32WifiLevel:5\n");
    EXPECT_EQ(m_u8WifiScanTestAPCount, 2);
    EXPECT_EQ(Scan().fWifiScanning, 1);
}

TEST_F(WifiRound, ANegativeCountIsNone) {
    ExpectSearch(-1);
    Run();
    EXPECT_EQ(m_output, "wifidevice:-1 APCount:0 m_u32WifiLevel:0\n");
}

TEST_F(WifiRound, KeepsTheStrongestSignal) {
    ExpectRound({10, 29, -70, 3});
    Run();
    EXPECT_EQ(m_output, "wifidevice:4 APCount:1 m_u32WifiLevel:29\n");
    EXPECT_EQ(Scan().fWifiScanning, 1);
    ExpectRound({5});
    Run();
    EXPECT_EQ(m_output, "wifidevice:1 APCount:2 m_u32WifiLevel:29\n");
}

// The two are read one after the other, and access points come and go.
TEST_F(WifiRound, SignalsAndCountMayDiffer) {
    ExpectSearch(3);
    script.ExpectGetVector(key::kAccessPointSignal, {12});
    Run();
    EXPECT_EQ(m_output, "wifidevice:3 APCount:1 m_u32WifiLevel:12\n");
    ExpectSearch(1);
    script.ExpectGetVector(key::kAccessPointSignal, {3, 4, 20});
    Run();
    EXPECT_EQ(m_output, "wifidevice:1 APCount:2 m_u32WifiLevel:20\n");
    ExpectSearch(2);
    script.ExpectGetVector(key::kAccessPointSignal, {});
    Run();
    EXPECT_EQ(m_output, "wifidevice:2 APCount:3 m_u32WifiLevel:20\n");
}

TEST_F(WifiRound, ASignalAbove29EndsTheScan) {
    ExpectRound({30});
    ExpectStop();
    Run();
    EXPECT_EQ(m_output, "wifidevice:1 APCount:1 m_u32WifiLevel:30\n");
    EXPECT_EQ(Scan().fWifiScanning, 0);
}

TEST_F(WifiRound, TheLevelIsCappedAt99) {
    ExpectRound({40, 120, 7});
    ExpectStop();
    Run();
    EXPECT_EQ(m_output, "wifidevice:3 APCount:1 m_u32WifiLevel:99\n");
    EXPECT_EQ(Scan().m_u32WifiLevel, 99u);
}

TEST_F(WifiRound, TheThirtiethGoesOnAndTheThirtyFirstEndsTheScan) {
    m_u8WifiScanTestAPCount = 29;
    ExpectRound({1});
    Run();
    EXPECT_EQ(m_u8WifiScanTestAPCount, 30);
    EXPECT_EQ(Scan().fWifiScanning, 1);
    ExpectRound({1});
    ExpectStop();
    Run();
    EXPECT_EQ(m_u8WifiScanTestAPCount, 31);
    EXPECT_EQ(Scan().fWifiScanning, 0);
}

TEST_F(WifiRound, BothReasonsStopItTwice) {
    m_u8WifiScanTestAPCount = 30;
    ExpectRound({50});
    ExpectStop();
    ExpectStop();
    Run();
    EXPECT_EQ(Scan().fWifiScanning, 0);
}

TEST_F(WifiRound, ModelFailuresArePassedOver) {
    script.ExpectModelFailure();  // start
    script.Expect("delay 100000");
    script.ExpectModelFailure();  // count
    Run();
    EXPECT_EQ(m_output,
              "Start biz proxy failed, ret = 1\nStart biz proxy failed, ret = 1\n"
              "wifidevice:0 APCount:0 m_u32WifiLevel:0\n");
    ExpectSearch(2);
    script.ExpectModelFailure();  // signals
    Run();
    EXPECT_EQ(m_output, "Start biz proxy failed, ret = 1\nwifidevice:2 APCount:1 m_u32WifiLevel:0\n");
}

// ---- The thread -----------------------------------------------------------------------------------------------

class WifiScanThread : public WifiScan {
  protected:
    void Run() {
        script.CaptureOutput();
        EXPECT_EQ(UartManager::ZelWifiScanThread(m_manager), nullptr);
        m_output = script.Output();
    }
    bool Printed(const std::string& text) { return m_output.find(text) != std::string::npos; }
    void ExpectEnd() {
        EXPECT_TRUE(std::regex_search(
            m_output, std::regex("\n ZelWifiScanThread [1-9][0-9]* pthread_exit ZelWifiScanThread\n$")))
            << m_output;
    }
    void ExpectBluetooth(std::int32_t devices) {
        script.ExpectSet(key::kAccessPointSearch, 0);
        script.ExpectGet(key::kBluetoothStatus, 0);
        script.ExpectInvoke(key::kBluetoothSearchStart);
        script.ExpectGetTexts(key::kBluetoothDeviceName, {});
        for (int look = 0; look < (devices > 0 ? 1 : 4); ++look) {
            script.Expect("delay-seconds 2");
            script.ExpectGetTexts(key::kBluetoothDeviceName, {});
            script.ExpectGet(key::kBluetoothDeviceCount, devices);
        }
        script.ExpectInvoke(key::kBluetoothSearchStop);
        if (devices > 0) {
            script.ExpectInvoke(key::kBluetoothDisable);
        }
    }
};

TEST_F(WifiScanThread, ASetWithoutBluetoothSearchesWifiOnly) {
    script.ExpectGetTexts(key::kBluetoothSupport, {"1", "0", "1", "1"}).Then([this] {
        EXPECT_EQ(Scan().fWifiScanning, 1);
    });
    ExpectSearch(0);
    script.Expect("delay-seconds 5");
    ExpectRound({44});
    ExpectStop();
    Run();
    EXPECT_EQ(script.ThreadName(), "ZelWifiScan Task");
    EXPECT_TRUE(
        Printed("=======iVetorBluetoothSupport[0]:1 [1]:0 [2]:1 [3]:1=======\n"
                "wifidevice:0 APCount:0 m_u32WifiLevel:0\n"
                "wifi:0 bt:0 wificount:0 btcount:0\nfWifiScanning:1 fBTSearching:0\n"
                "wifidevice:1 APCount:1 m_u32WifiLevel:44\n"
                "wifi:44 bt:0 wificount:1 btcount:0\nfWifiScanning:0 fBTSearching:0\n"))
        << m_output;
    ExpectEnd();
}

TEST_F(WifiScanThread, WithoutBluetoothAnotherThreadsSearchIsNotWaitedFor) {
    Scan().fBTSearching = 1;
    script.ExpectGetTexts(key::kBluetoothSupport, {"", "", "", ""});
    ExpectRound({44});
    ExpectStop();
    Run();
    EXPECT_TRUE(Printed("fWifiScanning:0 fBTSearching:1\n"));
    ExpectEnd();
}

TEST_F(WifiScanThread, SearchesBothAndEnds) {
    script.ExpectGetTexts(key::kBluetoothSupport, {"0", "1x", "a", "b", "more"});
    ExpectRound({44});
    ExpectStop();
    ExpectBluetooth(2);
    Run();
    EXPECT_TRUE(Printed("=======iVetorBluetoothSupport[0]:0 [1]:1x [2]:a [3]:b=======\n"));
    EXPECT_TRUE(Printed("wifi:44 bt:2 wificount:1 btcount:1\nfWifiScanning:0 fBTSearching:0\n"));
    ExpectEnd();
}

TEST_F(WifiScanThread, AfterTheDeviceOnlyWifiGoesOn) {
    script.ExpectGetTexts(key::kBluetoothSupport, {"0", "1", "", ""});
    ExpectRound({4});
    ExpectBluetooth(1);
    script.Expect("delay-seconds 5");
    ExpectRound({30});
    ExpectStop();
    Run();
    EXPECT_TRUE(Printed("wifi:30 bt:1 wificount:2 btcount:1\nfWifiScanning:0 fBTSearching:0\n"));
}

TEST_F(WifiScanThread, VainSearchesFollowWithoutPauseUntilTheFourth) {
    script.ExpectGetTexts(key::kBluetoothSupport, {"0", "1", "", ""});
    for (int attempt = 1; attempt <= 4; ++attempt) {
        ExpectSearch(0);
        ExpectBluetooth(0);
    }
    script.Expect("delay-seconds 5");
    ExpectRound({60});
    ExpectStop();
    Run();
    EXPECT_TRUE(Printed("wifi:0 bt:0 wificount:0 btcount:3\nfWifiScanning:1 fBTSearching:1\n"));
    EXPECT_TRUE(Printed("wifi:0 bt:0 wificount:0 btcount:4\nfWifiScanning:1 fBTSearching:0\n"));
    EXPECT_EQ(m_u8BTScanTestAPCount, 4);
    EXPECT_EQ(Scan().fBTSearching, 0);
    ExpectEnd();
}

TEST_F(WifiScanThread, ASearchOfTheLinesIsLookedAfterInSteps) {
    m_u8WifiScanTestAPCount = 30;
    m_u8BTScanTestAPCount = 4;
    Scan().fBTSearching = 1;
    script.ExpectGetTexts(key::kBluetoothSupport, {"0", "1", "", ""});
    script.Expect("delay 100000").Times(92);
    script.Expect("delay 100000").Then([this] { Scan().fBTSearching = 0; });
    script.Expect("delay-seconds 5").Then([this] { Scan().fWifiScanning = 0; });
    Run();
    ExpectEnd();
}

TEST_F(WifiScanThread, AnUnreadableSupportListIsASetWithoutBluetooth) {
    script.ExpectModelFailure();
    ExpectRound({44});
    ExpectStop();
    Run();
    EXPECT_TRUE(std::regex_search(
        m_output, std::regex(R"(ret = 1\n ZelWifiScanThread [1-9][0-9]* fail\n)"
                             R"(=======iVetorBluetoothSupport\[0\]: \[1\]: \[2\]: \[3\]:=======\n)")))
        << m_output;
    ExpectEnd();
}

TEST_F(WifiScanThread, AShortSupportListIsReadAsFarAsItGoes) {
    script.ExpectGetTexts(key::kBluetoothSupport, {"1"});
    ExpectRound({44});
    ExpectStop();
    Run();
    EXPECT_TRUE(Printed("=======iVetorBluetoothSupport[0]:1 [1]: [2]: [3]:=======\n"));
}

TEST_F(WifiScanThread, WeakSignalsTurnForeverAfterThirtyRounds) {
    script.ExpectGetTexts(key::kBluetoothSupport, {});
    for (int round = 1; round <= 30; ++round) {
        ExpectRound({29});
        script.Expect("delay-seconds 5");
    }
    script.Expect("delay-seconds 5").Times(4);
    // Nothing ends it but the end of the process, or here another hand.
    script.Expect("delay-seconds 5").Then([this] { Scan().fWifiScanning = 0; });
    Run();
    EXPECT_EQ(m_u8WifiScanTestAPCount, 30);
    EXPECT_TRUE(
        Printed("wifi:29 bt:0 wificount:30 btcount:0\nfWifiScanning:1 fBTSearching:0\n"
                "wifi:29 bt:0 wificount:30 btcount:0\nfWifiScanning:1 fBTSearching:0\n"))
        << m_output;
}

TEST_F(WifiScanThread, RunsWhatWasStarted) {
    script.Expect("start-thread");
    m_manager->ZelWifiScan();
    script.ExpectGetTexts(key::kBluetoothSupport, {});
    ExpectRound({99});
    ExpectStop();
    script.CaptureOutput();
    script.RunThread();
    m_output = script.Output();
    ExpectEnd();
    EXPECT_EQ(Scan().m_u32WifiLevel, 99u);
}

}  // namespace
