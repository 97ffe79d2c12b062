// A scenario as its file has it: what is done to the set, and what sets it off.
#ifndef SIMSET_SCENARIO_SCENARIOFILE_H
#define SIMSET_SCENARIO_SCENARIOFILE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simset/control/Verbs.h"
#include "simset/core/trace/RowMatch.h"

namespace simset {

// One [[when]] of a scenario: a match or a time, and verbs.
struct ScenarioTrigger {
    std::size_t line = 0;           // of the file
    std::string text;               // the match or the time as the file has it, for people
    std::optional<RowMatch> match;  // nothing: `after` sets it off
    std::chrono::milliseconds after{0};
    std::uint64_t nth = 1;    // the first matching row that counts
    std::uint64_t times = 1;  // how often it is set off; 0: always
    double chance = 1;        // probability that a row which counts sets it off
    std::chrono::milliseconds delay{0};
    bool optional = false;  // need not come
    std::vector<Words> verbs;
};

struct Scenario {
    std::string file;    // as it was named
    std::string folder;  // paths in the verbs begin here
    std::uint64_t seed = 1;
    std::vector<ScenarioTrigger> triggers;
};

// The words of a verb written in one line: separated by blanks, with double quotes round those that hold blanks.
// Throws ControlError when a quote is not closed.
Words SplitWords(const std::string& text);

// Reads and checks a scenario; verbs have to be of one of `forms`. Throws RunError, with a line "FILE:LINE: …" for
// each mistake.
Scenario ReadScenario(const std::string& file, const std::vector<VerbForm>& forms);

}  // namespace simset

#endif
