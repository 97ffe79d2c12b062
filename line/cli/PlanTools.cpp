#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "cli/Tools.h"
#include "plan/PlanFile.h"
#include "plan/PlanRun.h"
#include "report/Report.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kWhatAt = kNameWidth + 26;
constexpr std::size_t kWhatWidth = 100 - kWhatAt;

// Columns that a printable text takes: characters from Hangul on take two.
std::size_t Columns(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const std::size_t size = std::max<std::size_t>(CharacterSize(text), 1);
        columns += static_cast<unsigned char>(text[0]) >= 0xE1 ? 2 : 1;
        text.remove_prefix(size);
    }
    return columns;
}

// The characters of a printable text that fit into `width` columns.
std::string Fitting(std::string_view text, std::size_t width) {
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t size = std::max<std::size_t>(CharacterSize(text.substr(end)), 1);
        if (Columns(text.substr(0, end + size)) > width) {
            break;
        }
        end += size;
    }
    return std::string(text.substr(0, end));
}

// In exactly `width` columns.
std::string Clip(const std::string& text, std::size_t width) {
    const std::string shown = Columns(text) <= width ? text : Fitting(text, width - 3) + "...";
    return shown + std::string(width - std::min(width, Columns(shown)), ' ');
}

// Words in lines of at most `width`, broken at blanks.
std::vector<std::string> Wrap(const std::string& text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t at = 0;
    while (at < text.size()) {
        const auto end = std::min(text.find(' ', at), text.size());
        std::string word = text.substr(at, end - at);
        at = end + 1;
        while (Columns(word) > width) {
            lines.push_back(Fitting(word, width));
            word.erase(0, lines.back().size());
        }
        if (!lines.back().empty() && Columns(lines.back()) + 1 + Columns(word) > width) {
            lines.emplace_back();
        }
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    if (lines.size() > 1 && lines.front().empty()) {
        lines.erase(lines.begin());
    }
    return lines;
}

std::string TableRow(std::size_t number, const StepResult& step) {
    const auto what = Wrap(Printable(step.words), kWhatWidth);
    std::string row =
        fmt::format("{:>3}  {}  {:<7}  {:>6.2f} s  {}", number, Clip(Printable(step.name), kNameWidth),
                    StateWord(step.state), Seconds(step.elapsed), what.front());
    for (std::size_t i = 1; i < what.size(); ++i) {
        row += fmt::format("\n{:{}}{}", "", kWhatAt, what[i]);
    }
    return row;
}

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
    std::vector<Report> reports;
    for (const std::string& path : options.reports) {
        reports.emplace_back(path);
    }
    const Session session(context);
    TerminalProgress progress(console, *session.transport);
    if (!console.json) {
        console.out << plan->name << "\n\n"
                    << fmt::format("{:>3}  {:<{}}  {:<7}  {:>8}  {}", "#", "Step", kNameWidth, "Result", "Time",
                                   "What")
                    << std::endl;
    }
    PlanResult soFar = NotYetRun(*plan);
    soFar.plan = options.words[0];
    std::size_t number = 0;
    const auto onStep = [&](const StepResult& step) {
        console.Result(StepJson(step), TableRow(number + 1, step));
        soFar.steps[number++] = step;
        for (Report& report : reports) {
            try {
                report.Keep(soFar);
            } catch (const Error&) {  // told of when the run is over, as it need not fail for this
            }
        }
    };
    PlanResult result = ExecutePlan(*plan, *session.link, settings, onStep, &progress);
    result.plan = options.words[0];
    console.Result(SummaryJson(result),
                   fmt::format("\n{}: {} of {} steps passed, {} failed, {:.1f} s", Verdict(result.status),
                               CountOf(result, StepState::Passed), result.steps.size(),
                               CountOf(result, StepState::Failed), Seconds(result.elapsed)));
    Exit status = result.status;
    for (Report& report : reports) {
        try {
            report.Write(result);
        } catch (const Error& error) {
            console.Fail(error);
            status = Worse(status, error.Status());
        }
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
