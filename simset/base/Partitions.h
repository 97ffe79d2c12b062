// The set's partitions and their sizes.
#ifndef SIMSET_BASE_PARTITIONS_H
#define SIMSET_BASE_PARTITIONS_H

#include <array>
#include <cstdint>

namespace simset {

struct Partition {
    const char* path;
    std::uint64_t size;  // in bytes, a multiple of kDiskPage
};

constexpr std::uint64_t kDiskPage = 4096;  // what a file takes at least
constexpr std::uint64_t kMebibyte = 1048576;

// Each a file system of its own, mounted read-only when the set gets power.
constexpr std::array<Partition, 9> kPartitions = {{{"/zodata/critical", 4 * kMebibyte},
                                                   {"/zodata/factory", 16 * kMebibyte},
                                                   {"/zodata/model", 16 * kMebibyte},
                                                   {"/var/local", 16 * kMebibyte},
                                                   {"/var/run", 8 * kMebibyte},
                                                   {"/vendor/tvconfig/config", 32 * kMebibyte},
                                                   {"/config", 32 * kMebibyte},
                                                   {"/serialdata", 8 * kMebibyte},
                                                   {"/certificate", 16 * kMebibyte}}};

// Sticks are mounted below this folder.
constexpr const char* kStickFolders = "/mnt/usb/";
constexpr std::uint64_t kStickSize = 8192 * kMebibyte;

}  // namespace simset

#endif
