#include "record/Runs.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace zelline {
namespace {

constexpr char kRunColumns[] =
    "SELECT id, unit, station, slot, port, plan, plan_name, plan_hash, tool, variables, started, ended, note, ms, "
    "status "
    "FROM run ";
constexpr char kStepColumns[] =
    "SELECT name, id, verb, teardown, limits, ms, state, status, value, is_number, words, tries, burst FROM step ";

Exit StatusOf(int number) {
    const auto row = std::find_if(kExits.begin(), kExits.end(),
                                  [&](const auto& exit) { return static_cast<int>(exit.first) == number; });
    return row == kExits.end() ? Exit::Unusable : row->first;
}

StepState StateOf(const std::string& word) {
    for (const StepState state : {StepState::Passed, StepState::Failed, StepState::Skipped}) {
        if (word == StateWord(state)) {
            return state;
        }
    }
    return StepState::NotRun;
}

// The runs of the query, which takes the given texts in order.
std::vector<RecordedRun> RunsOf(soci::session& sql, const std::string& query,
                                const std::vector<std::string>& uses) {
    std::vector<RecordedRun> runs;
    RecordedRun row;
    int status = 0;
    long long ms = 0;
    soci::statement select(sql);
    for (const std::string& text : uses) {
        select.exchange(soci::use(text));
    }
    for (std::string* column : {&row.result.run, &row.place.unit, &row.place.station, &row.place.slot,
                                &row.place.port, &row.result.plan, &row.result.name, &row.planHash,
                                &row.place.tool, &row.variables, &row.result.started, &row.ended, &row.note}) {
        select.exchange(soci::into(*column));
    }
    select.exchange(soci::into(ms));
    select.exchange(soci::into(status));
    select.alloc();
    select.prepare(kRunColumns + query);
    select.define_and_bind();
    select.execute();
    while (select.fetch()) {
        runs.push_back(row);
        PlanResult& result = runs.back().result;
        result.unit = row.place.unit;
        result.elapsed = Millis(ms);
        result.status = StatusOf(status);
    }
    return runs;
}

void LoadSteps(soci::session& sql, RecordedRun& run, const std::string& condition) {
    StepResult row;
    std::string limits;
    std::string state;
    long long ms = 0;
    int teardown = 0;
    int isNumber = 0;
    int status = 0;
    soci::statement select =
        (sql.prepare << kStepColumns + condition, soci::use(run.result.run), soci::into(row.name),
         soci::into(row.id), soci::into(row.verb), soci::into(teardown), soci::into(limits), soci::into(ms),
         soci::into(state), soci::into(status), soci::into(row.value), soci::into(isNumber), soci::into(row.words),
         soci::into(row.tries), soci::into(row.burst));
    select.execute();
    while (select.fetch()) {
        run.limits.push_back(limits);
        run.result.steps.push_back(row);
        StepResult& step = run.result.steps.back();
        step.teardown = teardown != 0;
        step.isNumber = isNumber != 0;
        step.elapsed = Millis(ms);
        step.state = StateOf(state);
        step.status = StatusOf(status);
    }
}

// What is known of a unit under one plan: its first and its last run.
struct UnitRuns {
    bool firstPassed = false;
    bool lastPassed = false;
};

}  // namespace

std::string VerdictOf(const RecordedRun& run) {
    return run.ended.empty() ? "UNFINISHED" : Verdict(run.result.status);
}

RecordedRun LoadRun(Store& store, const std::string& name) {
    std::vector<RecordedRun> runs;
    store.Do([&](soci::session& sql) {
        if (name == "last") {
            runs = RunsOf(sql, "ORDER BY id DESC LIMIT 1", {});
        } else {
            runs = RunsOf(sql, "WHERE substr(id, 1, length(:part)) = :name ORDER BY id", {name, name});
            const auto exact = std::find_if(runs.begin(), runs.end(),
                                            [&](const RecordedRun& run) { return run.result.run == name; });
            if (exact != runs.end()) {
                runs = {*exact};
            }
        }
        if (runs.size() == 1 && !name.empty()) {
            LoadSteps(sql, runs[0], "WHERE run = :run ORDER BY number");
        }
    });
    if (runs.size() != 1 || name.empty()) {
        Fail(Exit::Unusable, "{} runs have a name that begins with '{}'; 'zelline history' lists them",
             runs.size(), name);
    }
    return runs[0];
}

std::vector<RecordedRun> LastRuns(Store& store, const std::string& unit, std::size_t most) {
    std::vector<RecordedRun> runs;
    store.Do([&](soci::session& sql) {
        const std::string limit = fmt::format("ORDER BY id DESC LIMIT {}", most);
        runs = unit.empty() ? RunsOf(sql, limit, {}) : RunsOf(sql, "WHERE unit = :unit " + limit, {unit});
        for (RecordedRun& run : runs) {
            LoadSteps(sql, run, "WHERE run = :run AND state = 'failed' ORDER BY number LIMIT 1");
        }
    });
    std::reverse(runs.begin(), runs.end());
    return runs;
}

std::vector<PlanYield> YieldOf(Store& store, const std::string& since) {
    std::map<std::string, PlanYield> yields;
    std::map<std::string, std::map<std::string, UnitRuns>> units;
    store.Do([&](soci::session& sql) {
        const std::string judged = "verdict IN ('PASSED', 'FAILED') AND unit <> '' AND started >= :since";
        std::string plan;
        std::string unit;
        std::string verdict;
        soci::statement runs =
            (sql.prepare << "SELECT plan_name, unit, verdict FROM run WHERE " + judged + " ORDER BY id",
             soci::use(since), soci::into(plan), soci::into(unit), soci::into(verdict));
        runs.execute();
        while (runs.fetch()) {
            const bool passed = verdict == "PASSED";
            units[plan].try_emplace(unit, UnitRuns{passed, passed}).first->second.lastPassed = passed;
            ++yields[plan].runs;
        }
        std::string step;
        long long count = 0;
        soci::statement failures =
            (sql.prepare
                 << "SELECT run.plan_name, step.name, COUNT(*) FROM run JOIN step ON step.run = run.id WHERE "
                    "step.state = 'failed' AND " +
                        judged + " GROUP BY run.plan_name, step.name ORDER BY COUNT(*) DESC, step.name",
             soci::use(since), soci::into(plan), soci::into(step), soci::into(count));
        failures.execute();
        while (failures.fetch()) {
            yields[plan].failures.push_back({step, static_cast<std::size_t>(count)});
        }
    });
    std::vector<PlanYield> rows;
    for (auto& [plan, yield] : yields) {
        yield.plan = plan;
        yield.units = units[plan].size();
        for (const auto& [unit, runs] : units[plan]) {
            yield.firstPass += runs.firstPassed ? 1 : 0;
            yield.passed += runs.lastPassed ? 1 : 0;
        }
        rows.push_back(yield);
    }
    return rows;
}

}  // namespace zelline
