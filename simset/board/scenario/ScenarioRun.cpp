#include "simset/board/scenario/ScenarioRun.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace simset {
namespace {

constexpr std::chrono::milliseconds kLongest = std::chrono::hours(1);
constexpr const char* kWho = "scenario";

// Verbs that may wait for the application, which would wait for them.
bool WaitsForApplication(const Words& words) {
    constexpr std::array<const char*, 4> kVerbs = {"press", "am", "reboot", "screenshot"};
    return std::find(kVerbs.begin(), kVerbs.end(), words[0]) != kVerbs.end();
}

}  // namespace

ScenarioRun::ScenarioRun(Scenario scenario, const TraceLog& log, Calls calls)
    : m_scenario(std::move(scenario)),
      m_log(log),
      m_calls(std::move(calls)),
      m_since(log.Last()),
      m_taken(m_since) {
    for (std::size_t index = 0; index < m_scenario.triggers.size(); ++index) {
        m_progress.push_back({std::mt19937_64(m_scenario.seed + index)});
        if (const ScenarioTrigger& trigger = m_scenario.triggers[index]; !trigger.match) {
            m_due.push_back({Clock::now() + trigger.after, index, 0});
        }
    }
    m_thread = std::thread([this] { Follow(); });
}

ScenarioRun::~ScenarioRun() {
    if (m_thread.joinable()) {
        Finish();
    }
}

void ScenarioRun::AwaitTaken(std::uint64_t seq) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this, seq] { return !m_holding || m_busy || m_taken >= seq; });
}

void ScenarioRun::Hold(bool holding) {
    const std::lock_guard lock(m_mutex);
    m_holding = holding;
    m_changed.notify_all();
}

void ScenarioRun::SetBusy(bool busy) {
    const std::lock_guard lock(m_mutex);
    m_busy = busy;
    m_changed.notify_all();
}

void ScenarioRun::Finish() {
    m_calls.trace({{"who", kWho}, {"call", "end"}});
    m_thread.join();
}

void ScenarioRun::Tell(std::uint64_t taken) {
    const std::lock_guard lock(m_mutex);
    m_taken = taken;
    m_changed.notify_all();
}

std::chrono::milliseconds ScenarioRun::TimeToNext() const {
    auto left = kLongest;
    for (const Due& due : m_due) {
        left = std::min(left, std::chrono::ceil<std::chrono::milliseconds>(due.at - Clock::now()));
    }
    return std::max(left, std::chrono::milliseconds(0));
}

void ScenarioRun::Follow() {
    while (!m_ended) {
        const std::vector<TraceRow> rows = m_log.Await(m_since, TimeToNext());
        if (rows.empty() && m_log.Closed()) {
            break;
        }
        for (const TraceRow& row : rows) {
            Take(row);
            m_since = row.seq;
            Tell(row.seq);
        }
        DoDue();
    }
    Hold(false);
}

void ScenarioRun::Take(const TraceRow& row) {
    const auto json = nlohmann::json::parse(row.line, nullptr, false);
    if (json.is_object() && json.value("who", "") == kWho) {
        m_ended = m_ended || json.value("call", "") == "end";
        return;
    }
    for (std::size_t index = 0; index < m_scenario.triggers.size(); ++index) {
        const ScenarioTrigger& trigger = m_scenario.triggers[index];
        Progress& progress = m_progress[index];
        if (!trigger.match || !trigger.match->Holds(row) || ++progress.rows < trigger.nth ||
            (trigger.times != 0 && progress.times >= trigger.times)) {
            continue;
        }
        // The standard distributions differ between libraries; 53 bits of the engine do not.
        const double draw =
            static_cast<double>(progress.random() >> 11) / static_cast<double>(std::uint64_t{1} << 53);
        if (draw < trigger.chance) {
            SetOff(index, row.seq);
        }
    }
}

void ScenarioRun::SetOff(std::size_t index, std::uint64_t row) {
    const ScenarioTrigger& trigger = m_scenario.triggers[index];
    ++m_progress[index].times;
    const bool waits = std::any_of(trigger.verbs.begin(), trigger.verbs.end(), WaitsForApplication);
    if (waits || trigger.delay.count() > 0) {
        m_due.push_back({Clock::now() + trigger.delay, index, row});
    } else {
        Do(index, row);
    }
}

void ScenarioRun::DoDue() {
    while (!m_due.empty()) {
        const auto next =
            std::min_element(m_due.begin(), m_due.end(), [](const Due& a, const Due& b) { return a.at < b.at; });
        if (next->at > Clock::now()) {
            return;
        }
        const Due due = *next;
        m_due.erase(next);
        if (!m_scenario.triggers[due.trigger].match) {
            ++m_progress[due.trigger].times;
        }
        Do(due.trigger, due.row);
    }
}

void ScenarioRun::Do(std::size_t index, std::uint64_t row) {
    const ScenarioTrigger& trigger = m_scenario.triggers[index];
    nlohmann::json told = {{"who", kWho}, {"call", "trigger"}, {"line", trigger.line}, {"when", trigger.text}};
    if (row != 0) {
        told["row"] = row;
    }
    for (const Words& words : trigger.verbs) {
        told["do"].push_back(fmt::format("{}", fmt::join(words, " ")));
    }
    m_calls.trace(told);
    for (const Words& words : trigger.verbs) {
        SetBusy(WaitsForApplication(words));
        try {
            m_calls.act(words);
        } catch (const std::exception& error) {
            const std::string verb = fmt::format("{}", fmt::join(words, " "));
            m_calls.trace({{"who", kWho}, {"call", "failed"}, {"do", verb}, {"error", error.what()}});
            m_refused.push_back(fmt::format("{}:{}: {}: {}", m_scenario.file, trigger.line, verb, error.what()));
        }
    }
    SetBusy(false);
}

std::vector<std::string> ScenarioRun::Failures() const {
    std::vector<std::string> failures = m_refused;
    for (const Due& due : m_due) {
        if (const ScenarioTrigger& trigger = m_scenario.triggers[due.trigger]; trigger.match) {
            failures.push_back(fmt::format("{}:{}: set off, but its time had not come: {}", m_scenario.file,
                                           trigger.line, trigger.text));
        }
    }
    for (std::size_t index = 0; index < m_scenario.triggers.size(); ++index) {
        const ScenarioTrigger& trigger = m_scenario.triggers[index];
        if (m_progress[index].times == 0 && !trigger.optional) {
            failures.push_back(fmt::format("{}:{}: never came: {}{}", m_scenario.file, trigger.line, trigger.text,
                                           m_progress[index].rows == 0
                                               ? ""
                                               : fmt::format(" (rows that matched: {})", m_progress[index].rows)));
        }
    }
    return failures;
}

}  // namespace simset
