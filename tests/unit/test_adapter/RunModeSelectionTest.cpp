#include <gtest/gtest.h>

#include "scripted/Script.h"
#include "test_adapter/RunModeSelection.h"

using zel::RunMode;

namespace {

class RunModeSelectionTest : public scripted::Test {
  protected:
    void SetUp() override {
        Test::SetUp();
        m_manager = UartManager::GetInstance();
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

    // Runs the selection and holds the mode that it sets against `mode`. Before it there is another one, so that a
    // selection that sets none is seen.
    void ExpectSelected(zel::RunMode mode, const std::string& value = "") {
        m_manager->SetRunMode(mode == zel::RunMode::None ? zel::RunMode::Aging : zel::RunMode::None);
        SelectRunMode(*m_manager);
        EXPECT_EQ(m_manager->GetRunMode(), mode) << value;
    }

    UartManager* m_manager = nullptr;
};

TEST_F(RunModeSelectionTest, EmptyIsNoModeWithoutAListing) {
    ExpectMode("");
    ExpectSelected(RunMode::None);
    EXPECT_EQ(script.Output(), "=========ZEL_FACMODE:=========\n");
    script.CaptureOutput();
}

TEST_F(RunModeSelectionTest, AFailedReadIsNoMode) {
    script.Expect("flash.get ZelFacMode").Returns(1);
    ExpectSelected(RunMode::None);
}

TEST_F(RunModeSelectionTest, FirstCharacterDecides) {
    const std::vector<std::pair<std::string, RunMode>> modes = {
        {"1", RunMode::Factory},  {"3", RunMode::UsbUpdate},  {"0", RunMode::None},  {"4", RunMode::None},
        {"1x", RunMode::Factory}, {"31", RunMode::UsbUpdate}, {" 1", RunMode::None}, {"x", RunMode::None}};
    for (const auto& [value, mode] : modes) {
        ExpectMode(value);
        ExpectListing();
        ExpectSelected(mode, value);
    }
}

TEST_F(RunModeSelectionTest, TheListingStandsBetweenItsLines) {
    ExpectMode("1");
    ExpectListing();
    ExpectSelected(RunMode::Factory);
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
    ExpectSelected(RunMode::Aging);
}

TEST_F(RunModeSelectionTest, AgingWithAnOrdinaryStick) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/holiday.jpg", "x");
    ExpectMode("2");
    ExpectListing();
    ExpectSelected(RunMode::Aging);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithACustomerFolder) {
    PlugStick();
    script.MakeFolder("/mnt/usb/sda1/RW9602CustomerFile");  // searched in vain is enough
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    ExpectSelected(RunMode::UsbUpdate);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithACopyFolder) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/CopyRW9602CustomerFile/CONFIG.bin", "x");
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    ExpectSelected(RunMode::UsbUpdate);
}

TEST_F(RunModeSelectionTest, UsbUpdateWithOemData) {
    PlugStick();
    script.PutFile("/mnt/usb/sda1/OEM_data.bin", "x");
    ExpectMode("2");
    ExpectListing();
    ExpectTurnedIntoUsbUpdate();
    ExpectSelected(RunMode::UsbUpdate);
}

}  // namespace
