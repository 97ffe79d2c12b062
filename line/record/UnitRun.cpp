#include "record/UnitRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace zelline {
namespace {

constexpr char kTaken[] = "the unit {} is being worked on by another run";
constexpr char kWorksOn[] = "; the station works on with what it has, and brings it up another time";
// For a unit that has all it needs, and for one that can do nothing without the server.
constexpr ServerPatience kBrief{std::chrono::seconds(2), std::chrono::seconds(10)};
constexpr ServerPatience kPatient{std::chrono::seconds(5), std::chrono::seconds(30)};

}  // namespace

UnitRun::UnitRun(const std::string& store, const std::string& ledger, Plan& plan, const RunPlace& place)
    : m_store(IsServer(store) ? ledger : store),
      m_stock(m_store),
      m_items(std::in_place, m_stock, place.unit, plan.run),
      m_record(m_store, plan, place) {
    const std::string lock = "unit " + place.unit;
    if (!place.unit.empty() && !m_store.Lock(lock)) {
        Fail(Exit::Unusable, kTaken, place.unit);
    }
    const std::set<std::string> types = ItemTypesOf(plan);
    const bool hasAll = std::all_of(types.begin(), types.end(),
                                    [&](const std::string& type) { return m_stock.Has(type, place.unit); });
    if (IsServer(store) && hasAll && StationLedger::IsAway(m_store)) {
        m_notes.push_back(
            fmt::format("the store {} did not answer a short while ago{}", WithoutPassword(store), kWorksOn));
    } else if (IsServer(store)) {
        Share([&] {
            m_server.emplace(store, hasAll ? kBrief : kPatient);
            m_shared.emplace(m_store, *m_server, place.station);
            if (!place.unit.empty() && !m_server->Lock(lock)) {
                Fail(Exit::Unusable, kTaken, place.unit);
            }
            m_shared->BringUp();
            m_shared->Supply(types, place.unit);
        });
    }
    if (!m_notes.empty()) {
        m_record.SetNote(m_notes.front());
    }
    try {
        m_items->Reserve(plan);
    } catch (const Error& error) {
        if (m_notes.empty()) {
            throw;
        }
        Fail(error.Status(), "{}; {}", error.what(), m_notes.front());
    }
}

UnitRun::~UnitRun() {
    try {
        End();
    } catch (const Error&) {  // what was not brought up will be with the next run
    }
}

void UnitRun::End() {
    if (!m_items) {
        return;
    }
    m_problems = m_items->Problems();
    m_problems.insert(m_problems.end(), m_record.Problems().begin(), m_record.Problems().end());
    m_items.reset();
    if (m_shared) {
        Share([&] { m_shared->BringUp(); });
    }
}

void UnitRun::Share(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    try {
        work();
        StationLedger::NoteAnswer(m_store);
    } catch (const Error& error) {
        if (error.Status() != Exit::Store) {
            throw;
        }
        m_shared.reset();
        m_server.reset();
        m_notes.push_back(error.what() + std::string(kWorksOn));
        StationLedger::NoteSilence(m_store, begin);
    }
}

}  // namespace zelline
