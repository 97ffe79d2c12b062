#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "plan/PlanFile.h"
#include "record/UnitRun.h"
#include "report/RunReports.h"
#include "report/RunTable.h"
#include "report/TerminalOperator.h"
#include "run/PlanRun.h"
#include "run/Segments.h"
#include "store/Digest.h"
#include "tools/Tools.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

// Pairs as an option gives them, "NAME=VALUE"; `form` shows how it is written.
Variables GivenVariables(const std::vector<std::string>& texts, const char* form = "--set NAME=VALUE") {
    Variables variables;
    for (const std::string& text : texts) {
        const auto at = text.find('=');
        if (at == std::string::npos || at == 0) {
            Fail(Exit::Unusable, "'{}' does not fit: write {}", text, form);
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
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(context.options.words[0], GivenVariables(context.options.variables), problems,
                         ProvidedVariables(context.options.unit));
    TellOf(context.console, problems);
    return problems.empty() ? std::optional(std::move(plan)) : std::nullopt;
}

// What the run would send, as if every step passed.
class DryRun {
  public:
    DryRun(const Console& console, const Plan& plan, const Settings& settings)
        : m_console(console), m_plan(plan), m_settings(settings), m_values{plan.variables, {}} {}

    void Show(bool oneByOne) {
        for (std::size_t number = 0; number < m_plan.steps.size();) {
            const Segment segment = NextSegment(m_plan, number, m_values, m_settings);
            if (segment.steps.size() > 1 && !oneByOne) {
                number = ShowTogether(segment);
            } else {
                ShowAlone(number++);
            }
        }
    }

  private:
    Variables Known(const Step& step) const { return VariablesOf(step, m_values.variables, {}); }

    std::size_t ShowTogether(const Segment& segment) {
        std::vector<BurstItem> items;
        for (const SegmentStep& each : segment.steps) {
            items.push_back(ItemOf(each.action, StepSettings(m_plan.steps[each.number], m_settings)));
        }
        const std::string bytes = fmt::format("{} bytes at most", Burst::MostBytes(items));
        const std::string until =
            segment.reason.empty() ? std::string() : fmt::format("; the next does not: {}", segment.reason);
        ++m_bursts;
        m_console.Result(
            {{"v", 1},
             {"type", "burst"},
             {"burst", m_bursts},
             {"steps", segment.steps.size()},
             {"bytes", Burst::MostBytes(items)},
             {"until", segment.reason}},
            fmt::format("Burst {}: {} steps go out together, {}{}", m_bursts, segment.steps.size(), bytes, until));
        const std::vector<UartFrame> frames = Burst::Frames(items);
        auto frame = frames.begin();
        std::size_t number = segment.steps.front().number;
        for (const SegmentStep& each : segment.steps) {
            for (; number < each.number; ++number) {
                Show(number, "", {"left out by its condition"}, 0);
            }
            std::vector<std::string> lines;
            if (!m_inStep) {
                lines = {FrameLine(ConnectFrame()), FrameLine(FrameOf({kFences[0], "", 0, 0}))};
            }
            const auto tell = [&] { lines.push_back(FrameLine(*frame++)); };
            while (frame->CommandId() != each.action.request.id) {
                tell();
            }
            tell();
            if (&each == &segment.steps.back()) {
                while (frame != frames.end()) {
                    tell();
                }
            }
            Show(number++, each.action.verb, lines, m_bursts);
            m_inStep = true;
        }
        return number;
    }

    void ShowAlone(std::size_t number) {
        const Step& step = m_plan.steps[number];
        std::vector<std::string> lines;
        std::string verb;
        try {
            const Action action = StepAction(step, Known(step));
            verb = action.verb;
            lines = Preview(action, StepSettings(step, m_settings), m_inStep);
            const bool connects = !IsForOperator(action) || action.kind == Action::Kind::Press;
            m_inStep = m_inStep || (connects && action.kind != Action::Kind::Leave);
        } catch (const Error&) {
            lines = {"depends on a value that an earlier step reads"};
        }
        Show(number, verb, lines, 0);
    }

    void Show(std::size_t number, std::string verb, const std::vector<std::string>& lines, int burst) {
        const Step& step = m_plan.steps[number];
        std::string name = step.name;
        try {
            name = Expand(name, Known(step));
        } catch (const Error&) {  // it has a value that an earlier step reads
            name = step.name;
        }
        verb = verb.empty() ? fmt::format("{}", fmt::join(step.words, " ")) : verb;
        Json object = {{"v", 1},
                       {"type", "preview"},
                       {"name", name},
                       {"verb", verb},
                       {"burst", burst == 0 ? Json(nullptr) : Json(burst)},
                       {"sends", lines}};
        const std::string indent = burst == 0 ? "" : "  ";
        std::string words = fmt::format("{}{}{}: {}", indent, name, step.teardown ? " (teardown)" : "", verb);
        if (!step.runIf.empty()) {
            words += fmt::format("   if {}", step.runIf);
            object["run_if"] = step.runIf;
        }
        for (const std::string& line : lines) {
            words += fmt::format("\n{}    {}", indent, line);
        }
        m_console.Result(object, words);
        if (!step.id.empty()) {
            m_values.variables["step." + step.id] = StateWord(StepState::Passed);
        }
    }

    const Console& m_console;
    const Plan& m_plan;
    const Settings& m_settings;
    Values m_values;
    int m_bursts = 0;
    bool m_inStep = false;
};

std::string HostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// The station's own file beside a server: one for each server, among what the user's programs keep.
std::string LedgerFile(const Options& options) {
    if (!options.ledger.empty() || !IsServer(options.store)) {
        return options.ledger;
    }
    constexpr std::size_t kDigits = 12;
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    if (state == nullptr && home == nullptr) {
        Fail(Exit::Unusable, "beside a server the station needs a file of its own: write --ledger FILE");
    }
    const std::filesystem::path folder =
        (state == nullptr ? std::filesystem::path(home) / ".local" / "state" : std::filesystem::path(state)) /
        "zelline";
    std::error_code status;
    std::filesystem::create_directories(folder, status);
    return (folder / (Sha256(WithoutPassword(options.store)).substr(0, kDigits) + ".db")).string();
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

// Refuses a run whose questions nobody could answer, and answers that no question has.
Variables CheckedAnswers(const Options& options, const Plan& plan, bool atTerminal) {
    Variables unused = GivenVariables(options.answers, "--answer STEP=TEXT");
    const Variables answers = unused;
    std::string place;  // of the first one without an answer
    std::string missing;
    for (const Step& step : plan.steps) {
        if (!IsOperatorStep(step) || step.words[0] == "await") {
            continue;
        }
        const std::string& name = step.id.empty() ? step.name : step.id;
        const auto given = answers.find(name);
        unused.erase(name);
        if (given == answers.end() && !atTerminal) {
            place = place.empty() ? fmt::format("{}:{}", step.file, step.line) : place;
            missing += fmt::format(" --answer '{}={}'", name, step.words[0] == "confirm" ? "yes|no" : "TEXT");
        }
        if (given != answers.end() && step.words[0] == "confirm" && !YesOrNo(given->second)) {
            Fail(Exit::Unusable, "--answer {}={}: the step wants yes or no", name, given->second);
        }
        if (given != answers.end() && given->second.find_first_not_of(" \t\r\n") == std::string::npos) {
            Fail(Exit::Unusable, "--answer {}=: an empty answer is none", name);
        }
    }
    if (!missing.empty()) {
        Fail(Exit::Unusable, "{}: the step asks the operator, and {}: write{}; nothing was sent", place,
             options.json ? "with --json nobody is asked" : "standard input is no terminal", missing);
    }
    if (!unused.empty()) {
        Fail(Exit::Unusable, "--answer {}: the plan has no such step that asks the operator",
             unused.begin()->first);
    }
    return answers;
}

}  // namespace

void TellOf(const Console& console, const std::vector<PlanProblem>& problems) {
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
}

Exit RunPlan(const Context& context) {
    const Console& console = context.console;
    const Options& options = context.options;
    const Settings settings = options.ForVerbs();
    auto plan = Load(context);
    if (!plan) {
        Fail(Exit::Unusable, "{} cannot run as it is; nothing was sent", options.words[0]);
    }
    if (options.dryRun) {
        DryRun(console, *plan, settings).Show(options.oneByOne);
        return Exit::Success;
    }
    CheckUnit(options, *plan);
    const bool atTerminal = !console.json && ::isatty(STDIN_FILENO) == 1;
    TerminalOperator person(console, CheckedAnswers(options, *plan, atTerminal), atTerminal);
    plan->unit = options.unit;
    plan->run = NewRunName();
    RunReports reports(options.reports, NotYetRun(*plan));
    std::optional<UnitRun> kept;
    if (!options.store.empty()) {
        kept.emplace(options.store, LedgerFile(options), *plan,
                     RunPlace{options.unit, options.station.empty() ? HostName() : options.station, "",
                              options.port, ZELLINE_VERSION});
    }
    const Session session(context);
    TerminalProgress progress(console, *session.transport);
    RunTable table(console);
    std::vector<RunObserver*> observers = kept ? kept->Observers() : std::vector<RunObserver*>();
    observers.insert(observers.end(), {&table, &reports});
    Exit status =
        ExecutePlan(*plan, *session.link, settings, observers, &progress, options.oneByOne, &person).status;
    if (kept) {
        kept->End();
        for (const std::string& words : kept->Notes()) {
            console.Note("zelline: " + words);
        }
        for (const Error& error : kept->Problems()) {
            console.Fail(error);
            status = Worse(status, error.Status());
        }
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
