#include "report/RunReports.h"

namespace zelline {

RunReports::RunReports(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        m_reports.emplace_back(path);
    }
}

void RunReports::StepEnded(std::size_t number, const StepResult& result) {
    m_soFar.steps[number] = result;
    for (Report& report : m_reports) {
        try {
            report.Keep(m_soFar);
        } catch (const Error&) {  // told of when the run is over, as it need not fail for this
        }
    }
}

void RunReports::RunEnded(const PlanResult& result) {
    for (Report& report : m_reports) {
        try {
            report.Write(result);
        } catch (const Error& error) {
            m_problems.push_back(error);
        }
    }
}

}  // namespace zelline
