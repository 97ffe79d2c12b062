// Reads the records of runs: one of them again, the list, and what they say of a line.
#ifndef ZELLINE_RECORD_RUNS_H
#define ZELLINE_RECORD_RUNS_H

#include <string>
#include <vector>

#include "plan/Plan.h"
#include "record/RunRecord.h"
#include "store/Store.h"

namespace zelline {

// A run as it was recorded.
struct RecordedRun {
    RunPlace place;
    std::string planHash;   // SHA-256 of the plan's files
    std::string variables;  // a JSON object
    std::string ended;      // UTC; empty for one that has not ended
    std::string note;       // what was unusual as it began; mostly empty
    // The run that has not ended counts as stopped, and steps of which nothing is known as not run.
    PlanResult result;
    std::vector<std::string> limits;  // a JSON object for each step
};

// "PASSED", "FAILED", "ABORTED", or "UNFINISHED" for one whose tool is still at it or was killed.
std::string VerdictOf(const RecordedRun& run);

// The run of that name, of the one name that begins so, or the last one for "last". Throws Error: with
// Exit::Unusable when there is none or more than one, with Exit::Store as the store does.
RecordedRun LoadRun(Store& store, const std::string& name);

// The last `most` runs, the latest last, without their steps but for the first that failed; of one unit unless
// that is empty.
std::vector<RecordedRun> LastRuns(Store& store, const std::string& unit, std::size_t most);

struct StepFailures {
    std::string step;
    std::size_t runs = 0;  // in which it failed
};

// What came of the units of one plan. A unit is judged by runs that came to an end on their own, and runs without
// a unit are left out.
struct PlanYield {
    std::string plan;           // its name
    std::size_t units = 0;      // that were tried
    std::size_t firstPass = 0;  // whose first run passed
    std::size_t passed = 0;     // whose last run passed
    std::size_t runs = 0;
    std::vector<StepFailures> failures;  // most first
};

// Of the runs that began at `since` (UTC, as records have it) or later; of all when that is empty.
std::vector<PlanYield> YieldOf(Store& store, const std::string& since);

}  // namespace zelline

#endif
