#include "wire/Request.h"

#include <fmt/format.h>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Hex.h"

namespace zelline {

namespace id = zel::command;

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
    switch (command) {
        case id::kFinish:
        case id::kFinish + 1:
        case 0x12A6:               // the third id of the same command
            return Millis(30000);  // 20 s for the TV service's confirmation, and the model work around it
        case id::kBluetoothSearch:
            return Millis(25000);  // 9 s when a search is under way; a search of its own takes 8 s and more
        case id::kSourceCheck:
            return Millis(20000);  // the first tuner input also learns the tuners and loads the channel preset
        case id::kPanelAspectEthernet:
            return Millis(6000);  // a ping has one second, after the set has looked for its own address
        default:
            return Millis(3000);
    }
}

bool MayRepeat(std::uint16_t command) {
    return DefaultTimeout(command) <= Millis(6000) && command != id::kLeaveFactory;
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
    const bool fits = row->payload == zel::PayloadRule::NotEmpty  ? !payload.empty()
                      : row->payload == zel::PayloadRule::MacText ? payload.size() == 17
                      : row->payload == zel::PayloadRule::VolumeByte
                          ? payload.size() == 1 && static_cast<std::uint8_t>(payload[0]) <= 100
                          : true;
    return fits
               ? std::string()
               : fmt::format("the set drops this command unless its payload is {}", std::string(row->payloadText));
}

}  // namespace zelline
