#include "simset/core/catalogue/Catalogue.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "simset/core/catalogue/Channels.h"

namespace simset {

namespace {

constexpr bool kKept = true;
constexpr bool kForgotten = false;

// Strictly what a new television of this line would answer; names of rooms follow the dotted paths.
const std::vector<KeyInfo> kCatalogue = {
    {key::kReboot, Kind::Action, kForgotten, "", ""},
    {key::kGpio, Kind::Action, kForgotten, "", ""},
    {"tovix.sl2.system.ctrl.led.flicker", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.system.ctrl.led.gpio", Kind::Integer, kKept, "1", ""},
    {key::kMessageId, Kind::Integer, kForgotten, "0", ""},
    {"tovix.sl2.i32.basic.settings.tvset.location", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.language.osd", Kind::Integer, kKept, "0", ""},

    {key::kFactoryReady, Kind::Action, kForgotten, "", ""},
    {"tovix.sl2.i32.qorfactory.country", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.qorfactory.serialsdata.model.index", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.str.qorfactory.software.version", Kind::Text, kKept, R"("V8-MT9602-LF1V.123.045")", ""},

    {key::kSourceSwitch, Kind::Action, kForgotten, "", ""},
    {key::kServiceList, Kind::Table, kKept, "", ""},
    {key::kPresetDatabase, Kind::Action, kForgotten, "", ""},
    {key::kTunerList, Kind::Table, kKept, "", ""},

    {"tovix.sl2.common.intf.cam.count.detected", Kind::Integer, kKept, "0", ""},
    {key::kEncryptKey, Kind::Action, kForgotten, "", ""},
    {key::kCheckCiPlusKey, Kind::Action, kForgotten, "", ""},

    {"tovix.sl2.i32.video.backlight", Kind::Integer, kKept, "80", ""},
    {"tovix.sl2.i32.video.format", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.video.apply.mode", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.video.rgb.only", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.video.factory.testPattern", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.video.factory.picture.mode", Kind::Integer, kKept, "1", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.brightness", Kind::Integer, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.contrast", Kind::Integer, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.colorintensity", Kind::Integer, kKept, "50", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.sharpness", Kind::Integer, kKept, "10", ""},
    {"tovix.sl2.i32.video.factory.picture.mode.data.hue", Kind::Integer, kKept, "50", ""},

    {"tovix.sl2.i32.sound.main.volume", Kind::Integer, kKept, "30", ""},
    {"tovix.sl2.i32.sound.volume.automatic", Kind::Integer, kKept, "1", ""},
    {"tovix.sl2.i32.sound.apply.mode", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.sound.headphone.mode", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.sound.headphone.volume", Kind::Integer, kKept, "30", ""},
    {"tovix.sl2.i32.sound.speaker.arc.mode", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.action.sound.force.speaker.spdif.unmute", Kind::Action, kForgotten, "", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.100hz", Kind::Integer, kKept, "4", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.250hz", Kind::Integer, kKept, "2", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.600hz", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.1khz", Kind::Integer, kKept, "-1", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.2k5hz", Kind::Integer, kKept, "0", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.6khz", Kind::Integer, kKept, "2", ""},
    {"tovix.sl2.i32.sound.equalizer.freq.10khz", Kind::Integer, kKept, "3", ""},
    {"tovix.sl2.vint32.sound.dts.peq", Kind::Integers, kKept, "[0,1,0,0]", ""},
    {"tovix.sl2.vint32.sound.soc.drc", Kind::Integers, kKept, "[1,0,0,0]", ""},

    {key::kWiredSet, Kind::Action, kForgotten, "", ""},
    {key::kIpAddress, Kind::Text, kForgotten, R"("")", R"("192.168.1.57")"},
    {"tovix.sl2.str.network.mac-address-wifi", Kind::Text, kKept, R"("A4:3E:51:0C:7B:92")", ""},
    {key::kAccessPointSearch, Kind::Integer, kForgotten, "0", ""},
    {key::kAccessPointCount, Kind::Integer, kForgotten, "0", "3"},
    {key::kAccessPointSignal, Kind::Integers, kForgotten, "[]", "[42,78,25]"},
    {"tovix.sl2.vstr.bluetooth.support", Kind::Texts, kKept, R"(["bt","1","5.0","ble"])", ""},
    {key::kBluetoothStatus, Kind::Integer, kForgotten, "1", ""},
    {key::kBluetoothDeviceCount, Kind::Integer, kForgotten, "0", "2"},
    {key::kBluetoothDeviceName, Kind::Texts, kForgotten, "[]", R"(["LINE-BT-01","LINE-BT-02"])"},
    {key::kBluetoothEnable, Kind::Action, kForgotten, "", ""},
    {key::kBluetoothDisable, Kind::Action, kForgotten, "", ""},
    {key::kBluetoothSearchStart, Kind::Action, kForgotten, "", ""},
    {key::kBluetoothSearchStop, Kind::Action, kForgotten, "", ""},
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
    if (info.kind == Kind::Action) {
        return {{"count", 0}, {"args", nlohmann::json::array()}};
    }
    if (info.kind == Kind::Table) {
        return info.key == key::kTunerList ? FactoryTuners() : FactoryChannels();
    }
    return nlohmann::json::parse(info.initial);
}

bool Fits(Kind kind, const nlohmann::json& value) {
    switch (kind) {
        case Kind::Integer:
            return IsInt32(value);
        case Kind::Text:
            return IsText(value);
        case Kind::Integers:
            return AllOf(value, IsInt32);
        case Kind::Texts:
            return AllOf(value, IsText);
        case Kind::Table:
            return AreRows(value) || (value.is_object() && std::all_of(value.begin(), value.end(), AreRows));
        case Kind::Action:
            break;
    }
    return false;
}

}  // namespace simset
