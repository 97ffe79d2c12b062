// The dispatcher of received frames: gate, payload rule, handler, reply; and the handlers of the link itself.

#include "commands/Handlers.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "provisioning/keys/KeyTransfer.h"

namespace zel {
namespace {

constexpr std::uint8_t kStatusSuccess = 0;
constexpr std::uint8_t kStatusFailure = 1;

}  // namespace

CommandResult HandleConnect(UartManager& manager, const UartFrame& /*frame*/) {
    manager.m_bConnected = 1;
    return CommandResult::Success;
}

CommandResult HandleAcknowledge(UartManager& /*manager*/, const UartFrame& /*frame*/) {
    return CommandResult::Success;
}

CommandResult HandleLeaveFactory(UartManager& manager, const UartFrame& /*frame*/) {
    manager.SetRunMode(RunMode::None);
    manager.Stop();
    return CommandResult::Success;
}

CommandResult HandleFileChunk(UartManager& manager, const UartFrame& frame) {
    return SuccessIf(manager.ZelUartCmdProcessRxCmd(frame) != 0, __LINE__);
}

}  // namespace zel

void UartManager::ZelDecodeFacAutoTestCommand(UartFrame frame) {
    const std::uint16_t id = frame.CommandId();
    if (m_bConnected == 0 && id != zel::command::kConnect) {
        return;
    }
    const zel::CommandInfo* command = zel::FindCommand(id);
    if (command == nullptr || !zel::PayloadFits(command->payload, zel::Payload(frame))) {
        return;
    }
    const zel::CommandRow* row = zel::FindCommandRow(id);
    const bool failed =
        row != nullptr && row->handler != nullptr && row->handler(*this, frame) == zel::CommandResult::Failure;
    const std::uint8_t status = failed ? zel::kStatusFailure : zel::kStatusSuccess;
    switch (command->reply) {
        case zel::ReplyRule::None:
            break;
        case zel::ReplyRule::StatusTwice:
            SendStatusReply(id, status);
            SendStatusReply(id, status);
            break;
        case zel::ReplyRule::Status:
            SendStatusReply(id, status);
            break;
        case zel::ReplyRule::Failure:
            SendStatusReply(id, zel::kStatusFailure);
            break;
        case zel::ReplyRule::Deferred:
            if (failed) {
                SendStatusReply(id, status);
            }
            break;
        case zel::ReplyRule::KeyData:
            m_bCurrentKeyFinish = false;
            SendCommand(id, 0, " ");
            break;
        case zel::ReplyRule::Data:
            SendCommand(id, 0, " ");
            break;
        case zel::ReplyRule::DataByText:
            SendCommand(id, 0, zel::PayloadText(frame));
            break;
    }
}
