// What carries out the verbs that do more, or less, than ask the set for one thing.
#ifndef ZELLINE_TOOLS_TOOLS_H
#define ZELLINE_TOOLS_TOOLS_H

#include <string_view>
#include <vector>

#include "report/RunReports.h"
#include "store/Store.h"
#include "tools/Session.h"
#include "wire/Error.h"

namespace zelline {

// The store that the options name. Throws Error as Store does, and with Exit::Unusable when they name none, or a
// file that is not there and is not to be made: `isNew` tells whether it may be.
Store OpenStore(const Options& options, bool isNew = false);

// Tells of report files that made older ones give way or could not be written; returns the worst of `status` and
// what it told of.
Exit TellOf(const Console& console, const RunReports& reports, Exit status);

// Tells of the mistakes of a plan or of a station.
void TellOf(const Console& console, const std::vector<PlanProblem>& problems);

// What carries the verbs out. Each throws Error as what it works with does.
Exit ShowPorts(const Context& context);
Exit Listen(const Context& context);
Exit Replay(const Context& context);
Exit Decode(const Context& context);
Exit ShowCommands(const Context& context);
Exit RunPlan(const Context& context);
Exit ValidatePlan(const Context& context);
Exit WorkOnStock(const Context& context);
Exit ShowHistory(const Context& context);
Exit ShowYield(const Context& context);
Exit ReportRun(const Context& context);
Exit RunStation(const Context& context);

// The forms of `stock`.
std::vector<std::string_view> StockForms();

}  // namespace zelline

#endif
