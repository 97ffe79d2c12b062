#include "commands/CommandTable.h"

#include "commands/Handlers.h"
#include "log/LogPrint.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace zel {
namespace {

constexpr CommandRow Does(std::uint16_t id, CommandHandler handler) {
    return {id, true, false, handler, nullptr};
}
constexpr CommandRow Says(std::uint16_t id, CommandAnswer answer) {
    return {id, false, true, nullptr, answer};
}
constexpr CommandRow DoesAndSays(std::uint16_t id, CommandHandler handler, CommandAnswer answer) {
    return {id, true, true, handler, answer};
}

constexpr CommandRow kRows[] = {
    Does(0x1273, HandleConnect),
    Does(0x1274, HandleWritePcbSn),
    Says(0x1275, AnswerPcbSn),
    Does(0x1278, HandleWriteMac),
    Says(0x1279, AnswerMac),
    Says(0x127B, AnswerWifiMac),
    Does(0x1281, HandleFileChunk),
    Says(0x1282, AnswerKeyChecksum),
    Does(0x1283, HandleFileChunk),
    Says(0x1284, AnswerKeyChecksum),
    Does(0x1285, HandleFileChunk),
    Says(0x1286, AnswerKeyChecksum),
    Does(0x1287, HandleAcknowledge),
    Does(0x1288, HandleSourceCheck),
    Does(0x1289, HandleAcknowledge),
    Does(0x128A, HandleCamDetected),
    Does(0x128B, HandleAcknowledge),
    Does(0x128C, HandleAcknowledge),
    Does(0x128D, HandleBacklightFull),
    Does(0x128E, HandleBacklightOff),
    Does(0x128F, HandleBacklightFull),
    Does(0x1290, HandleAcknowledge),
    Does(0x1291, HandleAcknowledge),
    Says(0x1292, AnswerWifiProgress),
    Does(0x1293, HandleWiredNetwork),
    Does(0x1294, HandleBluetoothSearch),
    Says(0x1295, AnswerBacklight),
    Says(0x1296, AnswerRunningTime),
    Says(0x1297, AnswerSoftwareVersion),
    Does(0x1298, HandleWriteTestResult),
    DoesAndSays(0x1299, HandleLeaveFactory, AnswerLinkClosing),
    Does(0x129A, HandleFinish),
    Does(0x129B, HandleFinish),
    Does(0x129C, HandleUsbPort),
    Does(0x129D, HandleWriteMacTagged),
    Says(0x129E, AnswerNamedQuery),
    Does(0x129F, HandleVolume),
    Does(0x12A0, HandleLed),
    Does(0x12A1, HandleFileChunk),
    Does(0x12A2, HandleFileChunk),
    Says(0x12A3, AnswerKeyChecksum),
    Says(0x12A4, AnswerKeyChecksum),
    Does(0x12A5, HandlePanelAspectEthernet),
    Does(0x12A6, HandleFinish),
    DoesAndSays(0x12A7, HandleFileChunk, AnswerKeyChecksum),
    Says(0x12AB, AnswerRunningTime),
    Does(0x12B3, HandleFileChunk),
    Says(0x12B4, AnswerKeyChecksum),
    Does(0x12B9, HandleFileChunk),
    Says(0x12BA, AnswerKeyChecksum),
};

constexpr std::size_t kRowCount = sizeof kRows / sizeof kRows[0];

// kRowCount when the id has no row.
constexpr std::size_t PlaceOf(std::uint32_t id) {
    std::size_t place = 0;
    while (place < kRowCount && kRows[place].id != id) {
        ++place;
    }
    return place;
}

constexpr bool Acts(std::uint32_t id) {
    return PlaceOf(id) < kRowCount && kRows[PlaceOf(id)].acts;
}

constexpr bool Tells(std::uint32_t id) {
    return PlaceOf(id) < kRowCount && kRows[PlaceOf(id)].tells;
}

constexpr bool IsInOrder() {
    std::uint32_t former = 0;
    for (const CommandRow& row : kRows) {
        if (row.id <= former) {
            return false;
        }
        former = row.id;
    }
    return true;
}
static_assert(IsInOrder(), "one row for each id, in order");

constexpr bool NeedsHandler(const CommandInfo& command) {
    return command.reply == ReplyRule::Status || command.reply == ReplyRule::StatusTwice ||
           command.reply == ReplyRule::Deferred;
}

constexpr bool HasData(AnswerForm form) {
    return form != AnswerForm::None && form != AnswerForm::Status && form != AnswerForm::Empty;
}

constexpr bool StatusCommandsHaveHandlers() {
    for (const CommandInfo& command : kCommandCatalogue) {
        if (NeedsHandler(command) && !Acts(command.id)) {
            return false;
        }
    }
    return true;
}
static_assert(StatusCommandsHaveHandlers(), "a command whose reply is a status has a handler");

constexpr bool DataCommandsHaveAnswers() {
    for (const CommandInfo& command : kCommandCatalogue) {
        if (HasData(command.answer) != Tells(command.id)) {
            return false;
        }
    }
    return true;
}
static_assert(DataCommandsHaveAnswers(), "a command has an answer if and only if its answer carries data");

constexpr bool EveryRowIsReached() {
    std::size_t reached = 0;
    for (const CommandInfo& command : kCommandCatalogue) {
        if (command.group != CommandGroup::Ignored && (Acts(command.id) || Tells(command.id))) {
            ++reached;
        }
    }
    return reached == kRowCount;
}
static_assert(EveryRowIsReached(), "rows stand for commands that are carried out or answered");

}  // namespace

const CommandRow* FindCommandRow(std::uint32_t id) {
    const std::size_t place = PlaceOf(id);
    return place < kRowCount ? &kRows[place] : nullptr;
}

std::string PayloadText(const UartFrame& frame) {
    const std::string_view payload = Payload(frame);
    return std::string(payload.substr(0, payload.find('\0')));
}

CommandResult DecodeFailed(int line) {
    LogFail("ZelDecodeFacAutoTestCommand", line);
    return CommandResult::Failure;
}

CommandResult DecodeFailed(int line, std::int32_t code) {
    LogFailCode("ZelDecodeFacAutoTestCommand", line, code);
    return CommandResult::Failure;
}

CommandResult SuccessIf(bool succeeded, int line) {
    return succeeded ? CommandResult::Success : DecodeFailed(line);
}

}  // namespace zel
