// The verbs that do more, or less, than ask the set for one thing.
#ifndef ZELLINE_CLI_TOOLS_H
#define ZELLINE_CLI_TOOLS_H

#include <string>
#include <string_view>
#include <vector>

#include "cli/Session.h"
#include "report/RunReports.h"
#include "store/Store.h"
#include "wire/Error.h"

namespace zelline {

// One such verb: what stands behind it, its help, and what carries it out.
struct ToolVerb {
    std::string_view name;
    std::string_view
        words;  // what must stand behind it: one word, or any number when it ends in "..."; empty for nothing
    std::vector<const OptionInfo*> options;
    std::string_view help;  // one line
    std::string_view more;
    Exit (*run)(const Context& context);
    std::vector<std::string_view> forms = {};  // its forms when there are several, for the pages and completions
};

// All of them, in the order of the help page.
const std::vector<ToolVerb>& ToolVerbs();

// The store that the options name. Throws Error as Store does, and with Exit::Unusable when they name none.
Store OpenStore(const Options& options);

// Tells of report files that made older ones give way or could not be written; returns the worst of `status` and
// what it told of.
Exit TellOf(const Console& console, const RunReports& reports, Exit status);

// Tells of the mistakes of a plan or of a station.
void TellOf(const Console& console, const std::vector<PlanProblem>& problems);

// What carries out those that have a file of their own.
Exit Listen(const Context& context);
Exit Replay(const Context& context);
Exit RunPlan(const Context& context);
Exit ValidatePlan(const Context& context);
Exit WorkOnStock(const Context& context);
Exit ShowHistory(const Context& context);
Exit ShowYield(const Context& context);
Exit ReportRun(const Context& context);
Exit RunStation(const Context& context);
Exit ShowManual(const Context& context);
Exit ShowCompletion(const Context& context);

// The forms of `stock`.
std::vector<std::string_view> StockForms();

}  // namespace zelline

#endif
