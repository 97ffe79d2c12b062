// The catalogue of model keys: every key of the television that the application uses.
//
// The second and third segments tell the value kind: "i32" a signed 32-bit integer, "str" a text, "vint32" and
// "vstr" vectors of them, "action" something to invoke, "table" rows to iterate. "tovix.sl2.system.ctrl." keys
// are integers, "tovix.sl2.common.intf." keys belong to the common layer (actions with arguments, counters).
#ifndef ZELFAC_MODEL_MODELKEYS_H
#define ZELFAC_MODEL_MODELKEYS_H

namespace zel {
namespace key {

// The interface through which all keys are reached.
constexpr char kRootInterface[] = "tovix.lm.interfaces.tvapi.RootInterface";

// System
constexpr char kReboot[] = "tovix.action.system.reboot.tv";
constexpr char kGpio[] = "tovix.sl2.action.system.gpio";
constexpr char kLedFlicker[] = "tovix.sl2.system.ctrl.led.flicker";
constexpr char kLedGpio[] = "tovix.sl2.system.ctrl.led.gpio";
constexpr char kMessageId[] = "tovix.sl2.messages.messageid";
constexpr char kSetLocation[] = "tovix.sl2.i32.basic.settings.tvset.location";
constexpr char kOsdLanguage[] = "tovix.sl2.i32.language.osd";

// Factory
constexpr char kFactoryReady[] = "tovix.sl2.i32.qorfactory.action.factory.ready";  // invoked as an action
constexpr char kFactoryCountry[] = "tovix.sl2.i32.qorfactory.country";
constexpr char kModelIndex[] = "tovix.sl2.i32.qorfactory.serialsdata.model.index";
constexpr char kSoftwareVersion[] = "tovix.sl2.str.qorfactory.software.version";

// Sources and channels
constexpr char kSourceSwitch[] = "tovix.sl2.action.source.switch";
constexpr char kServiceList[] = "tovix.sl2.table.servicelist.list";
constexpr char kPresetDatabase[] = "tovix.sl2.table.servicelist.list.preset.database";
constexpr char kFavouriteList[] = "tovix.sl2.table.favouritelist.list";

// CI modules and CI+ credentials
constexpr char kCamCount[] = "tovix.sl2.common.intf.cam.count.detected";
constexpr char kEncryptKey[] = "tovix.sl2.common.intf.action.encrypt.key";
constexpr char kCheckCiPlusKey[] = "tovix.sl2.common.intf.action.check.ciplus.key";

// Picture
constexpr char kBacklight[] = "tovix.sl2.i32.video.backlight";
constexpr char kVideoFormat[] = "tovix.sl2.i32.video.format";
constexpr char kVideoApplyMode[] = "tovix.sl2.i32.video.apply.mode";
constexpr char kRgbOnly[] = "tovix.sl2.i32.video.rgb.only";
constexpr char kTestPattern[] = "tovix.sl2.i32.video.factory.testPattern";
constexpr char kPictureMode[] = "tovix.sl2.i32.video.factory.picture.mode";
constexpr char kBrightness[] = "tovix.sl2.i32.video.factory.picture.mode.data.brightness";
constexpr char kContrast[] = "tovix.sl2.i32.video.factory.picture.mode.data.contrast";
constexpr char kColorIntensity[] = "tovix.sl2.i32.video.factory.picture.mode.data.colorintensity";
constexpr char kSharpness[] = "tovix.sl2.i32.video.factory.picture.mode.data.sharpness";
constexpr char kHue[] = "tovix.sl2.i32.video.factory.picture.mode.data.hue";

// Sound
constexpr char kMainVolume[] = "tovix.sl2.i32.sound.main.volume";
constexpr char kAutomaticVolume[] = "tovix.sl2.i32.sound.volume.automatic";
constexpr char kSoundApplyMode[] = "tovix.sl2.i32.sound.apply.mode";
constexpr char kHeadphoneMode[] = "tovix.sl2.i32.sound.headphone.mode";
constexpr char kHeadphoneVolume[] = "tovix.sl2.i32.sound.headphone.volume";
constexpr char kSpeakerArcMode[] = "tovix.sl2.i32.sound.speaker.arc.mode";
constexpr char kForceUnmute[] = "tovix.sl2.action.sound.force.speaker.spdif.unmute";
constexpr char kEqualizer100Hz[] = "tovix.sl2.i32.sound.equalizer.freq.100hz";
constexpr char kEqualizer250Hz[] = "tovix.sl2.i32.sound.equalizer.freq.250hz";
constexpr char kEqualizer600Hz[] = "tovix.sl2.i32.sound.equalizer.freq.600hz";
constexpr char kEqualizer1kHz[] = "tovix.sl2.i32.sound.equalizer.freq.1khz";
constexpr char kEqualizer2k5Hz[] = "tovix.sl2.i32.sound.equalizer.freq.2k5hz";
constexpr char kEqualizer6kHz[] = "tovix.sl2.i32.sound.equalizer.freq.6khz";
constexpr char kEqualizer10kHz[] = "tovix.sl2.i32.sound.equalizer.freq.10khz";
constexpr char kDtsPeq[] = "tovix.sl2.vint32.sound.dts.peq";
constexpr char kSocDrc[] = "tovix.sl2.vint32.sound.soc.drc";

// Network and radios
constexpr char kWiredSet[] = "tovix.sl2.action.network.wired.set";
constexpr char kIpAddress[] = "tovix.sl2.str.network.ip-address";
constexpr char kWifiMac[] = "tovix.sl2.str.network.mac-address-wifi";
constexpr char kAccessPointSearch[] = "tovix.sl2.i32.network.enum.access-points.search";
constexpr char kAccessPointCount[] = "tovix.sl2.i32.network.access-points.count";
constexpr char kAccessPointSignal[] = "tovix.sl2.vint32.network.access-points.signal";
constexpr char kBluetoothSupport[] = "tovix.sl2.vstr.bluetooth.support";
constexpr char kBluetoothStatus[] = "tovix.sl2.i32.bluetooth.enum.status";
constexpr char kBluetoothDeviceCount[] = "tovix.sl2.i32.bluetooth.device.count";
constexpr char kBluetoothDeviceName[] = "tovix.sl2.vstr.bluetooth.device.name";
constexpr char kBluetoothEnable[] = "tovix.sl2.action.bluetooth.enable";
constexpr char kBluetoothDisable[] = "tovix.sl2.action.bluetooth.disable";
constexpr char kBluetoothSearchStart[] = "tovix.sl2.action.bluetooth.search.start";
constexpr char kBluetoothSearchStop[] = "tovix.sl2.action.bluetooth.search.stop";

}  // namespace key
}  // namespace zel

#endif
