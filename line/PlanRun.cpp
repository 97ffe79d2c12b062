#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <regex>

#include "Hex.h"
#include "Plan.h"
#include "Report.h"

namespace zelline {
namespace {

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kWhatAt = kNameWidth + 26;
constexpr std::size_t kWhatWidth = 100 - kWhatAt;

// Why the outcome is not what the step expects; empty when it is.
std::string Mismatch(const Step& step, const Outcome& outcome, const Variables& variables) {
    const Expectation& expect = step.expect;
    if (outcome.status != expect.status) {
        return expect.status == Exit::Success
                   ? outcome.words
                   : fmt::format("expected {}, but {}", StatusWord(expect.status), outcome.words);
    }
    if (expect.equals && outcome.value != Expand(*expect.equals, variables)) {
        return fmt::format("expected \"{}\", got \"{}\"", Expand(*expect.equals, variables), outcome.value);
    }
    if (expect.matches && !std::regex_match(outcome.value, std::regex(Expand(*expect.matches, variables)))) {
        return fmt::format("\"{}\" does not match {}", outcome.value, Expand(*expect.matches, variables));
    }
    if (expect.least || expect.most) {
        char* end = nullptr;
        const double number = std::strtod(outcome.value.c_str(), &end);
        if (outcome.value.empty() || *end != '\0') {
            return fmt::format("\"{}\" is no number", outcome.value);
        }
        if (expect.least && number < *expect.least) {
            return fmt::format("{} is below {}", outcome.value, *expect.least);
        }
        if (expect.most && number > *expect.most) {
            return fmt::format("{} is above {}", outcome.value, *expect.most);
        }
    }
    if (step.within && outcome.elapsed > *step.within) {
        return fmt::format("took {} ms, limit {} ms", outcome.elapsed.count(), step.within->count());
    }
    return {};
}

// A plan's own values outrank the command line's, which hold for the steps that say nothing.
Settings Merge(const Settings& general, const Settings& own) {
    Settings merged = general;
    merged.timeout = own.timeout ? own.timeout : general.timeout;
    merged.retries = own.retries ? own.retries : general.retries;
    merged.pace = own.pace.count() > 0 ? own.pace : general.pace;
    return merged;
}

StepResult RunStep(const Step& step, Link& link, const Settings& settings, Variables& variables,
                   UploadProgress* progress) {
    StepResult result;
    result.name = step.name;
    result.verb = fmt::format("{}", fmt::join(step.words, " "));
    result.teardown = step.teardown;
    const Millis start = link.Line().Now();
    try {
        if (!step.runIf.empty() && !Holds(step.runIf, variables)) {
            result.state = StepState::Skipped;
            result.words = fmt::format("run only if {}", step.runIf);
            return result;
        }
        const Action action = StepAction(step, variables);
        result.verb = action.verb;
        if (step.wait.count() > 0) {
            link.Line().Sleep(step.wait);
        }
        const Outcome outcome = Perform(link, action, Merge(settings, step.settings), progress);
        const std::string mismatch = Mismatch(step, outcome, variables);
        result.state = mismatch.empty() ? StepState::Passed : StepState::Failed;
        result.status = mismatch.empty()                  ? Exit::Success
                        : outcome.status == Exit::Success ? Exit::Failure
                                                          : outcome.status;
        result.words = mismatch.empty() ? outcome.words : mismatch;
        result.value = outcome.value;
        result.tries = outcome.tries;
        result.elapsed = outcome.elapsed;
        if (!step.save.empty()) {
            variables[step.save] = outcome.value;
        }
    } catch (const Error& error) {
        result.state = StepState::Failed;
        result.status = error.Status();
        result.words = error.what();
        result.elapsed = link.Line().Now() - start;
    }
    return result;
}

std::string Clip(const std::string& text, std::size_t width) {
    return text.size() <= width ? text : text.substr(0, width - 3) + "...";
}

// Words in lines of at most `width`, broken at blanks.
std::vector<std::string> Wrap(const std::string& text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t at = 0;
    while (at < text.size()) {
        const auto end = std::min(text.find(' ', at), text.size());
        std::string word = text.substr(at, end - at);
        at = end + 1;
        while (word.size() > width) {
            lines.push_back(word.substr(0, width));
            word.erase(0, width);
        }
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width) {
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
    std::string row = fmt::format("{:>3}  {:<{}}  {:<7}  {:>6.2f} s  {}", number,
                                  Clip(Printable(step.name), kNameWidth), kNameWidth, StateWord(step.state),
                                  static_cast<double>(step.elapsed.count()) / 1000.0, what.front());
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
            throw Error(Exit::Unusable, fmt::format("'{}' does not fit: write --set NAME=VALUE", text));
        }
        variables[text.substr(0, at)] = text.substr(at + 1);
    }
    return variables;
}

std::string Place(const PlanProblem& problem) {
    return problem.line == 0 ? problem.file : fmt::format("{}:{}", problem.file, problem.line);
}

// Loads the plan or tells every mistake; nothing when there was one.
std::optional<Plan> Load(const Console& console, const RunOptions& options) {
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(options.path, GivenVariables(options.variables), problems);
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
    Variables variables = plan.variables;
    bool inStep = false;
    for (const Step& step : plan.steps) {
        std::vector<std::string> lines;
        std::string verb = fmt::format("{}", fmt::join(step.words, " "));
        try {
            const Action action = StepAction(step, variables);
            verb = action.verb;
            lines = Preview(action, Merge(settings, step.settings), inStep);
            inStep = inStep || action.kind != Action::Kind::Leave;
        } catch (const Error&) {
            lines = {"depends on a value that an earlier step reads"};
        }
        Json object = {{"v", 1}, {"type", "preview"}, {"name", step.name}, {"verb", verb}, {"sends", lines}};
        std::string words = fmt::format("{}{}: {}", step.name, step.teardown ? " (teardown)" : "", verb);
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

const char* StateWord(StepState state) {
    switch (state) {
        case StepState::Passed:
            return "passed";
        case StepState::Failed:
            return "failed";
        case StepState::Skipped:
            return "skipped";
        default:
            return "not run";
    }
}

PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::function<void(const StepResult&)>& onStep, UploadProgress* progress) {
    PlanResult result;
    result.name = plan.name;
    result.started = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr)));
    const Millis start = link.Line().Now();
    Variables variables = plan.variables;
    bool stopped = false;
    bool lost = false;
    for (const Step& step : plan.steps) {
        StepResult done;
        if (lost || (stopped && !step.teardown)) {
            done.name = step.name;
            done.verb = fmt::format("{}", fmt::join(step.words, " "));
            done.teardown = step.teardown;
            done.words = lost ? "the run was broken off" : "an earlier step failed";
        } else {
            done = RunStep(step, link, settings, variables, progress);
            lost = done.status == Exit::Port || done.status == Exit::Interrupted || done.status == Exit::Record;
            stopped = stopped || (done.state == StepState::Failed && step.stopOnFailure);
            result.status = Worse(result.status, done.status);
        }
        if (done.state == StepState::Failed) {
            variables[kAllSteps] = StateWord(StepState::Failed);
        }
        if (!step.id.empty()) {
            variables["step." + step.id] = StateWord(done.state);
        }
        onStep(done);
        result.steps.push_back(std::move(done));
    }
    result.elapsed = link.Line().Now() - start;
    return result;
}

Exit RunPlan(const Console& console, const RunOptions& options, const Settings& settings,
             const std::function<Link&()>& connect) {
    const auto plan = Load(console, options);
    if (!plan) {
        throw Error(Exit::Unusable, fmt::format("{} cannot run as it is; nothing was sent", options.path));
    }
    if (options.dryRun) {
        DryRun(console, *plan, settings);
        return Exit::Success;
    }
    std::vector<Report> reports;
    for (const std::string& path : options.reports) {
        reports.emplace_back(path);
    }
    Link& link = connect();
    TerminalProgress progress(console, link.Line());
    if (!console.json) {
        console.out << plan->name << "\n\n"
                    << fmt::format("{:>3}  {:<{}}  {:<7}  {:>8}  {}", "#", "Step", kNameWidth, "Result", "Time",
                                   "What")
                    << std::endl;
    }
    std::size_t number = 0;
    PlanResult result = ExecutePlan(
        *plan, link, settings,
        [&](const StepResult& step) { console.Result(StepJson(step), TableRow(++number, step)); }, &progress);
    result.plan = options.path;
    const auto passed = std::count_if(result.steps.begin(), result.steps.end(),
                                      [](const StepResult& step) { return step.state == StepState::Passed; });
    const auto failed = std::count_if(result.steps.begin(), result.steps.end(),
                                      [](const StepResult& step) { return step.state == StepState::Failed; });
    console.Result(SummaryJson(result),
                   fmt::format("\n{}: {} of {} steps passed, {} failed, {:.1f} s",
                               result.status == Exit::Success ? "PASSED" : "FAILED", passed, result.steps.size(),
                               failed, static_cast<double>(result.elapsed.count()) / 1000.0));
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

Exit ValidatePlan(const Console& console, const RunOptions& options) {
    const auto plan = Load(console, options);
    if (!plan) {
        return Exit::Unusable;
    }
    const auto teardown =
        std::count_if(plan->steps.begin(), plan->steps.end(), [](const Step& step) { return step.teardown; });
    console.Result({{"v", 1}, {"type", "plan"}, {"name", plan->name}, {"steps", plan->steps.size()}},
                   fmt::format("{}: {} steps, {} of them teardown; the plan is in order", plan->name,
                               plan->steps.size(), teardown));
    return Exit::Success;
}

}  // namespace zelline
