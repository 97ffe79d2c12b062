#include <cstdio>
#include <utility>

#include "UartManager/SendLock.h"
#include "UartManager/UartManager.h"
#include "os/Delay.h"
#include "os/SerialPort.h"
#include "os/Thread.h"
#include "protocol/CommandCatalogue.h"

namespace {

constexpr char kPortPath[] = "/dev/ttyS0";
constexpr std::size_t kBurstLimit = 307200;  // bytes; a longer burst goes on as the next one
constexpr std::uint32_t kSilence = 500000;   // microseconds of silence that end a burst
constexpr std::uint32_t kPassPause = 10000;  // microseconds between two passes of the command thread
constexpr std::uint32_t kReadyPasses = 199;  // passes without a ready frame; the one after sends it

}  // namespace

void* UartManager::ZelInitThread(void* manager) {
    zel::NameThread("UartManager Task");
    static_cast<UartManager*>(manager)->ZelUartReadLoop();
    return nullptr;
}

void UartManager::ZelUartReadLoop() {
    const int port = zel::OpenSerialPort(kPortPath);
    input_fd = port;
    if (port < 0) {
        std::printf("error open %s\n", kPortPath);
        return;
    }
    zel::ConfigureSerialPort(port);
    LogPrint("cus uart debug test loop start\n");
    std::vector<std::uint8_t> burst(kBurstLimit);
    while (_bExitUartDebug == 0) {
        std::size_t count = 0;
        ssize_t got = 0;
        while (count < kBurstLimit && (got = zel::ReadSerialPort(port, &burst[count], kBurstLimit - count)) > 0) {
            count += static_cast<std::size_t>(got);
        }
        if (count != 0) {
            QueueRawBlock({burst.begin(), burst.begin() + static_cast<std::ptrdiff_t>(count)});
        } else if (got < 0) {
            // A dead line fails at once, every time: it shall cost no more than a silent one.
            zel::DelayMicroseconds(kSilence);
        }
    }
    {
        const zel::SendLock lock(m_sendMutex);
        input_fd = -1;
        zel::CloseSerialPort(port);
    }
    std::printf("Cus Uart1 Debug Exit!\n");
}

void* UartManager::ZelUartCommandThread(void* manager) {
    auto& self = *static_cast<UartManager*>(manager);
    zel::NameThread("UartCommand Task");
    std::uint32_t readyCounter = 0;
    while (_bExitUartDebug == 0) {
        self.RunCommandPass(readyCounter);
        zel::DelayMicroseconds(kPassPause);
    }
    return nullptr;
}

void UartManager::RunCommandPass(std::uint32_t& readyCounter) {
    std::vector<std::uint8_t> block;
    {
        const std::lock_guard<std::mutex> lock(m_rawMutex);
        if (!m_rawQueue.empty()) {
            block = std::move(m_rawQueue.front());
            m_rawQueue.pop_front();
        }
    }
    ParseRawBlock(block);
    UartFrame frame;
    if (TakeFrame(frame)) {
        ZelDecodeFacAutoTestCommand(frame);
    }
    if (m_bConnected == 0 && ++readyCounter > kReadyPasses) {
        SendCommand(zel::command::kReady, 0, " ");
        readyCounter = 0;
    }
}

void UartManager::ParseRawBlock(const std::vector<std::uint8_t>& block) {
    m_parser.ParseRxBytes(block.data(), block.size(), [this](const UartFrame& frame) {
        const std::lock_guard<std::mutex> lock(m_frameMutex);
        m_frameQueue.push_back(frame);
    });
}

bool UartManager::TakeFrame(UartFrame& frame) {
    const std::lock_guard<std::mutex> lock(m_frameMutex);
    if (m_frameQueue.empty()) {
        return false;
    }
    frame = m_frameQueue.front();
    m_frameQueue.pop_front();
    return true;
}

void UartManager::ClearPendingFrames() {
    const std::lock_guard<std::mutex> lock(m_frameMutex);
    m_frameQueue.clear();
}

void UartManager::QueueRawBlock(std::vector<std::uint8_t> block) {
    const std::lock_guard<std::mutex> lock(m_rawMutex);
    m_rawQueue.push_back(std::move(block));
}
