// Sample sticks.
#ifndef SIMSET_STICK_MAKER_H
#define SIMSET_STICK_MAKER_H

#include <string>

namespace simset::stick {

// What a sample stick holds.
struct Sample {
    unsigned keys = 1;  // key files of each kind, 1..9999: sets that the stick serves
    std::string range = "02-00-00-00-00-01--02-00-00-00-00-64";
    bool oem = false;
    bool copy = false;  // also a configuration as a set exports it
};

// Fills a folder, made when it is missing, with a sample stick. The key files are made up and open nothing.
// Throws std::invalid_argument when the folder holds something already or the range is none, std::system_error
// when it cannot be written.
void MakeStick(const std::string& folder, const Sample& sample);

}  // namespace simset::stick

#endif
