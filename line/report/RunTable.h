// A plan's run on the console: a row for each step, and the verdict.
#ifndef ZELLINE_REPORT_RUNTABLE_H
#define ZELLINE_REPORT_RUNTABLE_H

#include "report/Console.h"
#include "run/RunObserver.h"

namespace zelline {

// With --json the step and summary objects, else a table.
class RunTable : public RunObserver {
  public:
    explicit RunTable(const Console& console) : m_console(console) {}

    void RunBegins(const PlanResult& planned) override;
    void StepEnded(std::size_t number, const StepResult& result) override;
    void RunEnded(const PlanResult& result) override;

  private:
    const Console& m_console;
};

}  // namespace zelline

#endif
