#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>

#include "cli/Tools.h"
#include "plan/PlanFile.h"
#include "plan/PlanRun.h"
#include "record/UnitRun.h"
#include "report/RunReports.h"
#include "report/RunTable.h"
#include "wire/Hex.h"

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

// What the tool itself gives to a plan, with texts that stand in for items until they are reserved.
Variables ProvidedVariables(const std::string& unit) {
    Variables provided;
    if (!unit.empty()) {
        provided["unit"] = unit;
    }
    for (const std::string& type : ItemTypes()) {
        provided[ItemVariable(type)] = type == kAddressStock ? "02:00:00:00:00:01" : "00000000";
    }
    return provided;
}

// Loads the plan or tells every mistake; nothing when there was one.
std::optional<Plan> Load(const Context& context) {
    const Console& console = context.console;
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(context.options.words[0], GivenVariables(context.options.variables), problems,
                         ProvidedVariables(context.options.unit));
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

std::string HostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// Refuses a run that lacks what its plan needs.
void CheckUnit(const Options& options, const Plan& plan) {
    const auto types = ItemTypesOf(plan);
    if (options.unit.empty() && !types.empty()) {
        Fail(Exit::Unusable, "items of the stock are for a unit: write --unit SERIAL");
    }
    if (options.unit != Printable(options.unit)) {
        Fail(Exit::Unusable, "'{}' is no serial number: it has characters that cannot be shown",
             Printable(options.unit));
    }
    if (options.store.empty() && !types.empty()) {
        Fail(Exit::Unusable, "the plan takes items from the stock: write --store STORE or set ZELLINE_STORE");
    }
}

}  // namespace

Exit RunPlan(const Context& context) {
    const Console& console = context.console;
    const Options& options = context.options;
    const Settings settings = options.ForVerbs();
    auto plan = Load(context);
    if (!plan) {
        Fail(Exit::Unusable, "{} cannot run as it is; nothing was sent", options.words[0]);
    }
    if (options.dryRun) {
        DryRun(console, *plan, settings);
        return Exit::Success;
    }
    CheckUnit(options, *plan);
    plan->unit = options.unit;
    plan->run = NewRunName();
    RunReports reports(options.reports, NotYetRun(*plan));
    std::optional<UnitRun> kept;
    if (!options.store.empty()) {
        kept.emplace(options.store, *plan,
                     RunPlace{options.unit, options.station.empty() ? HostName() : options.station, "",
                              options.port, ZELLINE_VERSION});
    }
    const Session session(context);
    TerminalProgress progress(console, *session.transport);
    RunTable table(console);
    std::vector<RunObserver*> observers = kept ? kept->Observers() : std::vector<RunObserver*>();
    observers.insert(observers.end(), {&table, &reports});
    Exit status = ExecutePlan(*plan, *session.link, settings, observers, &progress).status;
    for (const Error& error : kept ? kept->Problems() : std::vector<Error>()) {
        console.Fail(error);
        status = Worse(status, error.Status());
    }
    return TellOf(console, reports, status);
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
