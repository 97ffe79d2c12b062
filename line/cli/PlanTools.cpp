#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "cli/Tools.h"
#include "plan/PlanFile.h"
#include "plan/PlanRun.h"
#include "report/RunReports.h"
#include "report/RunTable.h"

namespace zelline {
namespace {

Variables GivenVariables(const std::vector<std::string>& texts) {
    Variables variables;
    for (const std::string& text : texts) {
        const auto at = text.find('=');
        if (at == std::string::npos || at == 0) {
            Fail(Exit::Unusable, "'{}' does not fit: write --set NAME=VALUE", text);
        }
        variables[text.substr(0, at)] = text.substr(at + 1);
    }
    return variables;
}

std::string Place(const PlanProblem& problem) {
    return problem.line == 0 ? problem.file : fmt::format("{}:{}", problem.file, problem.line);
}

// Loads the plan or tells every mistake; nothing when there was one.
std::optional<Plan> Load(const Context& context) {
    const Console& console = context.console;
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(context.options.words[0], GivenVariables(context.options.variables), problems);
    for (const PlanProblem& problem : problems) {
        if (console.json) {
            console.Result({{"v", 1},
                            {"type", "problem"},
                            {"file", problem.file},
                            {"line", problem.line},
                            {"words", problem.words}},
                           "");
        }
        console.Note(fmt::format("{}: {}", Place(problem), problem.words));
    }
    return problems.empty() ? std::optional(std::move(plan)) : std::nullopt;
}

void DryRun(const Console& console, const Plan& plan, const Settings& settings) {
    bool inStep = false;
    for (const Step& step : plan.steps) {
        const Variables known = VariablesOf(step, plan.variables, {});
        std::vector<std::string> lines;
        std::string name = step.name;
        std::string verb = fmt::format("{}", fmt::join(step.words, " "));
        try {
            name = Expand(name, known);
            const Action action = StepAction(step, known);
            verb = action.verb;
            lines = Preview(action, StepSettings(step, settings), inStep);
            inStep = inStep || action.kind != Action::Kind::Leave;
        } catch (const Error&) {
            lines = {"depends on a value that an earlier step reads"};
        }
        Json object = {{"v", 1}, {"type", "preview"}, {"name", name}, {"verb", verb}, {"sends", lines}};
        std::string words = fmt::format("{}{}: {}", name, step.teardown ? " (teardown)" : "", verb);
        if (!step.runIf.empty()) {
            words += fmt::format("   if {}", step.runIf);
            object["run_if"] = step.runIf;
        }
        for (const std::string& line : lines) {
            words += "\n    " + line;
        }
        console.Result(object, words);
    }
}

}  // namespace

Exit RunPlan(const Context& context) {
    const Console& console = context.console;
    const Options& options = context.options;
    const Settings settings = options.ForVerbs();
    const auto plan = Load(context);
    if (!plan) {
        Fail(Exit::Unusable, "{} cannot run as it is; nothing was sent", options.words[0]);
    }
    if (options.dryRun) {
        DryRun(console, *plan, settings);
        return Exit::Success;
    }
    RunReports reports(options.reports);
    const Session session(context);
    TerminalProgress progress(console, *session.transport);
    RunTable table(console);
    Exit status = ExecutePlan(*plan, *session.link, settings, {&table, &reports}, &progress).status;
    for (const Error& error : reports.Problems()) {
        console.Fail(error);
        status = Worse(status, error.Status());
    }
    return status;
}

Exit ValidatePlan(const Context& context) {
    const auto plan = Load(context);
    if (!plan) {
        return Exit::Unusable;
    }
    const auto teardown =
        std::count_if(plan->steps.begin(), plan->steps.end(), [](const Step& step) { return step.teardown; });
    context.console.Result({{"v", 1}, {"type", "plan"}, {"name", plan->name}, {"steps", plan->steps.size()}},
                           fmt::format("{}: {} steps, {} of them teardown; the plan is in order", plan->name,
                                       plan->steps.size(), teardown));
    return Exit::Success;
}

}  // namespace zelline
