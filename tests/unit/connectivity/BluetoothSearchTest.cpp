#include <regex>

#include "UartManager/UartManager.h"
#include "connectivity/RadioScan.h"
#include "model/ModelKeys.h"
#include "scripted/Script.h"

namespace {

namespace key = zel::key;

class BluetoothSearch : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
        ASSERT_NE(m_manager, nullptr);
    }

    void Run() {
        script.CaptureOutput();
        m_manager->ZelBTSearchAP();
        m_output = script.Output();
    }

    void ExpectBegin(std::int32_t status) {
        script.ExpectSet(key::kAccessPointSearch, 0);
        script.ExpectGet(key::kBluetoothStatus, status);
        if (status != 0) {
            script.ExpectInvoke(key::kBluetoothEnable);
        }
        script.ExpectInvoke(key::kBluetoothSearchStart);
        script.ExpectGetTexts(key::kBluetoothDeviceName, {});
    }

    void ExpectLook(std::int32_t devices) {
        script.Expect("delay-seconds 2");
        script.ExpectGetTexts(key::kBluetoothDeviceName, {"phone"});
        script.ExpectGet(key::kBluetoothDeviceCount, devices);
    }

    UartManager* m_manager = nullptr;
    std::string m_output;
};

TEST_F(BluetoothSearch, ADeviceAtOnceSwitchesBluetoothOffAgain) {
    ExpectBegin(1);
    ExpectLook(3);
    script.ExpectInvoke(key::kBluetoothSearchStop);
    script.ExpectInvoke(key::kBluetoothDisable);
    Run();
    EXPECT_EQ(m_output,
              "======SL2_TVAPI_I32_BLUETOOTH_ENUM_STATUS:1,off:1,on:0\n"
              "whileCount:1 i32BTDeviceCount:3\n");
    EXPECT_EQ(m_manager->m_radioScan->m_u32BTDeviceCount, 3u);
    EXPECT_EQ(m_manager->m_radioScan->fBTSearching, 0);
    EXPECT_EQ(m_u8BTScanTestAPCount, 1);
}

TEST_F(BluetoothSearch, ARadioThatIsOnIsNotSwitchedOn) {
    ExpectBegin(0);
    ExpectLook(0);
    ExpectLook(1);
    script.ExpectInvoke(key::kBluetoothSearchStop);
    script.ExpectInvoke(key::kBluetoothDisable);
    Run();
    EXPECT_EQ(m_output,
              "======SL2_TVAPI_I32_BLUETOOTH_ENUM_STATUS:0,off:1,on:0\n"
              "whileCount:2 i32BTDeviceCount:1\n");
}

TEST_F(BluetoothSearch, SearchingIsMarkedWhileItGoesOn) {
    script.ExpectSet(key::kAccessPointSearch, 0).Then([this] {
        EXPECT_EQ(m_manager->m_radioScan->fBTSearching, 1);
        EXPECT_EQ(m_u8BTScanTestAPCount, 1);
    });
    script.ExpectGet(key::kBluetoothStatus, 0);
    script.ExpectInvoke(key::kBluetoothSearchStart);
    script.ExpectGetTexts(key::kBluetoothDeviceName, {});
    ExpectLook(1);
    script.ExpectInvoke(key::kBluetoothSearchStop).Then([this] {
        EXPECT_EQ(m_manager->m_radioScan->fBTSearching, 1);
    });
    script.ExpectInvoke(key::kBluetoothDisable).Then([this] {
        EXPECT_EQ(m_manager->m_radioScan->fBTSearching, 0);
    });
    Run();
}

TEST_F(BluetoothSearch, NothingFoundLeavesItSearchingUntilTheFourthAttempt) {
    m_manager->m_radioScan->m_u32BTDeviceCount = 0;
    for (int attempt = 1; attempt <= 5; ++attempt) {
        ExpectBegin(attempt == 1 ? 1 : 0);
        for (int look = 0; look < 4; ++look) {
            ExpectLook(0);
        }
        script.ExpectInvoke(key::kBluetoothSearchStop);
        Run();
        EXPECT_NE(m_output.find("whileCount:4 i32BTDeviceCount:0\n"), std::string::npos) << m_output;
        EXPECT_EQ(m_u8BTScanTestAPCount, attempt);
        EXPECT_EQ(m_manager->m_radioScan->fBTSearching, attempt < 4 ? 1 : 0) << "attempt " << attempt;
        script.Verify();
    }
    EXPECT_EQ(m_manager->m_radioScan->m_u32BTDeviceCount, 0u);
}

TEST_F(BluetoothSearch, AVainSearchKeepsTheFormerCount) {
    m_manager->m_radioScan->m_u32BTDeviceCount = 6;
    ExpectBegin(0);
    for (int look = 0; look < 4; ++look) {
        ExpectLook(0);
    }
    script.ExpectInvoke(key::kBluetoothSearchStop);
    Run();
    EXPECT_EQ(m_manager->m_radioScan->m_u32BTDeviceCount, 6u);
}

TEST_F(BluetoothSearch, EveryFailureIsPrintedAndPassedOver) {
    script.ExpectModelFailure();  // stop of the Wi-Fi search
    script.ExpectGet(key::kBluetoothStatus, 1);
    script.ExpectModelFailure();  // enable
    script.ExpectModelFailure();  // start
    script.ExpectModelFailure();  // names
    for (int look = 0; look < 3; ++look) {
        script.Expect("delay-seconds 2");
        script.ExpectModelFailure();  // names
        script.ExpectModelFailure();  // count
    }
    ExpectLook(2);
    script.ExpectModelFailure();  // stop
    script.ExpectModelFailure();  // disable
    Run();
    const std::string fail = "Start biz proxy failed, ret = 1\n ZelBTSearchAP [1-9][0-9]* fail\n";
    EXPECT_TRUE(
        std::regex_match(m_output, std::regex(fail + "======SL2_TVAPI_I32_BLUETOOTH_ENUM_STATUS:1,off:1,on:0\n(" +
                                              fail + "){9}whileCount:4 i32BTDeviceCount:2\n(" + fail + "){2}")))
        << m_output;
    EXPECT_EQ(m_manager->m_radioScan->m_u32BTDeviceCount, 2u);
}

TEST_F(BluetoothSearch, AStatusThatCannotBeReadCountsAsOn) {
    script.ExpectSet(key::kAccessPointSearch, 0);
    script.ExpectModelFailure();
    script.ExpectInvoke(key::kBluetoothSearchStart);
    script.ExpectGetTexts(key::kBluetoothDeviceName, {});
    ExpectLook(1);
    script.ExpectInvoke(key::kBluetoothSearchStop);
    script.ExpectInvoke(key::kBluetoothDisable);
    Run();
    EXPECT_NE(m_output.find("ENUM_STATUS:0,off:1,on:0\n"), std::string::npos) << m_output;
}

class DeviceNames : public BluetoothSearch {
  protected:
    std::int32_t RunIt() {
        script.CaptureOutput();
        const std::int32_t result = m_manager->ZelSearchBtDevice();
        m_output = script.Output();
        return result;
    }
    void ExpectInterfaceText(int status) {
        EXPECT_TRUE(
            std::regex_match(m_output, std::regex("getInterfaceReference failed, ZelSearchBtDevice [1-9][0-9]* "
                                                  "ret = " +
                                                  std::to_string(status) + "\n")))
            << m_output;
    }
};

TEST_F(DeviceNames, AreReadWithTheSearchObserver) {
    script.ExpectConnect(key::kBluetoothDeviceName);
    script.Expect(std::string("get ") + key::kBluetoothDeviceName).Texts({"a"}).Then([this] {
        script.Observer<vumodelapi::ObserverVectorString>(key::kBluetoothDeviceName).notifyStringVector({"a"});
    });
    script.ExpectSettled(key::kBluetoothDeviceName);
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "notifyStringVector \n\n========notifyStringVector======i:1\n");
}

TEST_F(DeviceNames, Failures) {
    script.Expect("proxy").Returns(3);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "Start biz proxy failed, ret = 3\n");
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(4);
    EXPECT_EQ(RunIt(), -1);
    ExpectInterfaceText(4);
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "pRootInterface is NULL\n");
    script.ExpectConnect(key::kBluetoothDeviceName).Returns(5);
    EXPECT_EQ(RunIt(), -1);
    ExpectInterfaceText(5);
    script.ExpectConnect(key::kBluetoothDeviceName);
    script.Expect(std::string("get ") + key::kBluetoothDeviceName).Returns(6);
    EXPECT_EQ(RunIt(), -1);
    ExpectInterfaceText(6);
}

}  // namespace
