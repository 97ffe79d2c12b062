#include "simset/core/Catalogue.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

#include "simset/core/Channels.h"

namespace simset {

namespace {

constexpr bool kKept = true;
constexpr bool kForgotten = false;

// Strictly what a new television of this line would answer; names of rooms follow the dotted paths.
const std::vector<KeyInfo> kCatalogue = {
    {key::kReboot, Kind::kAction, kForgotten, "", ""},
    {key::kGpio, Kind::kAction, kForgotten, "", ""},
    {"tovix.sl2.system.ctrl.led.flicker", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.system.ctrl.led.gpio", Kind::kInteger, kKept, "1", ""},
    {key::kMessageId, Kind::kInteger, kForgotten, "0", ""},
    {"tovix.sl2.i32.basic.settings.tvset.location", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.language.osd", Kind::kInteger, kKept, "0", ""},

    {key::kFactoryReady, Kind::kAction, kForgotten, "", ""},
    {"tovix.sl2.i32.qorfactory.country", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.qorfactory.serialsdata.model.index", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.str.qorfactory.software.version", Kind::kText, kKept, R"("V8-MT9602-LF1V.123.045")", ""},

    {key::kSourceSwitch, Kind::kAction, kForgotten, "", ""},
    {key::kServiceList, Kind::kTable, kKept, "", ""},
    {key::kPresetDatabase, Kind::kAction, kForgotten, "", ""},
    {key::kTunerList, Kind::kTable, kKept, "", ""},

    {"tovix.sl2.common.intf.cam.count.detected", Kind::kInteger, kKept, "0", ""},
    {key::kEncryptKey, Kind::kAction, kForgotten, "", ""},
    {key::kCheckCiPlusKey, Kind::kAction, kForgotten, "", ""},

    {"tovix.sl2.i32.video.backlight", Kind::kInteger, kKept, "80", ""},
    {"tovix.sl2.i32.video.format", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.video.apply.mode", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.video.rgb.only", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.video.factory.testPattern", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.video.factory.picture.mode", Kind::kInteger, kKept, "1", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.brightness", Kind::kInteger, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.contrast", Kind::kInteger, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.colorintensity", Kind::kInteger, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.sharpness", Kind::kInteger, kKept, "10", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.hue", Kind::kInteger, kKept, "50", ""},

    {"tovix.sl2.i32.sound.main.volume", Kind::kInteger, kKept, "30", ""},
    {"tovix.sl2.i32.sound.volume.automatic", Kind::kInteger, kKept, "1", ""},
    {"tovix.sl2.i32.sound.apply.mode", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.sound.headphone.mode", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.sound.headphone.volume", Kind::kInteger, kKept, "30", ""},
    {"tovix.sl2.i32.sound.speaker.arc.mode", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.action.sound.force.speaker.spdif.unmute", Kind::kAction, kForgotten, "", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.100hz", Kind::kInteger, kKept, "4", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.250hz", Kind::kInteger, kKept, "2", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.600hz", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.1khz", Kind::kInteger, kKept, "-1", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.2k5hz", Kind::kInteger, kKept, "0", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.6khz", Kind::kInteger, kKept, "2", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.10khz", Kind::kInteger, kKept, "3", ""},
    {"tovix.sl2.vint32.sound.dts.peq", Kind::kIntegers, kKept, "[0,1,0,0]", ""},
    {"tovix.sl2.vint32.sound.soc.drc", Kind::kIntegers, kKept, "[1,0,0,0]", ""},

    {key::kWiredSet, Kind::kAction, kForgotten, "", ""},
    {key::kIpAddress, Kind::kText, kForgotten, R"("")", R"("192.168.1.57")"},
    {"tovix.sl2.str.network.mac-address-wifi", Kind::kText, kKept, R"("A4:3E:51:0C:7B:92")", ""},
    {key::kAccessPointSearch, Kind::kInteger, kForgotten, "0", ""},
    {key::kAccessPointCount, Kind::kInteger, kForgotten, "0", "3"},
    {key::kAccessPointSignal, Kind::kIntegers, kForgotten, "[]", "[42,78,25]"},
    {"tovix.sl2.vstr.bluetooth.support", Kind::kTexts, kKept, R"(["bt","1","5.0","ble"])", ""},
    {key::kBluetoothStatus, Kind::kInteger, kForgotten, "1", ""},
    {key::kBluetoothDeviceCount, Kind::kInteger, kForgotten, "0", "2"},
    {key::kBluetoothDeviceName, Kind::kTexts, kForgotten, "[]", R"(["LINE-BT-01","LINE-BT-02"])"},
    {key::kBluetoothEnable, Kind::kAction, kForgotten, "", ""},
    {key::kBluetoothDisable, Kind::kAction, kForgotten, "", ""},
    {key::kBluetoothSearchStart, Kind::kAction, kForgotten, "", ""},
    {key::kBluetoothSearchStop, Kind::kAction, kForgotten, "", ""},
};

bool IsInt32(const nlohmann::json& value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>() <= static_cast<std::uint64_t>(Limits::max());
    }
    return value.is_number_integer() && value.get<std::int64_t>() >= Limits::min() &&
           value.get<std::int64_t>() <= Limits::max();
}

bool IsText(const nlohmann::json& value) {
    return value.is_string();
}

template <typename Test>
bool AllOf(const nlohmann::json& value, const Test& test) {
    return value.is_array() && std::all_of(value.begin(), value.end(), test);
}

bool AreRows(const nlohmann::json& value) {
    return AllOf(value, [](const nlohmann::json& row) { return AllOf(row, IsText); });
}

std::size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}  // namespace

const char* KindName(Kind kind) {
    constexpr std::array<const char*, 6> kNames = {"integer", "text", "integers", "texts", "action", "table"};
    return kNames[static_cast<std::size_t>(kind)];
}

const std::vector<KeyInfo>& Catalogue() {
    return kCatalogue;
}

const KeyInfo* FindKey(std::string_view wanted) {
    const auto found = std::find_if(kCatalogue.begin(), kCatalogue.end(),
                                    [wanted](const KeyInfo& info) { return info.key == wanted; });
    return found == kCatalogue.end() ? nullptr : &*found;
}

nlohmann::json InitialValue(const KeyInfo& info) {
    if (info.kind == Kind::kAction) {
        return {{"count", 0}, {"args", nlohmann::json::array()}};
    }
    if (info.kind == Kind::kTable) {
        return info.key == key::kTunerList ? FactoryTuners() : FactoryChannels();
    }
    return nlohmann::json::parse(info.initial);
}

bool Fits(Kind kind, const nlohmann::json& value) {
    switch (kind) {
        case Kind::kInteger:
            return IsInt32(value);
        case Kind::kText:
            return IsText(value);
        case Kind::kIntegers:
            return AllOf(value, IsInt32);
        case Kind::kTexts:
            return AllOf(value, IsText);
        case Kind::kTable:
            return AreRows(value) || (value.is_object() && std::all_of(value.begin(), value.end(), AreRows));
        case Kind::kAction:
            break;
    }
    return false;
}

std::vector<std::string> NearNames(const std::string& wrong, const std::vector<std::string>& names,
                                   std::size_t count) {
    std::vector<std::pair<std::size_t, std::string>> ranked;
    ranked.reserve(names.size());
    for (const auto& name : names) {
        // A name that contains what was typed is what was meant more often than one of similar length.
        const bool part = wrong.size() > 2 && name.find(wrong) != std::string::npos;
        ranked.emplace_back(part ? 0 : EditDistance(wrong, name), name);
    }
    std::sort(ranked.begin(), ranked.end());
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(count, ranked.size()); ++i) {
        nearest.push_back(ranked[i].second);
    }
    return nearest;
}

}  // namespace simset
