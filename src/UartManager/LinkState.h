// The pieces of state that UartManager holds for its rooms, one struct per subject. Several threads touch them,
// so every field is complete in itself; what has to change together is told apart by its owner.
#ifndef ZELFAC_UARTMANAGER_LINKSTATE_H
#define ZELFAC_UARTMANAGER_LINKSTATE_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "protocol/KeyFiles.h"

namespace zel {

// The CRC-32 of the last file of each kind, by KeyFile; 0 until one was received.
using QueryValue = KeyFile;
using QueryValues = std::array<std::atomic<std::int32_t>, kKeyFiles.size()>;

// The key file being received. The command thread fills it, the key worker clears it when it ends; `busy` is what
// keeps the two apart.
struct KeyTransferState {
    std::atomic<std::uint16_t> currentId{0};                // command id of the transfer, 0 none
    std::atomic<std::uint16_t> receivedCount{0};            // distinct chunks stored
    std::array<std::atomic<std::uint8_t>, 256> received{};  // by chunk index, 1 stored
    std::atomic<std::uint8_t> busy{0};                      // 1 while a worker is started or runs

    // No transfer, no chunks; `busy` stays.
    void Clear() {
        for (std::atomic<std::uint8_t>& flag : received) {
            flag = 0;
        }
        receivedCount = 0;
        currentId = 0;
    }
};

}  // namespace zel

#endif
