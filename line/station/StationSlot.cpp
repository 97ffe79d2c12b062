#include "station/StationSlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>

#include "link/Link.h"
#include "plan/PlanFile.h"
#include "record/UnitRun.h"
#include "report/RunReports.h"
#include "run/PlanRun.h"

namespace zelline {
namespace {

constexpr Millis kLookAgain{1000};    // between two looks whether a port is there
constexpr Millis kSetPatience{2500};  // for a set to answer, before the port is looked at again
constexpr int kWhole = 100;           // percent

// Puts what a run tells onto the board.
class BoardObserver : public RunObserver, public UploadProgress {
  public:
    BoardObserver(Board& board, std::size_t slot) : m_board(board), m_slot(slot) {}

    void RunBegins(const PlanResult& planned) override {
        for (const StepResult& step : planned.steps) {
            m_names.push_back(step.name);
        }
        m_board.Change(m_slot, [&](SlotState& state) {
            state.phase = SlotPhase::Running;
            state.run = planned.run;
            state.steps = planned.steps.size();
            state.words.clear();
        });
    }
    void StepBegins(std::size_t number, const Action& action) override {
        m_underWay.insert(number);
        m_kind = action.kind;
        Show();
    }
    void StepEnded(std::size_t number, const StepResult& result) override {
        m_underWay.erase(number);
        ++m_done;
        m_percent.reset();
        if (result.state == StepState::Failed && !m_hasFailed) {
            m_hasFailed = true;
            m_board.Change(m_slot, [&](SlotState& state) {
                state.failed = result.name;
                state.reason = ReasonOf(result);
                state.words = result.words;
            });
        }
        Show();
    }

    void Begin(std::size_t bytes, int) override { m_bytes = bytes; }
    void Advance(std::size_t bytesDone) override {
        const int percent = m_bytes == 0 ? 0 : static_cast<int>(bytesDone * kWhole / m_bytes);
        if (m_percent != percent) {
            m_percent = percent;
            Show();
        }
    }
    void Phase(const std::string&) override {}
    void End() override {
        m_percent.reset();
        Show();
    }

  private:
    // The kind of the failure, for which an operator has a text.
    const char* ReasonOf(const StepResult& result) const {
        const bool isQuestion = m_kind == Action::Kind::Question || m_kind == Action::Kind::Confirm;
        const bool isPress = m_kind == Action::Kind::Press;
        if (result.words == kSetRestarted) {
            return kRestartReason;
        }
        if (result.status == Exit::Failure && (isQuestion || isPress)) {
            return isPress ? kNoReactionReason : kAnswerReason;
        }
        return result.status == Exit::NoAnswer && (isQuestion || isPress) ? kNobodyAnswered
                                                                          : StatusWord(result.status);
    }
    void Show() {
        m_board.Change(m_slot, [&](SlotState& state) {
            state.step = m_underWay.empty() ? std::string() : m_names[*m_underWay.begin()];
            state.done = m_done;
            state.percent = m_percent;
        });
    }

    Board& m_board;
    std::size_t m_slot;
    std::vector<std::string> m_names;
    std::set<std::size_t> m_underWay;
    std::size_t m_done = 0;
    std::size_t m_bytes = 0;
    std::optional<int> m_percent;
    bool m_hasFailed = false;
    Action::Kind m_kind = Action::Kind::Ask;  // of the step that began last
};

}  // namespace

StationSlot::StationSlot(const SlotParts& parts, std::size_t number)
    : m_parts(parts),
      m_number(number),
      m_place(parts.station.slots[number]),
      m_person(parts.board, number),
      m_thread([this] { Work(); }) {}

StationSlot::~StationSlot() {
    End();
    m_thread.join();
}

bool StationSlot::Take(const std::string& unit) {
    const std::lock_guard lock(m_mutex);
    if (!m_unit.empty() || m_ending) {
        return false;
    }
    m_stop = std::make_shared<Stop>();
    m_unit = unit;
    m_changed.notify_all();
    return true;
}

std::string StationSlot::Unit() const {
    const std::lock_guard lock(m_mutex);
    return m_unit;
}

bool StationSlot::StopUnit() {
    const std::lock_guard lock(m_mutex);
    if (m_unit.empty()) {
        return false;
    }
    m_stop->Raise();
    return true;
}

void StationSlot::End() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
        m_changed.notify_all();
    }
    StopUnit();
}

bool StationSlot::AwaitEnd(Millis time) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, time, [this] { return m_ended; });
}

void StationSlot::Work() {
    for (std::unique_lock lock(m_mutex);;) {
        if (!m_unit.empty()) {
            const std::string unit = m_unit;
            const std::shared_ptr<Stop> stop = m_stop;
            lock.unlock();
            const Ending ending = Run(unit, *stop);
            lock.lock();
            m_unit.clear();
            lock.unlock();
            Change(ending);  // whoever sees the verdict can have the next unit taken
            m_parts.onRunOver();
            lock.lock();
        } else if (m_ending) {
            m_ended = true;
            m_changed.notify_all();
            return;
        } else {
            lock.unlock();
            WatchPort();
            lock.lock();
            m_changed.wait_for(lock, kLookAgain, [this] { return !m_unit.empty() || m_ending; });
        }
    }
}

void StationSlot::WatchPort() {
    const std::string path = FindPort(m_place.port);
    if (path != m_path || m_parts.board.At(m_number).port != path) {
        m_path = path;
        Change([&](SlotState& state) { state.port = path; });
    }
}

StationSlot::Ending StationSlot::Run(const std::string& unit, const Stop& stop) {
    Change([&](SlotState& state) {
        SlotState fresh;
        fresh.name = state.name;
        fresh.place = state.place;
        fresh.port = state.port;
        fresh.phase = SlotPhase::AwaitingPort;
        fresh.unit = unit;
        fresh.begun = std::chrono::steady_clock::now();
        state = fresh;
    });
    Error ended(Exit::Success, "");
    try {
        Plan plan = LoadUnitPlan(unit);
        for (;;) {
            const auto line = AwaitPort(stop);
            try {
                if (IsSetThere(*line)) {
                    return RunOn(*line, plan, m_path);
                }
            } catch (const Error& error) {
                if (error.Status() != Exit::Port) {
                    throw;
                }
                // Lost while its set was awaited: the port is awaited again.
            }
        }
    } catch (const Error& error) {
        ended = error;
    } catch (const std::exception& error) {  // nothing of one slot may end the others
        ended = Error(Exit::Unusable, error.what());
    }
    return [ended](SlotState& state) {
        state.phase = SlotPhase::Over;
        state.verdict = Verdict(ended.Status());
        state.reason = StatusWord(ended.Status());
        state.words = ended.what();
        state.elapsed = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - state.begun);
    };
}

std::unique_ptr<Transport> StationSlot::AwaitPort(const Stop& stop) {
    for (;;) {
        std::string words;
        WatchPort();
        try {
            if (!m_path.empty()) {
                auto line = m_parts.open(m_path, stop);
                Change([](SlotState& state) {
                    state.phase = SlotPhase::AwaitingSet;
                    state.words.clear();
                });
                return line;
            }
        } catch (const Error& error) {  // taken, or going away at this moment
            if (error.Status() != Exit::Port) {
                throw;
            }
            words = error.what();
        }
        const SlotState shown = m_parts.board.At(m_number);
        if (shown.phase != SlotPhase::AwaitingPort || shown.words != words) {
            Change([&](SlotState& state) {
                state.phase = SlotPhase::AwaitingPort;
                state.words = words;
            });
        }
        if (stop.Await(kLookAgain)) {
            Fail(Exit::Interrupted, "stopped before it had begun");
        }
    }
}

bool StationSlot::IsSetThere(Transport& line) {
    Link link(line);
    AskOptions options;
    options.timeout = kSetPatience;
    options.retries = 0;
    Request connect;
    connect.id = zel::command::kConnect;
    try {
        link.Ask(connect, options);
        return true;
    } catch (const Error& error) {
        if (error.Status() != Exit::NoAnswer) {
            throw;
        }
        return false;
    }
}

Plan StationSlot::LoadUnitPlan(const std::string& unit) const {
    std::vector<PlanProblem> problems;
    Plan plan = LoadPlan(m_place.plan, m_parts.station.variables, problems, ProvidedVariables(unit));
    if (!problems.empty()) {
        const PlanProblem& first = problems[0];
        Fail(Exit::Unusable, "{}{}: {}", first.file, first.line == 0 ? "" : fmt::format(":{}", first.line),
             first.words);
    }
    plan.unit = unit;
    plan.run = NewRunName();
    return plan;
}

// Throws what keeps the run from beginning.
StationSlot::Ending StationSlot::RunOn(Transport& line, Plan& plan, const std::string& path) {
    const StationFile& station = m_parts.station;
    RunReports reports(station.reports, NotYetRun(plan));
    std::optional<UnitRun> kept;
    if (!station.store.empty()) {
        kept.emplace(station.store, station.ledger, plan,
                     RunPlace{plan.unit, station.name, m_place.name, path, m_parts.tool});
    }
    BoardObserver shown(m_parts.board, m_number);
    std::vector<RunObserver*> observers = kept ? kept->Observers() : std::vector<RunObserver*>();
    observers.insert(observers.end(), {&shown, &reports});
    Link link(line);
    const PlanResult result = ExecutePlan(plan, link, {}, observers, &shown, false, &m_person);
    if (kept) {
        kept->End();
    }
    Exit status = result.status;
    std::vector<Error> problems = kept ? kept->Problems() : std::vector<Error>();
    problems.insert(problems.end(), reports.Problems().begin(), reports.Problems().end());
    for (const Error& error : problems) {
        status = Worse(status, error.Status());
    }
    const Millis elapsed = result.elapsed;
    return [status, elapsed, problems](SlotState& state) {
        state.phase = SlotPhase::Over;
        state.verdict = Verdict(status);
        state.step.clear();
        state.percent.reset();
        state.elapsed = elapsed;
        if (status == Exit::Interrupted || state.failed.empty()) {
            state.reason = StatusWord(status);
        }
        if (state.failed.empty() && !problems.empty()) {
            state.words = problems[0].what();
        }
    };
}

}  // namespace zelline
