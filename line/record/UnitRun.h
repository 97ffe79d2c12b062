// All that a run has to do with the store: its unit is its own, has its items, and its record is written.
#ifndef ZELLINE_RECORD_UNITRUN_H
#define ZELLINE_RECORD_UNITRUN_H

#include <string>
#include <vector>

#include "record/RunRecord.h"
#include "record/UnitItems.h"
#include "stock/Stock.h"
#include "store/Store.h"

namespace zelline {

class UnitRun {
  public:
    // `store` as Store takes it. Reserves the items of the plan and puts them into it; the plan stays where it is
    // until this object is gone. Throws Error: what Store does, with Exit::Unusable when another run has the unit,
    // with Exit::Store when the stock is empty.
    UnitRun(const std::string& store, Plan& plan, const RunPlace& place);

    // What is to be told of the run: the items first, as nothing may be sent that they have not noted.
    std::vector<RunObserver*> Observers() { return {&m_items, &m_record}; }

    // What could not be written once the run had begun.
    std::vector<Error> Problems() const;

  private:
    Store m_store;
    Stock m_stock;
    UnitItems m_items;
    RunRecord m_record;
};

}  // namespace zelline

#endif
