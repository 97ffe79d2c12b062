// The pieces of state that UartManager holds for its rooms, one struct per subject. Several threads touch them,
// so every field is complete in itself; what has to change together is told apart by its owner.
#ifndef ZELFAC_UARTMANAGER_LINKSTATE_H
#define ZELFAC_UARTMANAGER_LINKSTATE_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zel {

// Values that the data queries return: the CRC-32 of the last file of each kind, 0 until one was received.
enum class QueryValue : std::uint8_t { Hdcp1, Hdcp2, CiPlus, EsnUlpkMac, Widevine, Netflix, CiPlusEcp, Config };
constexpr std::size_t kQueryValueCount = 8;
using QueryValues = std::array<std::atomic<std::int32_t>, kQueryValueCount>;

// How often each key was reported to the line; a key is reported ten times per run at most.
enum class ReportedKey : std::uint8_t { Power, ChannelUp, VolumeDown, ChannelDown, Menu, VolumeUp, Source };
constexpr std::size_t kReportedKeyCount = 7;
using KeyPressCounters = std::array<std::atomic<std::uint32_t>, kReportedKeyCount>;

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
