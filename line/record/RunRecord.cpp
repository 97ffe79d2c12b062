#include "record/RunRecord.h"

#include <fmt/format.h>

#include <ctime>

#include "store/Digest.h"
#include "wire/Hex.h"
#include "wire/Json.h"

namespace zelline {
namespace {

// The variables that a run was given; what its steps save stands in their values.
std::string VariablesText(const Plan& plan) {
    Json object = Json::object();
    for (const auto& [name, value] : plan.variables) {
        if (name.rfind("step.", 0) != 0) {
            object[name] = value;
        }
    }
    return JsonLine(object);
}

std::string LimitsText(const Step& step) {
    Json limits = Json::object();
    const Expectation& expect = step.expect;
    if (expect.status != Exit::Success) {
        limits["status"] = StatusWord(expect.status);
    }
    const auto add = [&](const char* name, const auto& limit) {
        if (limit) {
            limits[name] = *limit;
        }
    };
    add("equals", expect.equals);
    add("matches", expect.matches);
    add("min", expect.least);
    add("max", expect.most);
    if (step.within) {
        limits["within"] = step.within->count();
    }
    if (step.until) {
        limits["until"] = step.until->count();
    }
    if (step.settings.timeout) {
        limits["timeout"] = step.settings.timeout->count();
    }
    return JsonLine(limits);
}

constexpr char kInsertStep[] =
    "INSERT INTO step (run, number, name, id, verb, teardown, limits, words) VALUES (:run, :number, :name, :id, "
    ":verb, "
    ":teardown, :limits, :words)";

}  // namespace

std::string NewRunName() {
    constexpr std::size_t kChance = 3;  // bytes
    std::string time = TimeText();      // 2026-05-04T08:15:30.123Z
    return fmt::format("{}{}{}-{}{}{}-{}", time.substr(0, 4), time.substr(5, 2), time.substr(8, 2),
                       time.substr(11, 2), time.substr(14, 2), time.substr(17, 2), RandomHex(kChance));
}

RunRecord::RunRecord(Store& store, const Plan& plan, RunPlace place)
    : m_store(store), m_plan(plan), m_place(std::move(place)) {}

void RunRecord::RunBegins(const PlanResult& planned) {
    m_store.Do([&](soci::session& sql) {
        const std::string hash = Sha256(m_plan.text);
        const std::string variables = VariablesText(m_plan);
        const std::string path = Printable(planned.plan);
        const std::string name = Printable(planned.name);
        sql << "INSERT INTO run (id, unit, station, slot, port, plan, plan_name, plan_hash, tool, variables, "
               "started, note, revision) "
               "VALUES (:id, :unit, :station, :slot, :port, :plan, :plan_name, :plan_hash, :tool, :variables, "
               ":started, :note, 1)",
            soci::use(m_plan.run), soci::use(m_place.unit), soci::use(m_place.station), soci::use(m_place.slot),
            soci::use(m_place.port), soci::use(path), soci::use(name), soci::use(hash), soci::use(m_place.tool),
            soci::use(variables), soci::use(planned.started), soci::use(m_note);
        for (std::size_t i = 0; i < planned.steps.size(); ++i) {
            const StepResult& step = planned.steps[i];
            const int number = static_cast<int>(i);
            const int teardown = step.teardown ? 1 : 0;
            const std::string title = Printable(step.name);
            const std::string verb = Printable(step.verb);
            const std::string limits = LimitsText(m_plan.steps[i]);
            sql << kInsertStep, soci::use(m_plan.run), soci::use(number), soci::use(title), soci::use(step.id),
                soci::use(verb), soci::use(teardown), soci::use(limits), soci::use(step.words);
        }
    });
}

void RunRecord::StepBegins(std::size_t number, const Action&) {
    m_begun[number] = TimeText();
}

void RunRecord::StepEnded(std::size_t number, const StepResult& result) {
    const auto work = [&](soci::session& sql) {
        const int row = static_cast<int>(number);
        const int status = static_cast<int>(result.status);
        const int isNumber = result.isNumber ? 1 : 0;
        const long long ms = result.elapsed.count();
        const std::string name = Printable(result.name);
        const std::string verb = Printable(result.verb);
        const std::string value = Printable(result.value);
        const std::string words = Printable(result.words);
        const std::string state = StateWord(result.state);
        const std::string begun = m_begun[number];
        const std::string now = TimeText();
        sql << "UPDATE step SET name = :name, verb = :verb, state = :state, status = :status, value = :value, "
               "is_number = :is_number, words = :words, tries = :tries, burst = :burst, ms = :ms, begun = :begun, "
               "ended = :ended "
               "WHERE run = :run AND number = :number",
            soci::use(name), soci::use(verb), soci::use(state), soci::use(status), soci::use(value),
            soci::use(isNumber), soci::use(words), soci::use(result.tries), soci::use(result.burst), soci::use(ms),
            soci::use(begun), soci::use(now), soci::use(m_plan.run), soci::use(row);
        sql << "UPDATE run SET revision = revision + 1 WHERE id = :id", soci::use(m_plan.run);
    };
    Write([&] { m_store.Note(work); });
}

void RunRecord::RunEnded(const PlanResult& result) {
    const auto work = [&](soci::session& sql) {
        const std::string now = TimeText();
        const std::string verdict = Verdict(result.status);
        const long long ms = result.elapsed.count();
        const int status = static_cast<int>(result.status);
        sql << "UPDATE run SET revision = revision + 1, ended = :ended, ms = :ms, status = :status, verdict = "
               ":verdict WHERE id = :id",
            soci::use(now), soci::use(ms), soci::use(status), soci::use(verdict), soci::use(m_plan.run);
    };
    Write([&] { m_store.Do(work); });
}

void RunRecord::Write(const std::function<void()>& work) {
    try {
        work();
    } catch (const Error& error) {
        m_problems.emplace_back(Exit::Record, error.what());
    }
}

}  // namespace zelline
