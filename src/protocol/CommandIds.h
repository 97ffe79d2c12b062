// The command ids that code refers to by name.
#ifndef ZELFAC_PROTOCOL_COMMANDIDS_H
#define ZELFAC_PROTOCOL_COMMANDIDS_H

#include <cstdint>

namespace zel::command {

constexpr std::uint16_t kReady = 0x1272;  // sent by the set until it is connected
constexpr std::uint16_t kConnect = 0x1273;
constexpr std::uint16_t kWritePcbSn = 0x1274;
constexpr std::uint16_t kReadPcbSn = 0x1275;
constexpr std::uint16_t kWriteMac = 0x1278;
constexpr std::uint16_t kReadMac = 0x1279;
constexpr std::uint16_t kReadWifiMac = 0x127B;
constexpr std::uint16_t kKeyHdcp1 = 0x1281;
constexpr std::uint16_t kCrcHdcp1 = 0x1282;
constexpr std::uint16_t kKeyHdcp2 = 0x1283;
constexpr std::uint16_t kCrcHdcp2 = 0x1284;
constexpr std::uint16_t kKeyCiPlus = 0x1285;
constexpr std::uint16_t kCrcCiPlus = 0x1286;
constexpr std::uint16_t kKeyPressReport = 0x1287;
constexpr std::uint16_t kSourceCheck = 0x1288;
constexpr std::uint16_t kCamDetected = 0x128A;
constexpr std::uint16_t kBacklightFull = 0x128D;
constexpr std::uint16_t kBacklightOff = 0x128E;
constexpr std::uint16_t kConfirmedKey = 0x1290;  // sent by the set when key 105 or 106 is pressed
constexpr std::uint16_t kWifiProgress = 0x1292;
constexpr std::uint16_t kWiredNetwork = 0x1293;
constexpr std::uint16_t kBluetoothSearch = 0x1294;
constexpr std::uint16_t kReadBacklight = 0x1295;
constexpr std::uint16_t kReadRunningTime = 0x1296;
constexpr std::uint16_t kReadSoftwareVersion = 0x1297;
constexpr std::uint16_t kWriteTestResult = 0x1298;
constexpr std::uint16_t kLeaveFactory = 0x1299;
constexpr std::uint16_t kFinish = 0x129A;
constexpr std::uint16_t kUsbPort = 0x129C;
constexpr std::uint16_t kNamedQuery = 0x129E;
constexpr std::uint16_t kSetVolume = 0x129F;
constexpr std::uint16_t kLed = 0x12A0;
constexpr std::uint16_t kKeyEsnUlpkMac = 0x12A1;
constexpr std::uint16_t kKeyWidevine = 0x12A2;
constexpr std::uint16_t kCrcEsnUlpkMac = 0x12A3;
constexpr std::uint16_t kCrcWidevine = 0x12A4;
constexpr std::uint16_t kPanelAspectEthernet = 0x12A5;
constexpr std::uint16_t kConfigFile = 0x12A7;
constexpr std::uint16_t kKeyNetflix = 0x12B3;
constexpr std::uint16_t kCrcNetflix = 0x12B4;
constexpr std::uint16_t kKeyCiPlusEcp = 0x12B9;
constexpr std::uint16_t kCrcCiPlusEcp = 0x12BA;
constexpr std::uint16_t kEmptyAnswer = 0xF0F0;  // answered empty by SendCommand, outside the command range

}  // namespace zel::command

#endif
