#include "simset/core/catalogue/KeyRules.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>
#include <map>

#include "simset/base/Status.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

KeyRule Read(std::string_view key, Need need = Need::Nothing) {
    KeyRule rule;
    rule.key = key;
    rule.need = need;
    return rule;
}

KeyRule Written(std::string_view key, std::int32_t minimum, std::int32_t maximum) {
    KeyRule rule;
    rule.key = key;
    rule.access = Access::Writable;
    rule.minimum = minimum;
    rule.maximum = maximum;
    return rule;
}

KeyRule Invoked(std::string_view key, std::vector<std::vector<ArgumentRule>> forms = {{}},
                Need need = Need::Nothing, std::chrono::milliseconds settle = std::chrono::milliseconds(50)) {
    KeyRule rule;
    rule.key = key;
    rule.access = Access::Invoked;
    rule.forms = std::move(forms);
    rule.need = need;
    rule.settle = settle;
    return rule;
}

// A percentage of the panel or of the loudspeakers, a switch, the band of an equalizer.
KeyRule Percent(std::string_view key) {
    return Written(key, 0, 100);
}
KeyRule Switch(std::string_view key) {
    return Written(key, 0, 1);
}
KeyRule Band(std::string_view key) {
    return Written(key, -10, 10);
}

const std::vector<std::string_view> kSources = {"HDMI1",  "HDMI2",  "HDMI3",     "HDMI4",  "DTV-T",
                                                "DTV-T2", "DTV-C",  "DTV-S2",    "SCART1", "SCART",
                                                "YPBPR1", "YPBPR2", "COMPONENT", "AVS",    "VGA"};
const std::vector<std::string_view> kCredentials = {"NON_ECP", "ECP"};
constexpr std::chrono::milliseconds kCredentialSettle{10};
// The board's pins: the panel's supply and its backlight.
const std::vector<std::string_view> kPins = {"45", "7"};
const std::vector<std::string_view> kLevels = {"0", "1"};

std::vector<KeyRule> MakeRules() {
    return {
        Invoked(key::kReboot),
        Invoked(key::kGpio, {{{"0", kPins}, {"0", kLevels}}}),
        Switch("tovix.sl2.system.ctrl.led.flicker"),
        Switch("tovix.sl2.system.ctrl.led.gpio"),
        Read(key::kMessageId),
        Written("tovix.sl2.i32.basic.settings.tvset.location", 0, 15),
        Written("tovix.sl2.i32.language.osd", 0, 99),

        Invoked(key::kFactoryReady, {{}}, Need::Finish),
        // Indices of the customer's own tables: the set takes any.
        Written("tovix.sl2.i32.qorfactory.country", kLeast, kMost),
        Written("tovix.sl2.i32.qorfactory.serialsdata.model.index", kLeast, kMost),
        Read("tovix.sl2.str.qorfactory.software.version"),

        Invoked(key::kSourceSwitch,
                {{{"0", {"ZelFacTestUUID"}}, {"1", {"9"}}, {"2", kSources}, {"3", {"0"}}},
                 {{"0", {"ZelFacTestUUID"}}, {"1", {"8"}}, {"2", {"TV"}}, {"3", {}}, {"4", {}}}}),
        Read(key::kServiceList, Need::Preset),
        Invoked(key::kPresetDatabase, {{{"0", {"38"}}}}),
        Read(key::kTunerList, Need::Preset),

        Read("tovix.sl2.common.intf.cam.count.detected"),
        Invoked(key::kEncryptKey, {{{"", kCredentials}, {"", {}}}}, Need::Nothing, kCredentialSettle),
        Invoked(key::kCheckCiPlusKey, {{{"", kCredentials}}}, Need::Nothing, kCredentialSettle),

        Percent("tovix.sl2.i32.video.backlight"),
        Written("tovix.sl2.i32.video.format", 0, 2),
        Switch("tovix.sl2.i32.video.apply.mode"),
        Switch("tovix.sl2.i32.video.rgb.only"),
        Written("tovix.sl2.i32.video.factory.testPattern", 0, 15),
        Written("tovix.sl2.i32.video.factory.picture.mode", 0, 15),
        Percent("tovix.sl2.i32.video.factory.picture.mode.data.brightness"),
        Percent("tovix.sl2.i32.video.factory.picture.mode.data.contrast"),
        Percent("tovix.sl2.i32.video.factory.picture.mode.data.colorintensity"),
        Percent("tovix.sl2.i32.video.factory.picture.mode.data.sharpness"),
        Percent("tovix.sl2.i32.video.factory.picture.mode.data.hue"),

        Percent("tovix.sl2.i32.sound.main.volume"),
        Switch("tovix.sl2.i32.sound.volume.automatic"),
        Switch("tovix.sl2.i32.sound.apply.mode"),
        Switch("tovix.sl2.i32.sound.headphone.mode"),
        Percent("tovix.sl2.i32.sound.headphone.volume"),
        Written("tovix.sl2.i32.sound.speaker.arc.mode", 0, 3),
        Invoked("tovix.sl2.action.sound.force.speaker.spdif.unmute"),
        Band("tovix.sl2.i32.sound.equalizer.freq.100hz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.250hz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.600hz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.1khz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.2k5hz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.6khz"),
        Band("tovix.sl2.i32.sound.equalizer.freq.10khz"),
        Switch("tovix.sl2.vint32.sound.dts.peq"),
        Switch("tovix.sl2.vint32.sound.soc.drc"),

        Invoked(key::kWiredSet),
        Read(key::kIpAddress),
        Read("tovix.sl2.str.network.mac-address-wifi"),
        Switch(key::kAccessPointSearch),
        Read(key::kAccessPointCount),
        Read(key::kAccessPointSignal),
        Read("tovix.sl2.vstr.bluetooth.support"),
        Read(key::kBluetoothStatus),
        Read(key::kBluetoothDeviceCount),
        Read(key::kBluetoothDeviceName),
        Invoked(key::kBluetoothEnable),
        Invoked(key::kBluetoothDisable),
        Invoked(key::kBluetoothSearchStart, {{}}, Need::Radio),
        Invoked(key::kBluetoothSearchStop),
    };
}

bool Allowed(const ArgumentRule& rule, const json& argument) {
    const std::string& text = argument.at(1).get_ref<const std::string&>();
    return (rule.position.empty() || argument.at(0) == rule.position) &&
           (rule.allowed.empty()
                ? !text.empty()
                : std::find(rule.allowed.begin(), rule.allowed.end(), text) != rule.allowed.end());
}

// For example `position 0 "45" or "7", position 0 "0" or "1"`.
std::string Describe(const std::vector<ArgumentRule>& form) {
    if (form.empty()) {
        return "no arguments";
    }
    std::vector<std::string> parts;
    for (const auto& rule : form) {
        std::vector<std::string> texts;
        for (const auto text : rule.allowed) {
            texts.push_back(fmt::format("\"{}\"", text));
        }
        const std::string text = texts.empty() ? "any text" : fmt::format("{}", fmt::join(texts, " or "));
        parts.push_back(rule.position.empty() ? text : fmt::format("position {} {}", rule.position, text));
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

bool InRange(const KeyRule& rule, const json& value) {
    return value.get<std::int64_t>() >= rule.minimum && value.get<std::int64_t>() <= rule.maximum;
}

Refusal BeyondRange(const KeyRule& rule) {
    return {kOutOfRange, "value-out-of-range", fmt::format("{} to {}", rule.minimum, rule.maximum)};
}

}  // namespace

const std::vector<KeyRule>& KeyRules() {
    static const std::vector<KeyRule> kRules = MakeRules();
    return kRules;
}

const KeyRule& RuleOf(const KeyInfo& info) {
    static const std::map<std::string_view, const KeyRule*> kByKey = [] {
        std::map<std::string_view, const KeyRule*> rules;
        for (const auto& rule : KeyRules()) {
            rules[rule.key] = &rule;
        }
        return rules;
    }();
    return *kByKey.at(info.key);
}

std::optional<Refusal> JudgeWrite(const KeyInfo& info, const json& given, std::size_t elements) {
    const KeyRule& rule = RuleOf(info);
    if (rule.access != Access::Writable) {
        return Refusal{kReadOnly, "read-only-key", "no write to this key"};
    }
    if (info.kind == Kind::Integer) {
        return InRange(rule, given) ? std::nullopt : std::optional<Refusal>(BeyondRange(rule));
    }
    for (const auto& element : given) {
        const auto index = element.at(0).get<std::int64_t>();
        if (index < 0 || index >= static_cast<std::int64_t>(elements)) {
            return Refusal{kOutOfRange, "element-out-of-range",
                           fmt::format("an index from 0 to {}", elements - 1)};
        }
        if (!InRange(rule, element.at(1))) {
            return BeyondRange(rule);
        }
    }
    return std::nullopt;
}

std::optional<Refusal> JudgeArguments(const KeyInfo& info, const json& arguments) {
    const KeyRule& rule = RuleOf(info);
    const bool allowed = std::any_of(rule.forms.begin(), rule.forms.end(), [&](const auto& form) {
        return std::equal(form.begin(), form.end(), arguments.begin(), arguments.end(), Allowed);
    });
    if (allowed) {
        return std::nullopt;
    }
    std::vector<std::string> forms;
    for (const auto& form : rule.forms) {
        forms.push_back(Describe(form));
    }
    return Refusal{kRefused, "action-arguments", fmt::format("{}", fmt::join(forms, "; or "))};
}

}  // namespace simset
