#include "plan/PlanRun.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <set>

#include "wire/Error.h"

namespace zelline {
namespace {

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

// What has a value while the plan runs.
struct Values {
    Variables variables;
    std::set<std::string> saved;  // names among them that steps have saved
};

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

// A set that restarts in the middle of a plan is a bad one, whatever it answers afterwards.
void RefuseRestart(Link& link) {
    link.TakeIn();
    if (link.TakeRestart()) {
        Fail(Exit::Failure,
             "the set has restarted: it sends ready frames again, which ended when it was connected");
    }
}

void Abandon(Link& link) {
    try {
        link.Abandon();
    } catch (const Error&) {  // the next step finds the port lost, and tells of it
    }
}

StepResult RunStep(const Step& step, Link& link, const Settings& settings, Values& values,
                   UploadProgress* progress) {
    const Variables variables = VariablesOf(step, values.variables, values.saved);
    StepResult result = ResultOf(step, variables);
    const Millis start = link.Line().Now();
    try {
        if (!step.runIf.empty() && !Holds(step.runIf, variables)) {
            result.state = StepState::Skipped;
            result.words = fmt::format("run only if {}", step.runIf);
            return result;
        }
        const Action action = StepAction(step, variables);
        result.verb = action.verb;
        Wait(link.Line(), step.wait, progress);
        RefuseRestart(link);
        const Outcome outcome = Perform(link, action, StepSettings(step, settings), progress);
        result.tries = outcome.tries;
        result.elapsed = outcome.elapsed;
        RefuseRestart(link);
        const std::string mismatch = Mismatch(step, outcome, variables);
        result.state = mismatch.empty() ? StepState::Passed : StepState::Failed;
        result.status = mismatch.empty()                  ? Exit::Success
                        : outcome.status == Exit::Success ? Exit::Failure
                                                          : outcome.status;
        result.words = mismatch.empty() ? outcome.words : mismatch;
        result.value = outcome.value;
        result.isNumber = outcome.isNumber;
        if (!step.save.empty()) {
            values.variables[step.save] = outcome.value;
            values.saved.insert(step.save);
        }
    } catch (const Error& error) {
        const bool interrupted = error.Status() == Exit::Interrupted;
        result.state = interrupted ? StepState::NotRun : StepState::Failed;
        result.status = error.Status();
        result.words = interrupted ? "stopped while it was under way" : error.what();
        result.elapsed = link.Line().Now() - start;
        if (interrupted) {
            Abandon(link);
        }
    }
    return result;
}

}  // namespace

PlanResult NotYetRun(const Plan& plan) {
    PlanResult result;
    result.name = plan.name;
    result.started = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr)));
    result.status = Exit::Interrupted;
    for (const Step& step : plan.steps) {
        result.steps.push_back(ResultOf(step, plan.variables));
        result.steps.back().words = "the run did not come to its end";
    }
    return result;
}

PlanResult ExecutePlan(const Plan& plan, Link& link, const Settings& settings,
                       const std::function<void(const StepResult&)>& onStep, UploadProgress* progress) {
    PlanResult result = NotYetRun(plan);
    result.status = Exit::Success;
    result.steps.clear();
    const Millis start = link.Line().Now();
    Values values{plan.variables, {}};
    bool stopped = false;
    bool aborted = false;
    bool lost = false;
    for (const Step& step : plan.steps) {
        StepResult done;
        if (lost || ((stopped || aborted) && !step.teardown)) {
            done = ResultOf(step, VariablesOf(step, values.variables, values.saved));
            done.words = lost      ? "the run was broken off"
                         : aborted ? "the run was stopped"
                                   : "an earlier step failed";
        } else {
            done = RunStep(step, link, settings, values, progress);
            const bool interrupted = done.status == Exit::Interrupted;
            lost = done.status == Exit::Port || done.status == Exit::Record || (interrupted && aborted);
            aborted = aborted || interrupted;
            stopped = stopped || (done.state == StepState::Failed && step.stopOnFailure);
            result.status = Worse(result.status, done.status);
        }
        if (done.state == StepState::Failed || aborted) {
            values.variables[kAllSteps] = StateWord(StepState::Failed);
        }
        if (!step.id.empty()) {
            values.variables["step." + step.id] = StateWord(done.state);
        }
        onStep(done);
        result.steps.push_back(std::move(done));
    }
    result.elapsed = link.Line().Now() - start;
    return result;
}

}  // namespace zelline
