// What a set would do with a stick, and what is wrong with it.
#ifndef SIMSET_STICK_CHECKER_H
#define SIMSET_STICK_CHECKER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simset::stick {

// Something that a person should know about a stick.
struct Finding {
    enum class Level : std::uint8_t { Note, Problem };
    Level level;
    std::string path;  // in the stick; empty for the stick as a whole
    std::string text;  // one sentence
};

// What a set will do with the stick in USB update mode.
struct Expectation {
    bool endsAging = false;             // a set in aging mode starts the update because of it
    bool imports = false;               // else it exports its configuration onto the stick
    std::vector<std::string> steps;     // in order, one line each
    int status = 0;                     // 0..4, as the set reports it
    std::string message;                // the words that it shows with the status
    std::string screen;                 // first line of its screen
    std::optional<std::uint64_t> sets;  // how many sets the stick serves; nothing without a limit
};

struct Report {
    std::vector<Finding> findings;
    Expectation expected;

    bool Usable() const;
};

// Looks at a folder as a set would look at a stick with its content. Throws std::invalid_argument when it is no
// folder, std::system_error when it cannot be read.
Report CheckStick(const std::string& folder);

}  // namespace simset::stick

#endif
