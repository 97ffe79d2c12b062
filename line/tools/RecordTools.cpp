#include <fmt/format.h>

#include <regex>

#include "record/Runs.h"
#include "report/RunReports.h"
#include "report/RunTable.h"
#include "tools/Tools.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

double Percent(std::size_t part, std::size_t whole) {
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

Json PlaceJson(const RecordedRun& run) {
    return {{"v", 1},
            {"type", "run"},
            {"run", run.result.run},
            {"unit", run.place.unit},
            {"station", run.place.station},
            {"slot", run.place.slot},
            {"port", run.place.port},
            {"plan", run.result.plan},
            {"name", run.result.name},
            {"plan_sha256", run.planHash},
            {"tool", run.place.tool},
            {"started", run.result.started},
            {"ended", run.ended.empty() ? Json(nullptr) : Json(run.ended)},
            {"verdict", VerdictOf(run)}};
}

}  // namespace

Exit ShowHistory(const Context& context) {
    constexpr const char* kRow = "{:<22} {:<20} {:<16} {:<10} {:>7}  {}";
    Store store = OpenStore(context.options);
    if (!context.console.json) {
        context.console.out << fmt::format(kRow, "Run", "Begun", "Unit", "Verdict", "Time", "What failed")
                            << std::endl;
    }
    const auto runs = LastRuns(store, context.options.unit, static_cast<std::size_t>(context.options.last));
    if (runs.empty()) {
        context.console.Note(context.options.unit.empty() ? "no run is recorded"
                                                          : "no run of this unit is recorded");
    }
    for (const RecordedRun& run : runs) {
        const PlanResult& result = run.result;
        const std::string failed = result.steps.empty() ? "" : result.steps[0].name + ": " + result.steps[0].words;
        Json object = PlaceJson(run);
        object["ms"] = result.elapsed.count();
        object["failed_step"] = result.steps.empty() ? Json(nullptr) : Json(result.steps[0].name);
        object["words"] = result.steps.empty() ? "" : result.steps[0].words;
        context.console.Result(
            object,
            fmt::format(kRow, result.run, result.started, run.place.unit, VerdictOf(run),
                        run.ended.empty() ? "" : fmt::format("{:.1f} s", Seconds(result.elapsed)), failed));
    }
    return Exit::Success;
}

Exit ShowYield(const Context& context) {
    static const std::regex kDay("[0-9]{4}-(0[1-9]|1[0-2])-(0[1-9]|[12][0-9]|3[01])");
    const std::string& since = context.options.since;
    if (!since.empty() && !std::regex_match(since, kDay)) {
        Fail(Exit::Unusable, "--since {}: write a day such as 2026-05-04", since);
    }
    Store store = OpenStore(context.options);
    const auto yields = YieldOf(store, since);
    if (yields.empty()) {
        context.console.Note("no unit has come to the end of a run" + (since.empty() ? "" : " since " + since));
    }
    for (const PlanYield& yield : yields) {
        Json failures = Json::array();
        std::string words = fmt::format(
            "{}\n  first pass  {:5.1f} %  {} of {} units\n  in the end  {:5.1f} %  {} of {} units, {} runs",
            yield.plan, Percent(yield.firstPass, yield.units), yield.firstPass, yield.units,
            Percent(yield.passed, yield.units), yield.passed, yield.units, yield.runs);
        for (const StepFailures& step : yield.failures) {
            failures.push_back({{"step", step.step}, {"runs", step.runs}});
            words += fmt::format("\n  {:>4} runs failed in: {}", step.runs, step.step);
        }
        context.console.Result({{"v", 1},
                                {"type", "yield"},
                                {"name", yield.plan},
                                {"units", yield.units},
                                {"first_pass", yield.firstPass},
                                {"first_pass_yield", Percent(yield.firstPass, yield.units) / 100},
                                {"passed", yield.passed},
                                {"yield", Percent(yield.passed, yield.units) / 100},
                                {"runs", yield.runs},
                                {"failures", failures}},
                               words);
    }
    return Exit::Success;
}

Exit ReportRun(const Context& context) {
    const Console& console = context.console;
    Store store = OpenStore(context.options);
    const RecordedRun run = LoadRun(store, context.options.words[0]);
    const std::string about =
        fmt::format("Run {}{}, {} at {} on {}, zelline {}, plan {} (SHA-256 {})\nVariables {}\n{}", run.result.run,
                    run.place.unit.empty() ? "" : " of unit " + run.place.unit, run.place.station,
                    run.result.started, run.place.port, run.place.tool, run.result.plan, run.planHash,
                    run.variables, run.note.empty() ? "" : "Note: " + run.note + "\n");
    Json object = PlaceJson(run);
    object["variables"] = Json::parse(run.variables);
    object["note"] = run.note.empty() ? Json(nullptr) : Json(run.note);
    object["limits"] = Json::array();
    for (const std::string& limits : run.limits) {
        object["limits"].push_back(Json::parse(limits));
    }
    console.Result(object, about);
    RunReports reports(context.options.reports, run.result);
    RunTable table(console);
    for (RunObserver* observer : {static_cast<RunObserver*>(&table), static_cast<RunObserver*>(&reports)}) {
        observer->RunBegins(run.result);
        for (std::size_t number = 0; number < run.result.steps.size(); ++number) {
            observer->StepEnded(number, run.result.steps[number]);
        }
        observer->RunEnded(run.result);
    }
    return TellOf(console, reports, Exit::Success);
}

Exit TellOf(const Console& console, const RunReports& reports, Exit status) {
    for (const std::string& words : reports.Notes()) {
        console.Note(words);
    }
    for (const Error& error : reports.Problems()) {
        console.Fail(error);
        status = Worse(status, error.Status());
    }
    return status;
}

}  // namespace zelline
