// The report files of one run, which grow with it.
#ifndef ZELLINE_REPORT_RUNREPORTS_H
#define ZELLINE_REPORT_RUNREPORTS_H

#include <string>
#include <vector>

#include "report/Report.h"
#include "run/RunObserver.h"
#include "wire/Error.h"

namespace zelline {

class RunReports : public RunObserver {
  public:
    // In a path {unit}, {run}, {plan}, {date} and {time} (UTC) stand for those of `run`; characters that could
    // mean something in a path become '_'. Throws what Report does for the first of the files that cannot be one,
    // and Error with Exit::Unusable for other names in braces and for two paths that are one.
    RunReports(const std::vector<std::string>& patterns, const PlanResult& run);

    void RunBegins(const PlanResult& planned) override { m_soFar = planned; }
    void StepEnded(std::size_t number, const StepResult& result) override;
    void RunEnded(const PlanResult& result) override;

    // What became known of files that could not be written when the run had ended.
    const std::vector<Error>& Problems() const { return m_problems; }

    // Sentences on older files that had to make room.
    const std::vector<std::string>& Notes() const { return m_notes; }

  private:
    std::vector<Report> m_reports;
    PlanResult m_soFar;
    std::vector<Error> m_problems;
    std::vector<std::string> m_notes;
};

}  // namespace zelline

#endif
