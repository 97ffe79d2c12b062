// The model tree of the simulated set: its keys, their kinds and what a factory-new set answers.
#ifndef SIMSET_CATALOGUE_CATALOGUE_H
#define SIMSET_CATALOGUE_CATALOGUE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace simset {

namespace key {
constexpr char kRootInterface[] = "tovix.lm.interfaces.tvapi.RootInterface";
constexpr char kReboot[] = "tovix.action.system.reboot.tv";
constexpr char kGpio[] = "tovix.sl2.action.system.gpio";
constexpr char kMessageId[] = "tovix.sl2.messages.messageid";
constexpr char kFactoryReady[] = "tovix.sl2.i32.qorfactory.action.factory.ready";
constexpr char kSourceSwitch[] = "tovix.sl2.action.source.switch";
constexpr char kServiceList[] = "tovix.sl2.table.servicelist.list";
constexpr char kPresetDatabase[] = "tovix.sl2.table.servicelist.list.preset.database";
constexpr char kTunerList[] = "tovix.sl2.table.favouritelist.list";
constexpr char kEncryptKey[] = "tovix.sl2.common.intf.action.encrypt.key";
constexpr char kCheckCiPlusKey[] = "tovix.sl2.common.intf.action.check.ciplus.key";
constexpr char kWiredSet[] = "tovix.sl2.action.network.wired.set";
constexpr char kIpAddress[] = "tovix.sl2.str.network.ip-address";
constexpr char kAccessPointSearch[] = "tovix.sl2.i32.network.enum.access-points.search";
constexpr char kAccessPointCount[] = "tovix.sl2.i32.network.access-points.count";
constexpr char kAccessPointSignal[] = "tovix.sl2.vint32.network.access-points.signal";
constexpr char kBluetoothStatus[] = "tovix.sl2.i32.bluetooth.enum.status";
constexpr char kBluetoothDeviceCount[] = "tovix.sl2.i32.bluetooth.device.count";
constexpr char kBluetoothDeviceName[] = "tovix.sl2.vstr.bluetooth.device.name";
constexpr char kBluetoothEnable[] = "tovix.sl2.action.bluetooth.enable";
constexpr char kBluetoothDisable[] = "tovix.sl2.action.bluetooth.disable";
constexpr char kBluetoothSearchStart[] = "tovix.sl2.action.bluetooth.search.start";
constexpr char kBluetoothSearchStop[] = "tovix.sl2.action.bluetooth.search.stop";
}  // namespace key

enum class Kind : std::uint8_t { Integer, Text, Integers, Texts, Action, Table };

// The kind's name on the wire and in messages: "integer", "text", "integers", "texts", "action", "table".
const char* KindName(Kind kind);

struct KeyInfo {
    std::string_view key;
    Kind kind;
    bool kept;                 // survives a power-off; otherwise back to `initial` at power-on
    std::string_view initial;  // JSON; of a table empty: see InitialValue
    std::string_view found;    // JSON of what a search or set-up comes to find; empty for other keys
};

const std::vector<KeyInfo>& Catalogue();

// Null when the set has no such key.
const KeyInfo* FindKey(std::string_view key);

nlohmann::json InitialValue(const KeyInfo& info);

// Whether `value` is one that a key of `kind` can hold. Tables hold an array of rows, or an object of such arrays
// by tuner; a row is an array of texts. Actions hold nothing that can be set.
bool Fits(Kind kind, const nlohmann::json& value);

}  // namespace simset

#endif
