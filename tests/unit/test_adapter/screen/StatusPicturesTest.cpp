#include <gtest/gtest.h>

#include "test_adapter/screen/RecordingCanvas.h"
#include "test_adapter/screen/StatusPictures.h"

using shell::Words;
using zel::RunMode;

namespace {

const std::string kWhite = " 252,252,252,255";
const std::string kRed = " 252,0,0,255";
const std::string kGreen = " 0,252,0,255";
const std::string kClear = "fill 0,0,0,0";

std::string TwoLines(const std::string& first, const std::string& second, const std::string& color) {
    return kClear + " | " + first + "@1,1" + color + " | " + second + "@1,2" + color;
}

TEST(StatusPictures, First) {
    EXPECT_EQ(Words(zel::FirstPicture(RunMode::Factory, "SN1", "PASS")),
              TwoLines("PCB SN     : SN1", "Test Result: PASS", kWhite));
    EXPECT_EQ(Words(zel::FirstPicture(RunMode::Aging, "", "")), kClear + " | Aging Mode@1,2" + kWhite);
    EXPECT_EQ(Words(zel::FirstPicture(RunMode::UsbUpdate, "", "")), TwoLines("Writing...", " ", kRed));
    EXPECT_EQ(Words(zel::FirstPicture(RunMode::None, "", "")), kClear);
}

TEST(StatusPictures, FactoryWithoutRecords) {
    EXPECT_EQ(Words(zel::FactoryPicture("", "")), TwoLines("PCB SN     : ", "Test Result: ", kWhite));
}

TEST(StatusPictures, UsbStatus) {
    const std::string check = "Please check the files of the USB";
    EXPECT_EQ(Words(zel::UsbPicture(0, "mac;")), TwoLines("Update NG,mac;", check, kRed));
    EXPECT_EQ(Words(zel::UsbPicture(1, "mac;")),
              TwoLines("Update Config OK", "Please unplug the USB and reboot to take effect", kGreen));
    EXPECT_EQ(Words(zel::UsbPicture(2, "mac Err;")), TwoLines("Update NG:mac Err;", check, kRed));
    EXPECT_EQ(Words(zel::UsbPicture(3, "oem;")),
              TwoLines("Copy Config OK", "Please unplug the USB and reboot", kGreen));
    EXPECT_EQ(Words(zel::UsbPicture(4, "oem;")),
              TwoLines("Copy NG:oem;", "Please check the config of the TV", kRed));
    EXPECT_EQ(Words(zel::UsbPicture(7, "x")), TwoLines("Update NG", check, kRed));
    EXPECT_EQ(Words(zel::UsbPicture(-1, "x")), TwoLines("Update NG", check, kRed));
}

TEST(StatusPictures, AgingColors) {
    const std::vector<std::string> colors = {"0,0,0,255", "0,0,255,255", "0,255,0,255", "255,0,0,255",
                                             "255,250,250,255"};
    ASSERT_EQ(colors.size(), zel::kAgingColorCount);
    for (std::uint32_t step = 0; step < zel::kAgingColorCount; ++step) {
        EXPECT_EQ(Words(zel::AgingPicture(step)), "fill " + colors[step]);
    }
}

TEST(StatusPictures, ManagerLine) {
    EXPECT_EQ(Words(zel::ManagerLinePicture(false, "line\r\n")), "band 5 0,0,60,160 | line@0,5 180,200,255,255");
    EXPECT_EQ(Words(zel::ManagerLinePicture(true, "line\r\n")), "fill 255,255,255,255 | line@0,5 180,200,255,255");
}

TEST(StatusPictures, LinesAreCutAt127Bytes) {
    const std::string label = "PCB SN     : ";
    const zel::Picture picture = zel::FactoryPicture(std::string(300, 'x'), std::string(300, 'y'));
    EXPECT_EQ(picture.texts[0].text, label + std::string(127 - label.size(), 'x'));
    EXPECT_EQ(picture.texts[1].text.size(), 127U);
    EXPECT_EQ(zel::ManagerLinePicture(false, std::string(128, 'z')).texts[0].text, std::string(127, 'z'));
}

}  // namespace
