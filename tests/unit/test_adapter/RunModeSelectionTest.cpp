#include <gtest/gtest.h>

#include "scripted/Script.h"
#include "test_adapter/RunModeSelection.h"

namespace {

class RunModeSelectionTest : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
        m_manager->SetRunMode(9);
        script.CaptureOutput();
        script.PutFile("/proc/mounts", "");
    }
    void TearDown() override {
        script.Output();
        Test::TearDown();
    }

    void ExpectMode(const std::string& value) { script.Expect("flash.get ZelFacMode").Text(value); }
    void ExpectListing() {
        script.Expect("system ps");
        script.Expect("system ps -aux | grep ZelFacTest_Eu4K");
    }
    void ExpectTurnedIntoUsbUpdate() {
        script.Expect("flash.set ZelFacMode=0");
        script.Expect("sync");
    }
    void PlugStick() {
        script.PutFile("/proc/mounts", "/dev/shm/shm_tmp/vu_sda1 /mnt/usb/sda1 vfat rw 0 0\n");
        script.MakeFolder("/mnt/usb/sda1");
    }

    // The mode that is selected: 0 to 3, 9 when none was set.
    int Selected() {
        SelectRunMode(*m_manager);
        for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{1, 2, 3}) {
            if ((mode == 1 && m_manager->IsFactoryMode()) || (mode == 2 && m_manager->IsAgingMode()) ||
                (mode == 3 && m_manager->IsUsbUpdateMode())) {
                return mode;
            }
        }
        return 0;
    }

    UartManager* m_manager = nullptr;
};

TEST_F(RunModeSelectionTest, EmptyIsNoModeWithoutAListing) {
    ExpectMode("");
    EXPECT_EQ(Selected(), 0);
    EXPECT_EQ(script.Output(), "=========ZEL_FACMODE:=========\n");
    script.CaptureOutput();
}

TEST_F(RunModeSelectionTest, AFailedReadIsNoMode) {
    script.Expect("flash.get ZelFacMode").Returns(1);
    EXPECT_EQ(Selected(), 0);
}

TEST_F(RunModeSelectionTest, FirstCharacterDecides) {
    const std::vector<std::pair<std::string, int>> modes = {{"1", 1},  {"3", 3},  {"0", 0},  {"4", 0},
                                                            {"1x", 1}, {"31", 3}, {" 1", 0}, {"x", 0}};
    for (const auto& [value, mode] : modes) {
        ExpectMode(value);
        ExpectListing();
        EXPECT_EQ(Selected(), mode) << value;
    }
}

TEST_F(RunModeSelectionTest, TheListingStandsBetweenItsLines) {
    ExpectMode("1");
    ExpectListing();
    Selected();
    EXPECT_EQ(script.Output(),
              "=========ZEL_FACMODE:1=========\n"
              "==================ps start=====================\n"
              "===============================================\n"
              "==================ps end=======================\n");
    script.CaptureOutput();
}

TEST_F(RunModeSelectionTest, AgingWithoutAStick) {
    ExpectMode("2");
    ExpectListing();
    EXPECT_EQ(Selected(), 2);
}

TEST_F(RunModeSelectionTest, AgingWithAnOrdinaryStick) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/holiday.jpg", "x");
    ExpectMode("2");
    ExpectListing();
    EXPECT_EQ(Selected(), 2);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithACustomerFolder) {
    PlugStick();
    script.MakeFolder("/mnt/usb/sda1/RW9602CustomerFile");  // searched in vain is enough
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    EXPECT_EQ(Selected(), 3);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithACopyFolder) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/CopyRW9602CustomerFile/CONFIG.bin", "x");
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    EXPECT_EQ(Selected(), 3);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithOemData) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/OEM_data.bin", "x");
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    EXPECT_EQ(Selected(), 3);
}

}  // namespace
