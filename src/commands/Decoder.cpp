// The dispatcher of received frames: gate, payload rule, handler, reply.

#include <array>

#include "UartManager/SharedState.h"
#include "commands/Handlers.h"
#include "log/LogPrint.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace zel {
namespace {

struct HandlerRow {
    std::uint16_t id;
    CommandHandler handler;  // null: nothing to do but the reply that the catalogue names
};

// clang-format off
constexpr std::array<HandlerRow, kCommandCount> kHandlers = {{
    {0x1273, HandleConnect},          {0x1274, HandleWritePcbSn},          {0x1275, nullptr},
    {0x1276, nullptr},                {0x1277, nullptr},                   {0x1278, HandleWriteMac},
    {0x1279, nullptr},                {0x127A, nullptr},                   {0x127B, nullptr},
    {0x127C, nullptr},                {0x127D, nullptr},                   {0x127E, nullptr},
    {0x127F, nullptr},                {0x1280, nullptr},                   {0x1281, HandleFileChunk},
    {0x1282, nullptr},                {0x1283, HandleFileChunk},           {0x1284, nullptr},
    {0x1285, HandleFileChunk},        {0x1286, nullptr},                   {0x1287, HandleAcknowledge},
    {0x1288, HandleSourceCheck},      {0x1289, HandleAcknowledge},         {0x128A, HandleCamDetected},
    {0x128B, HandleAcknowledge},      {0x128C, HandleAcknowledge},         {0x128D, HandleBacklightFull},
    {0x128E, HandleBacklightOff},     {0x128F, HandleBacklightFull},       {0x1290, HandleAcknowledge},
    {0x1291, HandleAcknowledge},      {0x1292, nullptr},                   {0x1293, HandleWiredNetwork},
    {0x1294, HandleBluetoothSearch},  {0x1295, nullptr},                   {0x1296, nullptr},
    {0x1297, nullptr},                {0x1298, HandleWriteTestResult},     {0x1299, HandleLeaveFactory},
    {0x129A, HandleFinish},           {0x129B, HandleFinish},              {0x129C, HandleUsbPort},
    {0x129D, HandleWriteMacTagged},   {0x129E, nullptr},                   {0x129F, HandleVolume},
    {0x12A0, HandleLed},              {0x12A1, HandleFileChunk},           {0x12A2, HandleFileChunk},
    {0x12A3, nullptr},                {0x12A4, nullptr},                   {0x12A5, HandlePanelAspectEthernet},
    {0x12A6, HandleFinish},           {0x12A7, HandleFileChunk},           {0x12A8, nullptr},
    {0x12A9, nullptr},                {0x12AA, nullptr},                   {0x12AB, nullptr},
    {0x12AC, nullptr},                {0x12AD, nullptr},                   {0x12AE, nullptr},
    {0x12AF, nullptr},                {0x12B0, nullptr},                   {0x12B1, nullptr},
    {0x12B2, nullptr},                {0x12B3, HandleFileChunk},           {0x12B4, nullptr},
    {0x12B5, nullptr},                {0x12B6, nullptr},                   {0x12B7, nullptr},
    {0x12B8, nullptr},                {0x12B9, HandleFileChunk},           {0x12BA, nullptr},
}};
// clang-format on

constexpr bool IdsAreComplete() {
    for (std::size_t i = 0; i < kHandlers.size(); ++i) {
        if (kHandlers[i].id != kFirstCommand + i) {
            return false;
        }
    }
    return true;
}
static_assert(IdsAreComplete(), "every command id has its row, in order");

constexpr std::uint8_t kStatusSuccess = 0;
constexpr std::uint8_t kStatusFailure = 1;
}  // namespace

std::string PayloadText(const UartFrame& frame) {
    const std::string_view payload = Payload(frame);
    return std::string(payload.substr(0, payload.find('\0')));
}

Outcome DecodeFailed(int line) {
    LogFail("ZelDecodeFacAutoTestCommand", line);
    return Outcome::Failure;
}

Outcome DecodeFailed(int line, std::int32_t code) {
    LogFailCode("ZelDecodeFacAutoTestCommand", line, code);
    return Outcome::Failure;
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
    const zel::CommandHandler handler = zel::kHandlers[id - zel::kFirstCommand].handler;
    const bool failed = handler != nullptr && handler(*this, frame) == zel::Outcome::Failure;
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
