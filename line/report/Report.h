// Reports of plan runs, as files of four kinds.
#ifndef ZELLINE_REPORT_REPORT_H
#define ZELLINE_REPORT_REPORT_H

#include <string>

#include "plan/Plan.h"

namespace zelline {

// One report file. It is made sure of before the run that it can be written, and appears under its name only
// when it is whole.
class Report {
  public:
    // The kind follows the name's end: .json, .xml (JUnit), .csv or .html. Throws Error with Exit::Unusable for
    // any other, with Exit::Record when the file cannot be written.
    explicit Report(const std::string& path);
    Report(Report&& other) noexcept;
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    ~Report();

    // Keeps the result of a run that goes on beside the report, as PATH.part, for the case that the process is
    // killed. Throws Error with Exit::Record.
    void Keep(const PlanResult& result);

    // A file of that name is kept under another, NAME.N.END, which is returned; empty when there was none. Throws
    // Error with Exit::Record.
    std::string Write(const PlanResult& result);

    const std::string& Path() const { return m_path; }

  private:
    using Format = std::string (*)(const PlanResult&);

    std::string m_path;
    std::string m_temporary;  // empty once written or moved from
    Format m_format = nullptr;
};

double Seconds(Millis time);

// How many steps of the run are in that state.
std::ptrdiff_t CountOf(const PlanResult& result, StepState state);

// As --json and the JSON report have them.
Json StepJson(const StepResult& step);
Json SummaryJson(const PlanResult& result);

}  // namespace zelline

#endif
