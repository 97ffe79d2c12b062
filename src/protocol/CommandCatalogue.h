// The factory commands, ids 0x1273 to 0x12BA: what each is for, what payload it takes, how it is answered. One
// row says all that both ends of the line need to know of a command; commands/ adds what the set does for it.
#ifndef ZELFAC_PROTOCOL_COMMANDCATALOGUE_H
#define ZELFAC_PROTOCOL_COMMANDCATALOGUE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "protocol/AnswerForm.h"
#include "protocol/CommandIds.h"

namespace zel {

// Which payloads reach a command's handler. Any other payload drops the frame without a reply, except
// KeyChunk's, which its handler refuses with a failure.
enum class PayloadRule : std::uint8_t {
    Any,         // not looked at before the handler
    NotEmpty,    // at least one byte
    MacText,     // exactly 17 bytes
    VolumeByte,  // exactly one byte, 0 to 100
    KeyChunk     // 1 to 64 bytes of a file; trailer A chunk index, trailer B number of chunks
};

// How a command is answered.
enum class ReplyRule : std::uint8_t {
    None,         // not at all
    Status,       // one status byte: 0 success, 1 failure
    StatusTwice,  // the same status reply two times
    Failure,      // always status 1: not supported
    Data,         // with data
    DataByText,   // as Data, and the payload's text says which
    KeyData,      // as Data, after the mark of the last finished key transfer has been cleared
    Deferred      // status 1 when the chunk was refused; otherwise the file's own result, when it is complete
};

// What a command is about, for listings.
enum class CommandGroup : std::uint8_t {
    Ignored,
    Link,
    Record,
    Address,
    Key,
    Input,
    Picture,
    Sound,
    Board,
    Radio,
    Network,
    Finish
};

// What it does to a set to be asked again, because its answer did not arrive, for what it may have done already.
enum class RepeatRule : std::uint8_t {
    Harmless,  // it is as it was after the first time
    Counts     // it does one thing more: another chunk, another end
};

// What a command changes, where its answer is a status, or reads, where its answer is data, of what the line can
// change. Commands of one subject depend on each other's order, those of different subjects do not.
enum class Subject : std::uint8_t {
    Nothing,
    SerialNumber,
    MacAddress,
    Input,
    Backlight,
    Volume,
    Led,
    Panel,
    Whole  // it says what came of all that was asked before, ends the link, or its answer also comes unasked
};

struct CommandInfo {
    std::uint16_t id;
    CommandGroup group;
    PayloadRule payload;
    ReplyRule reply;
    RepeatRule repeat;
    Subject subject;
    AnswerForm answer;               // a refused chunk is answered with a status, whatever its file's answer is
    std::uint16_t answerTime;        // milliseconds after the last byte within which an answer comes, if any does
    std::string_view name;           // short name, empty for ignored ids
    std::string_view payloadText;    // payload in words
    std::string_view answerText;     // answer in words
    std::string_view exampleAsked;   // payload of a request that the set takes
    std::string_view exampleAnswer;  // payload of what it may answer to that
};

constexpr std::uint16_t kFirstCommand = 0x1273;
constexpr std::uint16_t kLastCommand = 0x12BA;
constexpr std::size_t kCommandCount = kLastCommand - kFirstCommand + 1;
static_assert(kCommandCount == 72, "the protocol has 72 command ids");

// What the rows are written with.
namespace catalogue {

using namespace std::string_view_literals;

using G = CommandGroup;
using P = PayloadRule;
using R = ReplyRule;
using N = RepeatRule;  // N::Harmless, N::Counts
using S = Subject;
using F = AnswerForm;

constexpr std::uint16_t kSoon = 3000;            // the set answers 0.5 s after the last byte at the earliest
constexpr std::uint16_t kPingTime = 6000;        // a ping has one second, behind the read of the set's own address
constexpr std::uint16_t kInstallTime = 15000;    // from a file's last chunk on
constexpr std::uint16_t kSourceTime = 20000;     // the first tuner input learns the tuners and loads the preset
constexpr std::uint16_t kBluetoothTime = 25000;  // 9 s when a search is under way; its own takes 8 s and more
constexpr std::uint16_t kFinishTime = 30000;     // 20 s for the TV service's confirmation, and the model work

// Texts of more than one row.
constexpr std::string_view kChunk = "1 to 64 bytes; trailer A index, trailer B total";
constexpr std::string_view kKeyAnswered =
    "status by the check of the key that is then installed, when the file is complete; status 1 for a refused "
    "chunk";
constexpr std::string_view kKeyboxAnswered =
    "status by the check of the Widevine keybox that is then installed, when the file is complete; status 1 for a "
    "refused chunk";
constexpr std::string_view kLastCrc = "CRC-32 of the last file, 4 bytes big-endian";

constexpr std::string_view kSucceeded = "\0"sv;
constexpr std::string_view kFailed = "\x01"sv;
constexpr std::string_view kExampleFile = "key"sv;              // a whole file in one chunk
constexpr std::string_view kExampleCrc = "\x8A\x90\xAB\xA9"sv;  // its CRC-32

constexpr CommandInfo Ignored(std::uint16_t id) {
    return {id, G::Ignored, P::Any, R::None, N::Harmless, S::Nothing, F::None, kSoon, "", "", "", "", ""};
}

// clang-format off
inline constexpr std::array<CommandInfo, kCommandCount> kRows = {{
    {0x1273, G::Link, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "connect",
     "none", "status 0; ends the ready frames", "", kSucceeded},
    {0x1274, G::Record, P::NotEmpty, R::Status, N::Harmless, S::SerialNumber, F::Status, kSoon, "write PCB serial number",
     "1 to 64 characters", "status", "AB12", kSucceeded},
    {0x1275, G::Record, P::Any, R::Data, N::Harmless, S::SerialNumber, F::TextOrNothing, kSoon, "read PCB serial number",
     "none", "the characters; empty when there is none", "", "AB12"},
    Ignored(0x1276),
    {0x1277, G::Link, P::Any, R::Data, N::Harmless, S::Nothing, F::Empty, kSoon, "empty query",
     "none", "answer without data", "", ""},
    {0x1278, G::Address, P::MacText, R::Status, N::Harmless, S::MacAddress, F::Status, kSoon, "write MAC address",
     "17 characters, such as 00:11:22:33:44:55", "status", "00:11:22:33:44:55", kSucceeded},
    {0x1279, G::Address, P::Any, R::Data, N::Harmless, S::MacAddress, F::TextOrUnreadable, kSoon, "read MAC address",
     "none", "the characters; one byte 0x01 when it cannot be read", "", "00:11:22:33:44:55"},
    {0x127A, G::Link, P::Any, R::Failure, N::Harmless, S::Nothing, F::Status, kSoon, "not supported",
     "none", "status 1", "", kFailed},
    {0x127B, G::Address, P::Any, R::Data, N::Harmless, S::Nothing, F::TextOrUnreadable, kSoon, "read Wi-Fi MAC address",
     "none", "the characters; one byte 0x01 when it cannot be read", "", "00:11:22:33:44:55"},
    Ignored(0x127C),
    {0x127D, G::Link, P::Any, R::Data, N::Harmless, S::Nothing, F::Empty, kSoon, "empty query",
     "none", "answer without data", "", ""},
    Ignored(0x127E),
    {0x127F, G::Link, P::Any, R::Data, N::Harmless, S::Nothing, F::Empty, kSoon, "empty query",
     "none", "answer without data", "", ""},
    {0x1280, G::Link, P::Any, R::Data, N::Harmless, S::Nothing, F::Empty, kSoon, "empty query",
     "none", "answer without data", "", ""},
    {0x1281, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "HDCP 1.4 key chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x1282, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "HDCP 1.4 key checksum",
     "none", kLastCrc, "", kExampleCrc},
    {0x1283, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "HDCP 2.2 key chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x1284, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "HDCP 2.2 key checksum",
     "none", kLastCrc, "", kExampleCrc},
    {0x1285, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "CI+ key chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x1286, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "CI+ key checksum",
     "none", kLastCrc, "", kExampleCrc},
    {0x1287, G::Board, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "acknowledge",
     "any", "status 0; also the id of key press reports", "", kSucceeded},
    {0x1288, G::Input, P::Any, R::Status, N::Harmless, S::Input, F::Status, kSourceTime, "source check",
     "input name, such as HDMI1, DTV-C, YPBPR1", "status", "HDMI1", kSucceeded},
    {0x1289, G::Link, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "acknowledge",
     "any", "status 0", "", kSucceeded},
    {0x128A, G::Input, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "CI module detected",
     "none", "status 0 when at least one module is in", "", kSucceeded},
    {0x128B, G::Link, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "acknowledge",
     "any", "status 0", "", kSucceeded},
    {0x128C, G::Link, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "acknowledge",
     "any", "status 0", "", kSucceeded},
    {0x128D, G::Picture, P::Any, R::Status, N::Harmless, S::Backlight, F::Status, kSoon, "backlight full",
     "none", "status 0", "", kSucceeded},
    {0x128E, G::Picture, P::Any, R::Status, N::Harmless, S::Backlight, F::Status, kSoon, "backlight off",
     "none", "status 0", "", kSucceeded},
    {0x128F, G::Picture, P::Any, R::StatusTwice, N::Harmless, S::Backlight, F::Status, kSoon, "backlight full",
     "none", "status 0, sent twice", "", kSucceeded},
    {0x1290, G::Link, P::Any, R::Status, N::Harmless, S::Whole, F::Status, kSoon, "acknowledge",
     "any", "status 0; also sent for keys 105 and 106", "", kSucceeded},
    {0x1291, G::Link, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "acknowledge",
     "any", "status 0", "", kSucceeded},
    {0x1292, G::Radio, P::Any, R::Data, N::Harmless, S::Nothing, F::Byte, kSoon, "Wi-Fi test progress",
     "none", "one byte: 101 minus the pass count", "", "\x64"},
    {0x1293, G::Network, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "wired network up",
     "none", "status 0 when the set has an address", "", kSucceeded},
    {0x1294, G::Radio, P::Any, R::Status, N::Harmless, S::Nothing, F::Status, kBluetoothTime, "Bluetooth search",
     "none", "status 0 when a device was found", "", kSucceeded},
    {0x1295, G::Picture, P::Any, R::Data, N::Harmless, S::Backlight, F::Byte, kSoon, "read backlight",
     "none", "one byte, 0 to 100", "", "\x64"},
    {0x1296, G::Record, P::Any, R::Data, N::Harmless, S::Nothing, F::Bits32Little, kSoon, "read running time",
     "none", "running time as 4 bytes little-endian; 10 when unknown or 0", "", "\x2C\x01\0\0"sv},
    {0x1297, G::Record, P::Any, R::Data, N::Harmless, S::Nothing, F::Text, kSoon, "read software version",
     "none", "the characters after the first dot", "", "2.3"},
    {0x1298, G::Record, P::NotEmpty, R::Status, N::Harmless, S::Whole, F::Status, kSoon, "write test result",
     "1 to 64 characters", "status", "PASS", kSucceeded},
    {0x1299, G::Link, P::Any, R::None, N::Counts, S::Whole, F::LinkClosing, kSoon, "leave factory mode",
     "none", "none; the link stops", "", ""},
    {0x129A, G::Finish, P::Any, R::Status, N::Counts, S::Whole, F::Status, kFinishTime, "factory finish",
     "none", "status, within about 20 s", "", kSucceeded},
    {0x129B, G::Finish, P::Any, R::Status, N::Counts, S::Whole, F::Status, kFinishTime, "factory finish",
     "none", "status, within about 20 s", "", kSucceeded},
    {0x129C, G::Board, P::NotEmpty, R::Status, N::Harmless, S::Nothing, F::Status, kSoon, "USB port check",
     "USB1 to USB4", "status 0 with at least that many marked sticks", "USB1", kSucceeded},
    {0x129D, G::Address, P::NotEmpty, R::Status, N::Harmless, S::MacAddress, F::Status, kSoon, "write MAC address, tagged",
     "MAC= and the address", "status", "MAC=00:11:22:33:44:55", kSucceeded},
    {0x129E, G::Network, P::NotEmpty, R::DataByText, N::Harmless, S::MacAddress, F::TextOrUnreadable, kSoon, "named query",
     "MAC, WIFIMAC, SN, DEVICEID, TVID, ESN, UL or ETH_IP", "the text; one byte 0x01 when it cannot be read", "ETH_IP", "192.168.1.20"},
    {0x129F, G::Sound, P::VolumeByte, R::Status, N::Harmless, S::Volume, F::Status, kSoon, "set main volume",
     "one byte, 0 to 100", "status 0", "\x14", kSucceeded},
    {0x12A0, G::Board, P::Any, R::Status, N::Harmless, S::Led, F::Status, kSoon, "LED colour",
     "RED_ON, RED_OFF, GREEN_ON or GREEN_OFF", "status", "RED_ON", kSucceeded},
    {0x12A1, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "ESN/ULPK/MAC file chunk",
     kChunk, kKeyboxAnswered, kExampleFile, kSucceeded},
    {0x12A2, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "Widevine keybox chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x12A3, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "ESN/ULPK/MAC file checksum",
     "none", kLastCrc, "", kExampleCrc},
    {0x12A4, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "Widevine keybox checksum",
     "none", kLastCrc, "", kExampleCrc},
    {0x12A5, G::Board, P::Any, R::Status, N::Harmless, S::Panel, F::Status, kPingTime, "panel, aspect and Ethernet",
     "PANEL_VCC_ON, PANEL_VCC_OFF, PANEL_BL_ON, PANEL_BL_OFF, ASPECT=16_9, ASPECT=4_3, ASPECT=FULL or ETHPING= and an address", "status", "ASPECT=16_9", kSucceeded},
    {0x12A6, G::Finish, P::Any, R::Status, N::Counts, S::Whole, F::Status, kFinishTime, "factory finish",
     "none", "status, within about 20 s", "", kSucceeded},
    {0x12A7, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Bits32Big, kInstallTime, "configuration file chunk",
     kChunk, "CRC-32, 4 bytes big-endian, when written and checked; status 1 otherwise", kExampleFile, kExampleCrc},
    Ignored(0x12A8),
    Ignored(0x12A9),
    Ignored(0x12AA),
    {0x12AB, G::Record, P::Any, R::Data, N::Harmless, S::Nothing, F::Bits32Little, kSoon, "read running time",
     "none", "running time as 4 bytes little-endian; 10 when unknown or 0", "", "\x2C\x01\0\0"sv},
    Ignored(0x12AC),
    Ignored(0x12AD),
    Ignored(0x12AE),
    Ignored(0x12AF),
    Ignored(0x12B0),
    Ignored(0x12B1),
    Ignored(0x12B2),
    {0x12B3, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "Netflix key chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x12B4, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "Netflix key checksum",
     "none", kLastCrc, "", kExampleCrc},
    Ignored(0x12B5),
    Ignored(0x12B6),
    Ignored(0x12B7),
    Ignored(0x12B8),
    {0x12B9, G::Key, P::KeyChunk, R::Deferred, N::Counts, S::Whole, F::Status, kInstallTime, "CI+ ECP key chunk",
     kChunk, kKeyAnswered, kExampleFile, kSucceeded},
    {0x12BA, G::Key, P::Any, R::KeyData, N::Harmless, S::Nothing, F::Bits32Big, kSoon, "CI+ ECP key checksum",
     "none", kLastCrc, "", kExampleCrc},
}};
// clang-format on

constexpr bool IdsAreComplete() {
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        if (kRows[i].id != kFirstCommand + i) {
            return false;
        }
    }
    return true;
}
static_assert(IdsAreComplete(), "every id from 0x1273 to 0x12BA has its row, in order");

}  // namespace catalogue

inline constexpr const std::array<CommandInfo, kCommandCount>& kCommandCatalogue = catalogue::kRows;

// The row of `id`, null outside the command range. Any thread.
constexpr const CommandInfo* FindCommand(std::uint32_t id) {
    return id < kFirstCommand || id > kLastCommand ? nullptr : &kCommandCatalogue[id - kFirstCommand];
}

// Whether the command changes its subject; it reads it otherwise.
constexpr bool ChangesSubject(const CommandInfo& row) {
    return row.subject != Subject::Nothing && (row.answer == AnswerForm::Status || row.subject == Subject::Whole);
}

// Whether a payload passes `rule`. KeyChunk lets any pass: its handler refuses, with a reply.
constexpr bool PayloadFits(PayloadRule rule, std::string_view payload) {
    constexpr std::size_t kMacTextLength = 17;
    constexpr std::uint8_t kMaxVolume = 100;
    switch (rule) {
        case PayloadRule::NotEmpty:
            return !payload.empty();
        case PayloadRule::MacText:
            return payload.size() == kMacTextLength;
        case PayloadRule::VolumeByte:
            return payload.size() == 1 && static_cast<std::uint8_t>(payload[0]) <= kMaxVolume;
        case PayloadRule::Any:
        case PayloadRule::KeyChunk:
            break;
    }
    return true;
}

}  // namespace zel

#endif
