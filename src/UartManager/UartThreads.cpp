#include <algorithm>
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

// Frames and bursts wait for the command thread, which takes one of each per pass and may be busy for 30 s. The
// longest that a line sends before it waits for an answer is a key file, at most 255 chunks and a handful of
// queries: four of them fit. More is a flood, and what does not fit of it is dropped.
constexpr std::size_t kMostFrames = 1024;
// Bursts are parsed while no more frames than this wait: what comes behind a flood finds room.
constexpr std::size_t kFramesBeforeBurst = kMostFrames / 2;
// Bytes of bursts. A small burst counts as kLeastWeight, for what it costs to keep: so 256 of them fit, and as a
// burst ends with 0.5 s of silence they are two minutes of a line.
constexpr std::size_t kMostRaw = 4 * kBurstLimit;
constexpr std::size_t kLeastWeight = kMostRaw / 256;

std::size_t WeightOf(const std::vector<std::uint8_t>& burst) {
    return std::max(burst.size(), kLeastWeight);
}

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
        while (_bExitUartDebug == 0 && count < kBurstLimit &&
               (got = zel::ReadSerialPort(port, &burst[count], kBurstLimit - count)) > 0) {
            count += static_cast<std::size_t>(got);
        }
        if (count != 0) {
            QueueRawBlock({burst.begin(), burst.begin() + static_cast<std::ptrdiff_t>(count)});
        } else if (got < 0) {
            // A line that has hung up says so at once, every time: it shall cost no more than a silent one. It is
            // not opened again: what comes back does so behind the same descriptor.
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
    ParseRawBlock(HasRoomForFrames() ? TakeRawBlock() : std::vector<std::uint8_t>());
    UartFrame frame;
    if (TakeFrame(frame)) {
        ZelDecodeFacAutoTestCommand(frame);
    }
    if (m_bConnected == 0 && ++readyCounter > kReadyPasses) {
        SendCommand(zel::command::kReady, 0, " ");
        readyCounter = 0;
    }
}

bool UartManager::HasRoomForFrames() {
    const std::lock_guard<std::mutex> lock(m_frameMutex);
    return m_frameQueue.size() <= kFramesBeforeBurst;
}

std::vector<std::uint8_t> UartManager::TakeRawBlock() {
    const std::lock_guard<std::mutex> lock(m_rawMutex);
    if (m_rawQueue.empty()) {
        return {};
    }
    std::vector<std::uint8_t> block = std::move(m_rawQueue.front());
    m_rawQueue.pop_front();
    m_rawWeight -= WeightOf(block);
    return block;
}

void UartManager::ParseRawBlock(const std::vector<std::uint8_t>& block) {
    if (block.empty()) {
        return;
    }
    bool dropped = false;
    m_parser.ParseRxBytes(block.data(), block.size(), [&](const UartFrame& frame) {
        const std::lock_guard<std::mutex> lock(m_frameMutex);
        if (m_frameQueue.size() < kMostFrames) {
            m_frameQueue.push_back(frame);
        } else {
            dropped = true;
        }
    });
    // A flood goes on as long as every burst has frames too many.
    if (dropped && !m_frameFlood) {
        LogPrint("line flooded: %zu frames wait, dropping the rest\n", kMostFrames);
    }
    m_frameFlood = dropped;
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
    const std::size_t weight = WeightOf(block);
    bool floodBegins = false;
    {
        const std::lock_guard<std::mutex> lock(m_rawMutex);
        if (m_rawQueue.empty()) {
            m_rawFlood = false;
        }
        if (m_rawWeight + weight <= kMostRaw) {
            m_rawWeight += weight;
            m_rawQueue.push_back(std::move(block));
        } else {
            floodBegins = !m_rawFlood;
            m_rawFlood = true;
        }
    }
    if (floodBegins) {
        LogPrint("line flooded: bursts wait, dropping the rest\n");
    }
}
