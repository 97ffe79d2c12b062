#include "test_adapter/screen/StatusPictures.h"

#include <array>
#include <cstdio>

#include "provisioning/usb/SecondUpdate.h"
#include "test_adapter/screen/ScreenText.h"

namespace zel {
namespace {

constexpr Color kWhite{252, 252, 252, 255};
constexpr Color kRed{252, 0, 0, 255};
constexpr Color kGreen{0, 252, 0, 255};
constexpr Color kNothing{0, 0, 0, 0};  // lets the television's picture through

constexpr std::int32_t kTextColumn = 1;
constexpr std::int32_t kManagerRow = 5;

std::string Labelled(const char* label, const std::string& text) {
    char line[kScreenTextLimit + 1] = {};
    std::snprintf(line, sizeof line, "%s%s", label, text.c_str());
    return line;
}

Picture TwoLines(const std::string& first, const std::string& second, Color color) {
    Picture picture;
    picture.background = kNothing;
    picture.texts = {{ScreenText(first), kTextColumn, 1, color}, {ScreenText(second), kTextColumn, 2, color}};
    return picture;
}

}  // namespace

Picture FirstPicture(RunMode mode, const std::string& pcbSn, const std::string& testResult) {
    Picture picture;
    picture.background = kNothing;
    switch (mode) {
        case RunMode::Factory:
            return FactoryPicture(pcbSn, testResult);
        case RunMode::Aging:
            picture.texts = {{"Aging Mode", kTextColumn, 2, kWhite}};
            return picture;
        case RunMode::UsbUpdate:
            return TwoLines("Writing...", " ", kRed);
        case RunMode::None:
            break;
    }
    return picture;
}

Picture FactoryPicture(const std::string& pcbSn, const std::string& testResult) {
    return TwoLines(Labelled("PCB SN     : ", pcbSn), Labelled("Test Result: ", testResult), kWhite);
}

Picture UsbPicture(std::int32_t status, const std::string& message) {
    constexpr const char* kCheckFiles = "Please check the files of the USB";
    switch (status) {
        case NothingUsable:
            return TwoLines(Labelled("Update NG,", message), kCheckFiles, kRed);
        case ImportDone:
            return TwoLines("Update Config OK", "Please unplug the USB and reboot to take effect", kGreen);
        case ImportErrors:
            return TwoLines(Labelled("Update NG:", message), kCheckFiles, kRed);
        case ExportDone:
            return TwoLines("Copy Config OK", "Please unplug the USB and reboot", kGreen);
        case ExportErrors:
            return TwoLines(Labelled("Copy NG:", message), "Please check the config of the TV", kRed);
        default:
            return TwoLines("Update NG", kCheckFiles, kRed);
    }
}

Picture AgingPicture(std::uint32_t step) {
    constexpr std::array<Color, kAgingColorCount> kColors{
        {{0, 0, 0, 255}, {0, 0, 255, 255}, {0, 255, 0, 255}, {255, 0, 0, 255}, {255, 250, 250, 255}}};
    Picture picture;
    picture.background = kColors[step % kAgingColorCount];
    return picture;
}

Picture ManagerLinePicture(bool aging, const std::string& line) {
    Picture picture;
    if (aging) {
        picture.background = Color{255, 255, 255, 255};
    } else {
        picture.band = PictureBand{kManagerRow, {0, 0, 60, 160}};
    }
    picture.texts = {{ScreenText(line), 0, kManagerRow, {180, 200, 255, 255}}};
    return picture;
}

}  // namespace zel
