// The content of a stick's files: address ranges and configurations.
#ifndef SIMSET_STICK_CONTENTS_H
#define SIMSET_STICK_CONTENTS_H

#include <cstdint>
#include <string>
#include <vector>

namespace simset::stick {

// What is wrong with a file's content, one sentence each; nothing when a set can use it as it is.
using Problems = std::vector<std::string>;

// A range of MAC addresses as a range file's first line has it.
struct RangeFile {
    Problems problems;
    bool taken = false;      // whether a set takes an address from it
    std::string next;        // the address that the next set gets, as the file writes it
    std::uint64_t left = 0;  // addresses from that one to the last
    bool moreLines = false;
};

// Reads the content of "mac.txt".
RangeFile ReadRangeFile(const std::string& content);

// A customer configuration.
struct ConfigurationFile {
    Problems problems;
    bool taken = true;  // whether a set that has a configuration already takes this one without an error
    std::vector<std::string> notes;
};

// Reads the content of "CONFIG.bin".
ConfigurationFile ReadConfigurationFile(const std::string& content);

}  // namespace simset::stick

#endif
