#include "record/UnitRun.h"

namespace zelline {

UnitRun::UnitRun(const std::string& store, Plan& plan, const RunPlace& place)
    : m_store(store), m_stock(m_store), m_items(m_stock, place.unit, plan.run), m_record(m_store, plan, place) {
    if (!place.unit.empty() && !m_store.Lock("unit " + place.unit)) {
        Fail(Exit::Unusable, "the unit {} is being worked on by another run", place.unit);
    }
    m_items.Reserve(plan);
}

std::vector<Error> UnitRun::Problems() const {
    std::vector<Error> problems = m_items.Problems();
    problems.insert(problems.end(), m_record.Problems().begin(), m_record.Problems().end());
    return problems;
}

}  // namespace zelline
