#include "run/PlanRun.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <regex>

#include "link/Burst.h"
#include "run/OperatorStep.h"
#include "run/Segments.h"
#include "wire/Error.h"

namespace zelline {
namespace {

constexpr Millis kReadyPeriod{2300};  // between two ready frames of a set that is not connected, at most
constexpr Millis kAskAgain{500};      // between two askings of a step with 'until'
constexpr const char* kStopped = "stopped while it was under way";

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

// The step's result before it has run.
StepResult ResultOf(const Step& step, const Variables& variables) {
    StepResult result;
    try {
        result.name = Expand(step.name, variables);
    } catch (const Error&) {  // it names a value that a step which did not run would have saved
        result.name = step.name;
    }
    result.verb = fmt::format("{}", fmt::join(step.words, " "));
    result.teardown = step.teardown;
    result.id = step.id;
    return result;
}

void Wait(Transport& line, Millis time, UploadProgress* progress) {
    const Millis start = line.Now();
    for (Millis passed{0}; passed < time; passed = line.Now() - start) {
        line.Sleep(std::min(time - passed, kShowWait));
        if (progress != nullptr) {
            progress->Waiting(line.Now() - start);
        }
    }
}

// A set that restarts in the middle of a plan is a bad one, whatever it answers afterwards. Where an answer is
// missing that should have come, the reason may be a restart: its next ready frame tells.
void RefuseRestart(Link& link, bool isMissing = false) {
    link.TakeIn();
    const Millis end = link.Line().Now() + kReadyPeriod;
    while (isMissing && link.IsConnected() && link.Line().Now() < end) {
        link.Receive(end);
    }
    if (link.TakeRestart()) {
        Fail(Exit::Failure, kSetRestarted);
    }
}

void Abandon(Link& link) {
    try {
        link.Abandon();
    } catch (const Error&) {  // the next step finds the port lost, and tells of it
    }
}

// One run of a plan, from its first step to its last.
class PlanRunner {
  public:
    PlanRunner(const Plan& plan, Link& link, const Settings& settings, const std::vector<RunObserver*>& observers,
               UploadProgress* progress, bool oneByOne, Operator* person)
        : m_plan(plan),
          m_link(link),
          m_settings(settings),
          m_observers(observers),
          m_progress(progress),
          m_oneByOne(oneByOne),
          m_person(person),
          m_result(NotYetRun(plan)),
          m_values{plan.variables, {}} {
        m_link.WatchForRestart();
    }

    PlanResult Run() {
        const Millis start = m_link.Line().Now();
        Tell([&](RunObserver& observer) { observer.RunBegins(m_result); });
        m_result.status = Exit::Success;
        for (std::size_t number = 0; number < m_plan.steps.size();) {
            const Step& step = m_plan.steps[number];
            const bool isLeftOut = IsLeftOut(step);
            const Segment segment =
                isLeftOut || m_oneByOne ? Segment() : NextSegment(m_plan, number, m_values, m_settings);
            if (segment.steps.size() > 1) {
                number = CarryTogether(segment);
            } else {
                End(number, isLeftOut ? LeftOut(step) : Carry(number));
                ++number;
            }
        }
        m_result.elapsed = m_link.Line().Now() - start;
        Tell([&](RunObserver& observer) { observer.RunEnded(m_result); });
        return m_result;
    }

  private:
    template <typename Event>
    void Tell(const Event& event) {
        for (RunObserver* observer : m_observers) {
            event(*observer);
        }
    }

    Variables Known(const Step& step) const { return VariablesOf(step, m_values.variables, m_values.saved); }

    bool IsLeftOut(const Step& step) const { return m_lost || ((m_stopped || m_aborted) && !step.teardown); }

    StepResult LeftOut(const Step& step) const {
        StepResult result = ResultOf(step, Known(step));
        result.words = m_lost      ? "the run was broken off"
                       : m_aborted ? "the run was stopped"
                                   : "an earlier step failed";
        return result;
    }

    StepResult Skipped(const Step& step) const {
        StepResult result = ResultOf(step, Known(step));
        result.state = StepState::Skipped;
        result.words = fmt::format("run only if {}", step.runIf);
        return result;
    }

    StepResult Carry(std::size_t number) {
        const Step& step = m_plan.steps[number];
        const Variables variables = Known(step);
        StepResult result = ResultOf(step, variables);
        const Millis start = m_link.Line().Now();
        try {
            if (!step.runIf.empty() && !Holds(step.runIf, variables)) {
                return Skipped(step);
            }
            const Action action = StepAction(step, variables);
            result.verb = action.verb;
            Tell([&](RunObserver& observer) { observer.StepBegins(number, action); });
            Wait(m_link.Line(), step.wait, m_progress);
            RefuseRestart(m_link);
            Ask(step, action, result);
            AskUntilItFits(step, action, m_link.Line().Now() - result.elapsed, result);
        } catch (const Error& error) {
            Break(error, result);
            result.elapsed = m_link.Line().Now() - start;
        }
        return result;
    }

    void Ask(const Step& step, const Action& action, StepResult& result) {
        const Outcome outcome = IsForOperator(action)
                                    ? PutToOperator(step, action, result)
                                    : Perform(m_link, action, StepSettings(step, m_settings), m_progress);
        result.tries += outcome.tries;
        result.elapsed = outcome.elapsed;
        RefuseRestart(m_link, outcome.status == Exit::NoAnswer && step.expect.status != Exit::NoAnswer &&
                                  !IsForOperator(action));
        Judge(step, outcome, Known(step), result);
    }

    // `before` is what came of it when it was put before. The general time for answers is the set's.
    Outcome PutToOperator(const Step& step, const Action& action, const StepResult& before) {
        if (m_person == nullptr) {
            Fail(Exit::Unusable, "there is nobody to answer '{}'", action.verb);
        }
        if (m_progress != nullptr) {
            m_progress->End();
        }
        OperatorQuestion question;
        question.step = step.id.empty() ? step.name : step.id;
        question.note = before.words;
        question.doubt = before.tries == 0 ? Doubt::None : Doubt::Unfit;
        question.said = before.value;
        return AskOperator(m_link, *m_person, action, std::move(question), step.settings.timeout);
    }

    // As long as the step's `until` says, when it was asked at the time `since` and its answer did not fit.
    void AskUntilItFits(const Step& step, const Action& action, Millis since, StepResult& result) {
        const auto soFar = [&] { return m_link.Line().Now() - since; };
        while (step.until && result.state == StepState::Failed && result.status != Exit::NoAnswer &&
               soFar() + kAskAgain <= *step.until) {
            Wait(m_link.Line(), kAskAgain, m_progress);
            Ask(step, action, result);
            result.elapsed = soFar();
        }
    }

    // What an error makes of the step under way.
    void Break(const Error& error, StepResult& result) {
        const bool interrupted = error.Status() == Exit::Interrupted;
        result.state = interrupted ? StepState::NotRun : StepState::Failed;
        result.status = error.Status();
        result.words = interrupted ? kStopped : error.what();
        if (interrupted) {
            Abandon(m_link);
        }
    }

    // Asks the steps of a segment together. Returns the number of the step with which the run goes on.
    std::size_t CarryTogether(const Segment& segment) {
        std::vector<BurstItem> items;
        for (const SegmentStep& each : segment.steps) {
            items.push_back(ItemOf(each.action, StepSettings(m_plan.steps[each.number], m_settings)));
        }
        Burst burst(m_link, std::move(items));
        std::optional<Error> broken;  // what ended it before its time
        try {
            for (const SegmentStep& each : segment.steps) {
                Tell([&](RunObserver& observer) { observer.StepBegins(each.number, each.action); });
            }
            Wait(m_link.Line(), m_plan.steps[segment.steps.front().number].wait, m_progress);
            RefuseRestart(m_link);
            ++m_bursts;
            burst.Ask([this](Millis elapsed) {
                if (m_progress != nullptr) {
                    m_progress->Waiting(elapsed);
                }
            });
            const std::vector<BurstReply>& replies = burst.Replies();
            RefuseRestart(m_link, std::any_of(replies.begin(), replies.end(),
                                              [](const BurstReply& reply) { return reply.frames.empty(); }));
        } catch (const Error& error) {
            broken = error;
        }
        if (m_progress != nullptr) {
            m_progress->End();
        }
        return EndTogether(segment, burst, broken);
    }

    std::size_t EndTogether(const Segment& segment, const Burst& burst, const std::optional<Error>& broken) {
        // A port that takes no bytes is a missing answer; all else happened to the first step without one.
        const bool isMissing = broken && broken->Status() == Exit::NoAnswer;
        const std::vector<BurstReply>& replies = burst.Replies();
        const auto hasNone = [](const BurstReply& reply) { return reply.frames.empty(); };
        const auto firstWithout = std::find_if(replies.begin(), replies.end() - 1, hasNone);
        const auto hit = static_cast<std::size_t>(firstWithout - replies.begin());
        std::size_t number = segment.steps.front().number;
        for (std::size_t i = 0; i < replies.size(); ++i) {
            const SegmentStep& each = segment.steps[i];
            for (; number < each.number; ++number) {
                End(number, Skipped(m_plan.steps[number]));
            }
            const Step& step = m_plan.steps[each.number];
            StepResult result = ResultOf(step, Known(step));
            result.verb = each.action.verb;
            result.tries = replies[i].tries;
            result.elapsed = replies[i].gap;
            result.burst = result.tries > 0 ? m_bursts : 0;
            if (broken && !isMissing && i == hit) {
                Break(*broken, result);
            } else if (!replies[i].frames.empty()) {
                JudgeAll(step, each.action, replies[i], result);
                if (!broken) {
                    GoOn(step, each.action, result);
                }
            } else if (broken && !isMissing) {
                if (!m_lost && !m_aborted) {
                    return number;  // the set has restarted, or nothing was sent: what is behind that is asked
                                    // anew
                }
                result.words = result.tries > 0 && m_aborted ? kStopped : LeftOut(step).words;
            } else {
                Outcome outcome;
                outcome.status = Exit::NoAnswer;
                outcome.words = isMissing ? broken->what() : burst.Missing(i);
                Judge(step, outcome, Known(step), result);
            }
            End(number++, std::move(result));
        }
        return number;
    }

    // Behind a burst, the step that is asked until its answer fits.
    void GoOn(const Step& step, const Action& action, StepResult& result) {
        try {
            AskUntilItFits(step, action, m_link.Line().Now() - result.elapsed, result);
        } catch (const Error& error) {
            Break(error, result);
        }
    }

    // Every answer of a reply must be one that the step expects.
    void JudgeAll(const Step& step, const Action& action, const BurstReply& reply, StepResult& result) {
        for (const UartFrame& frame : reply.frames) {
            Outcome outcome = OutcomeOf(action, frame, reply.answers);
            outcome.elapsed = reply.gap;
            Judge(step, outcome, Known(step), result);
            if (result.state == StepState::Failed) {
                return;
            }
        }
    }

    // Whether the outcome is what the step expects, and what is saved of it.
    void Judge(const Step& step, const Outcome& outcome, const Variables& variables, StepResult& result) {
        const std::string mismatch = Mismatch(step, outcome, variables);
        result.state = mismatch.empty() ? StepState::Passed : StepState::Failed;
        result.status = mismatch.empty()                  ? Exit::Success
                        : outcome.status == Exit::Success ? Exit::Failure
                                                          : outcome.status;
        result.words = mismatch.empty() ? outcome.words : mismatch;
        result.value = outcome.value;
        result.isNumber = outcome.isNumber;
        if (!step.save.empty()) {
            m_values.variables[step.save] = outcome.value;
            m_values.saved.insert(step.save);
        }
    }

    // Takes in what came of a step: what it means for those behind it, and for the run.
    void End(std::size_t number, StepResult result) {
        const Step& step = m_plan.steps[number];
        const bool interrupted = result.status == Exit::Interrupted;
        m_lost =
            m_lost || result.status == Exit::Port || result.status == Exit::Record || (interrupted && m_aborted);
        m_aborted = m_aborted || interrupted;
        m_stopped = m_stopped || (result.state == StepState::Failed && step.stopOnFailure);
        m_result.status = Worse(m_result.status, result.status);
        if (result.state == StepState::Failed || m_aborted) {
            m_values.variables[kAllSteps] = StateWord(StepState::Failed);
        }
        if (!step.id.empty()) {
            m_values.variables["step." + step.id] = StateWord(result.state);
        }
        Tell([&](RunObserver& observer) { observer.StepEnded(number, result); });
        m_result.steps[number] = std::move(result);
    }

    const Plan& m_plan;
    Link& m_link;
    const Settings& m_settings;
    const std::vector<RunObserver*>& m_observers;
    UploadProgress* m_progress;
    bool m_oneByOne;
    Operator* m_person;
    PlanResult m_result;
    Values m_values;
    int m_bursts = 0;
    bool m_stopped = false;  // by a step that failed
    bool m_aborted = false;  // by the user
    bool m_lost = false;     // nothing more can be asked, or the user will not wait for the teardown
};

}  // namespace

PlanResult NotYetRun(const Plan& plan) {
    PlanResult result;
    result.name = plan.name;
    result.plan = plan.file;
    result.run = plan.run;
    result.unit = plan.unit;
    result.started = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr)));
    result.status = Exit::Interrupted;
    for (const Step& step : plan.steps) {
        result.steps.push_back(ResultOf(step, plan.variables));
        result.steps.back().words = "the run did not come to its end";
    }
    return result;
}

PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::vector<RunObserver*>& observers, UploadProgress* progress, bool oneByOne,
                       Operator* person) {
    return PlanRunner(plan, link, settings, observers, progress, oneByOne, person).Run();
}

}  // namespace zelline
