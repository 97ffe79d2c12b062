// What the set does for each command of the line, and what it answers: the set's half of the command catalogue.
#ifndef ZELFAC_COMMANDS_COMMANDTABLE_H
#define ZELFAC_COMMANDS_COMMANDTABLE_H

#include <cstdint>
#include <string>

#include "UartManager/UartManager.h"
#include "protocol/AnswerForm.h"
#include "protocol/UartFrame.h"

namespace zel {

enum class CommandResult : std::uint8_t { Success, Failure };

// Carries a command out. The dispatcher sends the status reply that the catalogue asks for.
using CommandHandler = CommandResult (*)(UartManager& manager, const UartFrame& frame);

// What the query `id` is answered; `text` is the query name where the catalogue says that the payload is one.
using CommandAnswer = AnswerValue (*)(UartManager& manager, std::uint16_t id, const std::string& text);

// Whether there is a handler or an answer is said beside them: the build with sanitizers cannot compare a
// function's address with null at compile time.
struct CommandRow {
    std::uint16_t id;
    bool acts;
    bool tells;
    CommandHandler handler;  // null unless it acts
    CommandAnswer answer;    // null unless it tells
};

// The row of `id`, null for a command that needs neither. Any thread.
const CommandRow* FindCommandRow(std::uint32_t id);

// The payload as the text that stands before its first zero byte.
std::string PayloadText(const UartFrame& frame);

// Failures are logged with the decoder's failure line, with the code where one is at hand.
CommandResult DecodeFailed(int line);
CommandResult DecodeFailed(int line, std::int32_t code);
CommandResult SuccessIf(bool succeeded, int line);

}  // namespace zel

#endif
