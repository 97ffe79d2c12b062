#include "wire/Request.h"

#include <fmt/format.h>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Hex.h"

namespace zelline {

namespace id = zel::command;

constexpr int kUnknownCommand = 3000;  // ms to wait for an answer that should not come

UartFrame FrameOf(const Request& request) {
    UartFrame frame = zel::MakeFrame(zel::FrameKind::Ready, request.id);  // kind 0, which requests carry too
    zel::SetPayload(frame, request.payload);
    frame.trailerA = request.trailerA;
    frame.trailerB = request.trailerB;
    return frame;
}

UartFrame ConnectFrame() {
    return FrameOf({id::kConnect, "", 0, 0});
}

bool CarriesFileBytes(std::uint16_t command) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    return row != nullptr && row->payload == zel::PayloadRule::KeyChunk;
}

Millis DefaultTimeout(std::uint16_t command) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    return Millis(row == nullptr ? kUnknownCommand : row->answerTime);
}

bool MayRepeat(std::uint16_t command) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    return row == nullptr || row->repeat == zel::RepeatRule::Harmless;
}

std::string DropReason(std::uint16_t command, const std::string& payload) {
    const zel::CommandInfo* row = zel::FindCommand(command);
    if (row == nullptr) {
        return fmt::format("the set drops ids outside {} to {}", IdText(zel::kFirstCommand),
                           IdText(zel::kLastCommand));
    }
    if (row->reply == zel::ReplyRule::None) {
        return "the set never answers this command";
    }
    if (row->reply == zel::ReplyRule::Deferred) {
        return "the set answers only once the last chunk of a file is there";
    }
    return zel::PayloadFits(row->payload, payload)
               ? std::string()
               : fmt::format("the set drops this command unless its payload is {}", row->payloadText);
}

}  // namespace zelline
