#include "protocol/CommandCatalogue.h"

namespace zel {
namespace {

using G = CommandGroup;
using P = PayloadRule;
using R = ReplyRule;

constexpr CommandInfo Ignored(std::uint16_t id) {
    return {id, G::Ignored, P::Any, R::None, "", "", ""};
}

constexpr bool IdsAreComplete(const std::array<CommandInfo, kCommandCount>& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].id != kFirstCommand + i) {
            return false;
        }
    }
    return true;
}

// clang-format off
constexpr std::array<CommandInfo, kCommandCount> kRows = {{
    {0x1273, G::Link, P::Any, R::Status, "connect",
     "none", "status 0; ends the ready frames"},
    {0x1274, G::Record, P::NotEmpty, R::Status, "write PCB serial number",
     "1 to 64 characters", "status"},
    {0x1275, G::Record, P::Any, R::Data, "read PCB serial number",
     "none", "the characters; empty when there is none"},
    Ignored(0x1276),
    {0x1277, G::Link, P::Any, R::Data, "empty query",
     "none", "answer without data"},
    {0x1278, G::Address, P::MacText, R::Status, "write MAC address",
     "17 characters, such as 00:11:22:33:44:55", "status"},
    {0x1279, G::Address, P::Any, R::Data, "read MAC address",
     "none", "the characters; one byte 0x01 when it cannot be read"},
    {0x127A, G::Link, P::Any, R::Failure, "not supported",
     "none", "status 1"},
    {0x127B, G::Address, P::Any, R::Data, "read Wi-Fi MAC address",
     "none", "the characters; one byte 0x01 when it cannot be read"},
    Ignored(0x127C),
    {0x127D, G::Link, P::Any, R::Data, "empty query",
     "none", "answer without data"},
    Ignored(0x127E),
    {0x127F, G::Link, P::Any, R::Data, "empty query",
     "none", "answer without data"},
    {0x1280, G::Link, P::Any, R::Data, "empty query",
     "none", "answer without data"},
    {0x1281, G::Key, P::KeyChunk, R::Deferred, "HDCP 1.4 key chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x1282, G::Key, P::Any, R::KeyData, "HDCP 1.4 key checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    {0x1283, G::Key, P::KeyChunk, R::Deferred, "HDCP 2.2 key chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x1284, G::Key, P::Any, R::KeyData, "HDCP 2.2 key checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    {0x1285, G::Key, P::KeyChunk, R::Deferred, "CI+ key chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x1286, G::Key, P::Any, R::KeyData, "CI+ key checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    {0x1287, G::Board, P::Any, R::Status, "acknowledge",
     "any", "status 0; also the id of key press reports"},
    {0x1288, G::Input, P::Any, R::Status, "source check",
     "input name, such as HDMI1, DTV-C, YPBPR1", "status"},
    {0x1289, G::Link, P::Any, R::Status, "acknowledge",
     "any", "status 0"},
    {0x128A, G::Input, P::Any, R::Status, "CI module detected",
     "none", "status 0 when at least one module is in"},
    {0x128B, G::Link, P::Any, R::Status, "acknowledge",
     "any", "status 0"},
    {0x128C, G::Link, P::Any, R::Status, "acknowledge",
     "any", "status 0"},
    {0x128D, G::Picture, P::Any, R::Status, "backlight full",
     "none", "status 0"},
    {0x128E, G::Picture, P::Any, R::Status, "backlight off",
     "none", "status 0"},
    {0x128F, G::Picture, P::Any, R::StatusTwice, "backlight full",
     "none", "status 0, sent twice"},
    {0x1290, G::Link, P::Any, R::Status, "acknowledge",
     "any", "status 0; also sent for keys 105 and 106"},
    {0x1291, G::Link, P::Any, R::Status, "acknowledge",
     "any", "status 0"},
    {0x1292, G::Radio, P::Any, R::Data, "Wi-Fi test progress",
     "none", "one byte: 101 minus the pass count"},
    {0x1293, G::Network, P::Any, R::Status, "wired network up",
     "none", "status 0 when the set has an address"},
    {0x1294, G::Radio, P::Any, R::Status, "Bluetooth search",
     "none", "status 0 when a device was found"},
    {0x1295, G::Picture, P::Any, R::Data, "read backlight",
     "none", "one byte, 0 to 100"},
    {0x1296, G::Record, P::Any, R::Data, "read running time",
     "none", "running time as 4 bytes little-endian; 10 when unknown or 0"},
    {0x1297, G::Record, P::Any, R::Data, "read software version",
     "none", "the characters after the first dot"},
    {0x1298, G::Record, P::NotEmpty, R::Status, "write test result",
     "1 to 64 characters", "status"},
    {0x1299, G::Link, P::Any, R::None, "leave factory mode",
     "none", "none; the link stops"},
    {0x129A, G::Finish, P::Any, R::Status, "factory finish",
     "none", "status, within about 20 s"},
    {0x129B, G::Finish, P::Any, R::Status, "factory finish",
     "none", "status, within about 20 s"},
    {0x129C, G::Board, P::NotEmpty, R::Status, "USB port check",
     "USB1 to USB4", "status 0 with at least that many marked sticks"},
    {0x129D, G::Address, P::NotEmpty, R::Status, "write MAC address, tagged",
     "MAC= and the address", "status"},
    {0x129E, G::Network, P::NotEmpty, R::Data, "named query",
     "MAC, WIFIMAC, SN, DEVICEID, TVID, ESN, UL or ETH_IP", "the text; one byte 0x01 when it cannot be read"},
    {0x129F, G::Sound, P::VolumeByte, R::Status, "set main volume",
     "one byte, 0 to 100", "status 0"},
    {0x12A0, G::Board, P::Any, R::Status, "LED colour",
     "RED_ON, RED_OFF, GREEN_ON or GREEN_OFF", "status"},
    {0x12A1, G::Key, P::KeyChunk, R::Deferred, "ESN/ULPK/MAC file chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x12A2, G::Key, P::KeyChunk, R::Deferred, "Widevine keybox chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x12A3, G::Key, P::Any, R::KeyData, "ESN/ULPK/MAC file checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    {0x12A4, G::Key, P::Any, R::KeyData, "Widevine keybox checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    {0x12A5, G::Board, P::Any, R::Status, "panel, aspect and Ethernet",
     "PANEL_VCC_ON, PANEL_VCC_OFF, PANEL_BL_ON, PANEL_BL_OFF, ASPECT=16_9, ASPECT=4_3, ASPECT=FULL or ETHPING= and an address", "status"},
    {0x12A6, G::Finish, P::Any, R::Status, "factory finish",
     "none", "status, within about 20 s"},
    {0x12A7, G::Key, P::KeyChunk, R::Deferred, "configuration file chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "CRC-32, 4 bytes big-endian, when written and checked; status 1 otherwise"},
    Ignored(0x12A8),
    Ignored(0x12A9),
    Ignored(0x12AA),
    {0x12AB, G::Record, P::Any, R::Data, "read running time",
     "none", "running time as 4 bytes little-endian; 10 when unknown or 0"},
    Ignored(0x12AC),
    Ignored(0x12AD),
    Ignored(0x12AE),
    Ignored(0x12AF),
    Ignored(0x12B0),
    Ignored(0x12B1),
    Ignored(0x12B2),
    {0x12B3, G::Key, P::KeyChunk, R::Deferred, "Netflix key chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x12B4, G::Key, P::Any, R::KeyData, "Netflix key checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
    Ignored(0x12B5),
    Ignored(0x12B6),
    Ignored(0x12B7),
    Ignored(0x12B8),
    {0x12B9, G::Key, P::KeyChunk, R::Deferred, "CI+ ECP key chunk",
     "1 to 64 bytes; trailer A index, trailer B total", "status when the file is complete; status 1 for a refused chunk"},
    {0x12BA, G::Key, P::Any, R::KeyData, "CI+ ECP key checksum",
     "none", "CRC-32 of the last file, 4 bytes big-endian"},
}};
// clang-format on

static_assert(IdsAreComplete(kRows), "every id from 0x1273 to 0x12BA has its row, in order");

}  // namespace

const std::array<CommandInfo, kCommandCount> kCommandCatalogue = kRows;

const CommandInfo* FindCommand(std::uint16_t id) {
    return id < kFirstCommand || id > kLastCommand ? nullptr : &kCommandCatalogue[id - kFirstCommand];
}

}  // namespace zel
