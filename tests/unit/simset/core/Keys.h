// Model keys that the tests of the simulated set use.
#ifndef SIMSET_TESTS_CORE_KEYS_H
#define SIMSET_TESTS_CORE_KEYS_H

namespace simset::test {

inline constexpr char kAddress[] = "tovix.sl2.str.network.ip-address";
inline constexpr char kBacklight[] = "tovix.sl2.i32.video.backlight";
inline constexpr char kChannels[] = "tovix.sl2.table.servicelist.list";
inline constexpr char kDevices[] = "tovix.sl2.i32.bluetooth.device.count";
inline constexpr char kDrc[] = "tovix.sl2.vint32.sound.soc.drc";
inline constexpr char kEnable[] = "tovix.sl2.action.bluetooth.enable";
inline constexpr char kEncrypt[] = "tovix.sl2.common.intf.action.encrypt.key";
inline constexpr char kGpio[] = "tovix.sl2.action.system.gpio";
inline constexpr char kMessage[] = "tovix.sl2.messages.messageid";
inline constexpr char kNames[] = "tovix.sl2.vstr.bluetooth.device.name";
inline constexpr char kPointSearch[] = "tovix.sl2.i32.network.enum.access-points.search";
inline constexpr char kPoints[] = "tovix.sl2.i32.network.access-points.count";
inline constexpr char kPreset[] = "tovix.sl2.table.servicelist.list.preset.database";
inline constexpr char kReady[] = "tovix.sl2.i32.qorfactory.action.factory.ready";
inline constexpr char kSearch[] = "tovix.sl2.action.bluetooth.search.start";
inline constexpr char kSignal[] = "tovix.sl2.vint32.network.access-points.signal";
inline constexpr char kSource[] = "tovix.sl2.action.source.switch";
inline constexpr char kTuners[] = "tovix.sl2.table.favouritelist.list";
inline constexpr char kVersion[] = "tovix.sl2.str.qorfactory.software.version";
inline constexpr char kVolume[] = "tovix.sl2.i32.sound.main.volume";

}  // namespace simset::test

#endif
