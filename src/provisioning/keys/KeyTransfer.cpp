// Key and configuration files arrive in chunks. Each is stored and appended to the assembly file; the one that
// makes the file complete starts the worker that installs it.
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "os/Delay.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "os/Thread.h"
#include "protocol/FrameCodec.h"
#include "provisioning/keys/KeyStaging.h"

namespace {

constexpr std::uint32_t kBusyDelayMilliseconds = 10;

// `format` with the chunk's index.
std::string Numbered(const char* format, std::uint8_t index) {
    std::array<char, sizeof "cat /tmp/tmpkey/tmp_%03d.bin >> /tmp/tmpkey/tmp.bin"> text{};
    std::snprintf(text.data(), text.size(), format, index);
    return text.data();
}

// Forgets the former transfer's files. The folder is private from its first moment: the shell's mkdir, which
// would let others look in until its mode is changed, finds it there.
void ResetStagingArea() {
    zel::RunUnread("rm -rf /tmp/tmpkey/");
    zel::MakePrivateFolder(zel::kStagingFolder);
    zel::RunUnread("mkdir -p /tmp/tmpkey/");
    if (!zel::RunUnread("touch /tmp/tmpkey/tmp.bin")) {
        zel::LogFailLoud("ZelUartCmdProcessRxCmd", __LINE__);
    }
    zel::SyncStorage();
}

// A chunk that cannot be stored is counted like any other: the file then fails its checks when it is installed.
void StoreChunk(const UartFrame& frame) {
    if (!zel::RunUnread(Numbered("touch /tmp/tmpkey/tmp_%03d.bin", frame.trailerA))) {
        zel::LogFail("ZelUartCmdProcessRxCmd", __LINE__);
    }
    const zel::File file = zel::OpenFile(Numbered("/tmp/tmpkey/tmp_%03d.bin", frame.trailerA), "wb+");
    if (file == nullptr || !zel::WriteAll(file.get(), std::string(zel::Payload(frame)))) {
        zel::LogFail("ZelUartCmdProcessRxCmd", __LINE__);
    }
}

void AppendChunk(std::uint8_t index) {
    if (!zel::RunUnread(Numbered("cat /tmp/tmpkey/tmp_%03d.bin >> /tmp/tmpkey/tmp.bin", index))) {
        zel::LogFailLoud("ZelUartCmdProcessRxCmd", __LINE__);
    }
}

}  // namespace

std::int32_t UartManager::ZelUartCmdProcessRxCmd(UartFrame frame) {
    if (frame.length == 0 || frame.length > zel::kMaxPayload) {
        zel::LogFail("ZelUartCmdProcessRxCmd", __LINE__);
        return 0;
    }
    std::atomic<std::uint8_t>& stored = m_keyTransfer.received[frame.trailerA];
    bool starting = true;
    if (frame.CommandId() == m_keyTransfer.currentId) {
        if (m_keyTransfer.busy != 0) {
            ClearPendingFrames();
            zel::DelayMilliseconds(kBusyDelayMilliseconds);
            return 1;
        }
        if (stored != 0 || m_bCurrentKeyFinish) {
            return 1;
        }
        starting = m_keyTransfer.receivedCount == 0;
    }
    if (starting) {
        ResetStagingArea();
        m_keyTransfer.Clear();
        m_keyTransfer.currentId = frame.CommandId();
    }
    if (stored == 0) {
        StoreChunk(frame);
        ++m_keyTransfer.receivedCount;
        stored = 1;
        AppendChunk(frame.trailerA);
    }
    if (m_keyTransfer.receivedCount == frame.trailerB) {
        StartKeyUpgrade(frame);
    }
    return 1;
}

std::int32_t UartManager::StartKeyUpgrade(UartFrame frame) {
    // Held until the flag says what it has to: the worker takes its frame under the same lock before it sets it.
    const std::lock_guard<std::mutex> lock(m_keyFrameMutex);
    m_keyFrame = frame;
    if (m_keyTransfer.busy != 0) {
        return 0;
    }
    m_keyTransfer.busy = 1;
    const int line = __LINE__ + 1;
    const int result = zel::StartThread(m_threadKeyUpgrade, ZelKeyUpgradeThread, this, line);
    if (result == 0) {
        m_keyTransfer.busy = 0;
    }
    zel::ReportThreadError(result, line, "pthread_create(&m_threadKeyUpgrade, &attr, ZelKeyUpgradeThread, this)");
    return result;
}

void* UartManager::ZelKeyUpgradeThread(void* manager) {
    zel::DetachThisThread();
    zel::NameThread("KeyUpgrade Task");
    static_cast<UartManager*>(manager)->InstallReceivedKey();
    return nullptr;
}
