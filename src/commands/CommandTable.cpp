#include "commands/CommandTable.h"

#include "commands/Handlers.h"
#include "log/LogPrint.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace zel {
namespace {

// clang-format off
constexpr CommandRow kRows[] = {
    {0x1273, HandleConnect,             nullptr},
    {0x1274, HandleWritePcbSn,          nullptr},
    {0x1275, nullptr,                   AnswerPcbSn},
    {0x1278, HandleWriteMac,            nullptr},
    {0x1279, nullptr,                   AnswerMac},
    {0x127B, nullptr,                   AnswerWifiMac},
    {0x1281, HandleFileChunk,           nullptr},
    {0x1282, nullptr,                   AnswerKeyChecksum},
    {0x1283, HandleFileChunk,           nullptr},
    {0x1284, nullptr,                   AnswerKeyChecksum},
    {0x1285, HandleFileChunk,           nullptr},
    {0x1286, nullptr,                   AnswerKeyChecksum},
    {0x1287, HandleAcknowledge,         nullptr},
    {0x1288, HandleSourceCheck,         nullptr},
    {0x1289, HandleAcknowledge,         nullptr},
    {0x128A, HandleCamDetected,         nullptr},
    {0x128B, HandleAcknowledge,         nullptr},
    {0x128C, HandleAcknowledge,         nullptr},
    {0x128D, HandleBacklightFull,       nullptr},
    {0x128E, HandleBacklightOff,        nullptr},
    {0x128F, HandleBacklightFull,       nullptr},
    {0x1290, HandleAcknowledge,         nullptr},
    {0x1291, HandleAcknowledge,         nullptr},
    {0x1292, nullptr,                   AnswerWifiProgress},
    {0x1293, HandleWiredNetwork,        nullptr},
    {0x1294, HandleBluetoothSearch,     nullptr},
    {0x1295, nullptr,                   AnswerBacklight},
    {0x1296, nullptr,                   AnswerRunningTime},
    {0x1297, nullptr,                   AnswerSoftwareVersion},
    {0x1298, HandleWriteTestResult,     nullptr},
    {0x1299, HandleLeaveFactory,        AnswerLinkClosing},
    {0x129A, HandleFinish,              nullptr},
    {0x129B, HandleFinish,              nullptr},
    {0x129C, HandleUsbPort,             nullptr},
    {0x129D, HandleWriteMacTagged,      nullptr},
    {0x129E, nullptr,                   AnswerNamedQuery},
    {0x129F, HandleVolume,              nullptr},
    {0x12A0, HandleLed,                 nullptr},
    {0x12A1, HandleFileChunk,           nullptr},
    {0x12A2, HandleFileChunk,           nullptr},
    {0x12A3, nullptr,                   AnswerKeyChecksum},
    {0x12A4, nullptr,                   AnswerKeyChecksum},
    {0x12A5, HandlePanelAspectEthernet, nullptr},
    {0x12A6, HandleFinish,              nullptr},
    {0x12A7, HandleFileChunk,           AnswerKeyChecksum},
    {0x12AB, nullptr,                   AnswerRunningTime},
    {0x12B3, HandleFileChunk,           nullptr},
    {0x12B4, nullptr,                   AnswerKeyChecksum},
    {0x12B9, HandleFileChunk,           nullptr},
    {0x12BA, nullptr,                   AnswerKeyChecksum},
};
// clang-format on

constexpr const CommandRow* Find(std::uint32_t id) {
    for (const CommandRow& row : kRows) {
        if (row.id == id) {
            return &row;
        }
    }
    return nullptr;
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
        const CommandRow* row = Find(command.id);
        if (NeedsHandler(command) && (row == nullptr || row->handler == nullptr)) {
            return false;
        }
    }
    return true;
}
static_assert(StatusCommandsHaveHandlers(), "a command whose reply is a status has a handler");

constexpr bool DataCommandsHaveAnswers() {
    for (const CommandInfo& command : kCommandCatalogue) {
        const CommandRow* row = Find(command.id);
        if (HasData(command.answer) != (row != nullptr && row->answer != nullptr)) {
            return false;
        }
    }
    return true;
}
static_assert(DataCommandsHaveAnswers(), "a command has an answer if and only if its answer carries data");

constexpr bool EveryRowIsReached() {
    for (const CommandRow& row : kRows) {
        const CommandInfo* command = FindCommand(row.id);
        if (command == nullptr || command->group == CommandGroup::Ignored ||
            (row.handler == nullptr && row.answer == nullptr)) {
            return false;
        }
    }
    return true;
}
static_assert(EveryRowIsReached(), "rows stand for commands that are carried out or answered");

}  // namespace

const CommandRow* FindCommandRow(std::uint32_t id) {
    return Find(id);
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
