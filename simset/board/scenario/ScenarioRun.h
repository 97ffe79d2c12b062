// A scenario at work: follows the trace and the clock, and does to the set what the scenario says.
#ifndef SIMSET_SCENARIO_SCENARIORUN_H
#define SIMSET_SCENARIO_SCENARIORUN_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "simset/board/scenario/ScenarioFile.h"
#include "simset/core/trace/TraceLog.h"

namespace simset {

// Carries a scenario out on a thread of its own. Rows that it writes itself set nothing off:
//   {"who":"scenario","call":"trigger","line":N,"when":…,"do":[…]}   a [[when]] was set off
//   {"who":"scenario","call":"failed","do":…,"error":…}              a verb was refused
//   {"who":"scenario","call":"end"}
class ScenarioRun {
  public:
    struct Calls {
        std::function<void(const Words& words)> act;           // carries a verb out; throws when it is refused
        std::function<void(const nlohmann::json& row)> trace;  // appends a row
    };

    // Times count from now, and so do rows. `log` must outlive this.
    ScenarioRun(Scenario scenario, const TraceLog& log, Calls calls);
    ~ScenarioRun();
    ScenarioRun(const ScenarioRun&) = delete;
    ScenarioRun& operator=(const ScenarioRun&) = delete;

    // Waits until what the rows up to number `seq` set off has been done: a call that is in the trace is not
    // answered before. Verbs that wait for the application themselves, and delayed ones, are not waited for. Any
    // thread but the scenario's own, and without a lock that a verb takes.
    void AwaitTaken(std::uint64_t seq);

    // Whether AwaitTaken waits; a set that goes off must not be waited for. Any thread.
    void Hold(bool holding);

    // Takes what is in the trace by now, and ends. To be called once.
    void Finish();

    // What did not happen, a line each; after Finish.
    std::vector<std::string> Failures() const;

  private:
    using Clock = std::chrono::steady_clock;

    struct Progress {
        std::mt19937_64 random;
        std::uint64_t rows = 0;   // that matched
        std::uint64_t times = 0;  // that it was set off
    };
    struct Due {
        Clock::time_point at;
        std::size_t trigger;
        std::uint64_t row;
    };

    void Follow();
    void Take(const TraceRow& row);
    void SetOff(std::size_t index, std::uint64_t row);
    void DoDue();
    void Do(std::size_t index, std::uint64_t row);
    void Tell(std::uint64_t taken);
    void SetBusy(bool busy);
    std::chrono::milliseconds TimeToNext() const;

    const Scenario m_scenario;
    const TraceLog& m_log;
    const Calls m_calls;
    std::vector<Progress> m_progress;  // by trigger; of the thread until it has ended
    std::vector<Due> m_due;
    std::vector<std::string> m_refused;
    std::uint64_t m_since;
    bool m_ended = false;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint64_t m_taken;
    bool m_holding = true;
    bool m_busy = false;  // with a verb that waits for the application
    std::thread m_thread;
};

}  // namespace simset

#endif
