#include "record/UnitRun.h"

#include <fmt/format.h>

namespace zelline {
namespace {

constexpr char kTaken[] = "the unit {} is being worked on by another run";

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
    if (IsServer(store)) {
        Share([&] {
            m_server.emplace(store);
            m_shared.emplace(m_store, *m_server, place.station);
            if (!place.unit.empty() && !m_server->Lock(lock)) {
                Fail(Exit::Unusable, kTaken, place.unit);
            }
            m_shared->BringUp();
            m_shared->Supply(ItemTypesOf(plan), place.unit);
        });
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
    try {
        work();
    } catch (const Error& error) {
        if (error.Status() != Exit::Store) {
            throw;
        }
        m_shared.reset();
        m_server.reset();
        m_notes.push_back(
            fmt::format("{}; the station works on with what it has, and brings it up another time", error.what()));
    }
}

}  // namespace zelline
