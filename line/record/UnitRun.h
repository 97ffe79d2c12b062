// All that a run has to do with the store: its unit is its own, has its items, and its record is written.
#ifndef ZELLINE_RECORD_UNITRUN_H
#define ZELLINE_RECORD_UNITRUN_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "record/RunRecord.h"
#include "record/StationLedger.h"
#include "record/UnitItems.h"
#include "stock/Stock.h"
#include "store/Store.h"

namespace zelline {

class UnitRun {
  public:
    // `store` as Store takes it. With a server the work is done in the file `ledger`, with blocks of items that
    // are the station's; a server that is away is no hindrance while the block lasts, and one that has been waited
    // for in vain is left alone for a while. Reserves the items of the plan and puts them into it; the plan stays
    // where it is until this object is gone. Throws Error: what Store does, with Exit::Unusable when another run
    // has the unit, with Exit::Store when the stock is empty.
    UnitRun(const std::string& store, const std::string& ledger, Plan& plan, const RunPlace& place);
    UnitRun(const UnitRun&) = delete;
    UnitRun& operator=(const UnitRun&) = delete;
    ~UnitRun();

    // The run is over: what was not sent is free again, and the server is told of everything. The observers are
    // gone.
    void End();

    // What is to be told of the run: the items first, as nothing may be sent that they have not noted.
    std::vector<RunObserver*> Observers() { return {&*m_items, &m_record}; }

    // What could not be written once the run had begun.
    const std::vector<Error>& Problems() const { return m_problems; }

    // Sentences on a server that is away.
    const std::vector<std::string>& Notes() const { return m_notes; }

  private:
    void Share(const std::function<void()>& work);

    Store m_store;  // that is worked on, always a file
    std::optional<Store> m_server;
    std::optional<StationLedger> m_shared;
    Stock m_stock;
    std::optional<UnitItems> m_items;
    RunRecord m_record;
    std::vector<Error> m_problems;
    std::vector<std::string> m_notes;
};

}  // namespace zelline

#endif
