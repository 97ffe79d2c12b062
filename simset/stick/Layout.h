// Where things lie on a stick, and what a set takes from it.
#ifndef SIMSET_STICK_LAYOUT_H
#define SIMSET_STICK_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace simset::stick {

constexpr const char* kStickMarker = "USB.ZEL";  // at the root: what the USB port check counts
constexpr const char* kCustomerFolder = "RW9602CustomerFile";
constexpr const char* kCustomerMarker = "ZelFacTest_Eu4K";  // in the customer folder
constexpr const char* kExportFolder = "CopyRW9602CustomerFile";
constexpr const char* kOemEntry = "OEM_data";  // at the root
constexpr const char* kConfigName = "CONFIG.bin";

// A path longer than this may be cut by a set, whose mount point comes in front of it.
constexpr std::size_t kMaxPath = 96;

enum class ItemKind : std::uint8_t { Configuration, Key, MacRange };

// One thing that a set takes from the customer folder.
struct Item {
    ItemKind kind;
    const char* title;
    const char* folder;     // in the customer folder
    const char* needle;     // what the name of its file contains
    const char* errorWord;  // what a set shows when it cannot use the file
    const char* sample;     // name of a sample file; of a key in front of its number
    std::size_t sampleSize;
};

// In the order in which a set takes them.
extern const std::array<Item, 8> kItems;

}  // namespace simset::stick

#endif
