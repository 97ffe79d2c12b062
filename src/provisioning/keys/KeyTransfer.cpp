#include "provisioning/keys/KeyTransfer.h"

#include <cstdio>
#include <memory>
#include <string>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "os/Delay.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "os/Thread.h"
#include "protocol/FrameCodec.h"

namespace zel {
namespace {

constexpr char kIntake[] = "ZelUartCmdProcessRxCmd";
constexpr std::uint32_t kBusyDelayMilliseconds = 10;

// Forgets the former transfer's files. A link in the folder's place is gone before the shell, which would empty
// what it leads to, comes by. And the folder is private from its first moment: the shell's mkdir, which would let
// others look in until its mode is changed, finds it there.
void ResetStagingArea() {
    MakePrivateFolder(kStagingFolder);
    RunUnread("rm -rf /tmp/tmpkey/");
    MakePrivateFolder(kStagingFolder);
    RunUnread("mkdir -p /tmp/tmpkey/");
    if (!RunUnread("touch /tmp/tmpkey/tmp.bin")) {
        LogFailLoud(kIntake, __LINE__);
    }
    SyncStorage();
}

// A chunk that cannot be stored is counted like any other. The key store knows nothing of what is missing then:
// the line sees it by the checksum that it asks for.
void StoreChunk(const UartFrame& frame) {
    std::array<char, sizeof "/tmp/tmpkey/tmp_%03d.bin"> text{};
    std::snprintf(text.data(), text.size(), "/tmp/tmpkey/tmp_%03d.bin", frame.trailerA);
    const std::string path = text.data();
    if (!RunUnread("touch " + path)) {
        LogFail(kIntake, __LINE__);
    }
    {
        const File file = OpenFile(path, "wb+");
        if (file == nullptr || !WriteAll(file.get(), std::string(Payload(frame)))) {
            LogFail(kIntake, __LINE__);
        }
    }
    if (!RunUnread("cat " + path + " >> " + kAssemblyFile)) {
        LogFailLoud(kIntake, __LINE__);
    }
}

}  // namespace

std::int32_t KeyTransfer::TakeChunk(const UartFrame& frame) {
    if (frame.length == 0 || frame.length > kMaxPayload) {
        LogFail(kIntake, __LINE__);
        return 0;
    }
    const bool another = frame.CommandId() != m_currentId;
    if (another) {
        // The staging area is the worker's until it has answered. A link that is to stop does not wait for it.
        while (m_worker == Worker::UnderWay) {
            if (UartManager::_bExitUartDebug != 0) {
                return 1;
            }
            DelayMilliseconds(kBusyDelayMilliseconds);
        }
    } else if (m_worker != Worker::None) {
        m_manager.ClearPendingFrames();
        DelayMilliseconds(kBusyDelayMilliseconds);
        return 1;
    } else if (m_received[frame.trailerA] || m_bCurrentKeyFinish) {
        return 1;
    }
    if (another || m_receivedCount == 0) {
        ResetStagingArea();
        Clear();
        m_currentId = frame.CommandId();
    }
    StoreChunk(frame);
    ++m_receivedCount;
    m_received[frame.trailerA] = true;
    if (m_receivedCount == frame.trailerB) {
        StartWorker(frame);
    }
    return 1;
}

std::int32_t KeyTransfer::StartWorker(const UartFrame& frame) {
    {
        const std::lock_guard<std::mutex> lock(m_keyFrameMutex);
        m_keyFrame = frame;
    }
    if (m_worker != Worker::None) {
        return 0;
    }
    m_worker = Worker::UnderWay;
    const int line = __LINE__ + 1;
    const int result = StartThread(m_threadKeyUpgrade, UartManager::ZelKeyUpgradeThread, &m_manager, line);
    if (result != 0) {
        m_worker = Worker::NeverStarted;
    }
    ReportThreadError(result, line, "pthread_create(&m_threadKeyUpgrade, &attr, ZelKeyUpgradeThread, this)");
    return result;
}

void KeyTransfer::Clear() {
    m_received.fill(false);
    m_receivedCount = 0;
    m_currentId = 0;
}

std::shared_ptr<KeyTransfer> MakeKeyTransfer(UartManager& manager) {
    return std::make_shared<KeyTransfer>(manager);
}

}  // namespace zel

std::int32_t UartManager::ZelUartCmdProcessRxCmd(UartFrame frame) {
    return m_keyTransfer->TakeChunk(frame);
}

std::int32_t UartManager::StartKeyUpgrade(UartFrame frame) {
    return m_keyTransfer->StartWorker(frame);
}

std::uint32_t UartManager::ReceivedFileCrc(zel::KeyFile file) const {
    return m_keyTransfer->Crc(file);
}

void* UartManager::ZelKeyUpgradeThread(void* manager) {
    zel::DetachThisThread();
    zel::NameThread("KeyUpgrade Task");
    static_cast<UartManager*>(manager)->m_keyTransfer->InstallReceived();
    return nullptr;
}
