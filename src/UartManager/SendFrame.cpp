#include <cstdio>

#include "UartManager/SendLock.h"
#include "UartManager/UartManager.h"
#include "os/SerialPort.h"
#include "protocol/AnswerForm.h"
#include "protocol/FrameCodec.h"

void UartManager::SendFrame(UartFrame frame) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    {
        const zel::SendLock lock(m_sendMutex);
        const std::int32_t port = input_fd;
        if (port != -1) {
            zel::WriteSerialPort(port, wire.bytes.data(), wire.size);
            return;
        }
    }
    std::printf("input_fd open failed\n");
}

void UartManager::SendStatusReply(std::uint16_t commandId, std::uint8_t status) {
    const char byte = static_cast<char>(status);
    SendFrame(zel::AnswerFrame(commandId, zel::AnswerForm::Status, {&byte, 1}));
}
