// A key or configuration file on its way from the line into the set: chunks, assembly, worker, answer.
#ifndef ZELFAC_PROVISIONING_KEYS_KEYTRANSFER_H
#define ZELFAC_PROVISIONING_KEYS_KEYTRANSFER_H

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "protocol/KeyFiles.h"
#include "protocol/UartFrame.h"

class UartManager;

// Set when a key file (not a configuration file) was installed; while set, all but the first chunk of a further
// transfer are ignored. Cleared by the queries of a key's checksum.
inline std::atomic<bool> m_bCurrentKeyFinish{false};

namespace zel {

constexpr char kStagingFolder[] = "/tmp/tmpkey";
constexpr char kAssemblyFile[] = "/tmp/tmpkey/tmp.bin";  // the chunks received so far, in order of arrival

// One file at a time: while a worker is under way the command thread leaves the rest alone.
class KeyTransfer {
  public:
    // `manager` sends the answers and takes in CI+ keys and configurations; it outlives the transfer.
    explicit KeyTransfer(UartManager& manager) : m_manager(manager) {}

    // Takes one chunk; the one that makes the file complete starts the worker. A chunk of another file waits until
    // the worker under way has answered. 0 when its length was out of range, else 1. Command thread.
    std::int32_t TakeChunk(const UartFrame& frame);

    // Keeps the frame and starts the worker unless one is under way or could not be started once. The thread
    // library's status. Command thread.
    std::int32_t StartWorker(const UartFrame& frame);

    // The worker's work, on its thread: install what was received, answer, and be ready for the next file.
    void InstallReceived();

    // The CRC-32 of the last file of that kind, 0 until one was received. Any thread.
    std::uint32_t Crc(KeyFile file) const { return m_crcs[static_cast<std::size_t>(file)]; }

  private:
    enum class Worker : std::uint8_t { None, UnderWay, NeverStarted };

    void InstallAndAnswer(std::uint16_t commandId);
    void Clear();

    UartManager& m_manager;
    pthread_t m_threadKeyUpgrade{};  // the last worker
    std::mutex m_keyFrameMutex;
    UartFrame m_keyFrame{};                      // the frame that completed the last transfer
    std::atomic<Worker> m_worker{Worker::None};  // what keeps the two threads apart
    std::atomic<std::uint16_t> m_currentId{0};   // command id of the transfer, 0 none
    std::uint16_t m_receivedCount = 0;           // distinct chunks stored
    std::array<std::atomic<std::uint32_t>, kKeyFiles.size()> m_crcs{};  // by KeyFile
    std::array<bool, 256> m_received{};                                 // by chunk index
};

}  // namespace zel

#endif
