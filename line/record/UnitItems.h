// The items of the stock that a run gives to its unit, and what became of them.
#ifndef ZELLINE_RECORD_UNITITEMS_H
#define ZELLINE_RECORD_UNITITEMS_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "run/RunObserver.h"
#include "stock/Stock.h"
#include "wire/Error.h"

namespace zelline {

// "stock.TYPE": the variable that holds the unit's address, or the CRC-32 of its key.
std::string ItemVariable(const std::string& type);

// All types that items may have.
std::vector<std::string> ItemTypes();

// What the tool itself gives to a plan for the unit, with texts that stand in for items until they are reserved;
// without a unit when that is empty.
Variables ProvidedVariables(const std::string& unit);

// The types of items that the plan's steps take, or name in a variable.
std::set<std::string> ItemTypesOf(const Plan& plan);

// Gives items to one unit for one run of a plan. An item counts as spent from before it is sent until the set has
// said that it has it; one that was reserved and not sent is free again when this object goes.
class UnitItems : public RunObserver {
  public:
    // `unit` is the serial number, `run` names the run.
    UnitItems(Stock& stock, std::string unit, std::string run)
        : m_stock(stock), m_unit(std::move(unit)), m_run(std::move(run)) {}
    ~UnitItems() override;

    // Reserves what the plan needs, and puts it into its steps and variables. Throws Error with Exit::Store when
    // something is missing.
    void Reserve(Plan& plan);

    // Throws Error with Exit::Store when the store fails: nothing may be sent then.
    void StepBegins(std::size_t number, const Action& action) override;
    void StepEnded(std::size_t number, const StepResult& result) override;

    // What became known of items whose outcome could not be written: they stay spent.
    const std::vector<Error>& Problems() const { return m_problems; }

  private:
    void Settle(const Item& item, ItemState state, const std::string& note);

    Stock& m_stock;
    std::string m_unit;
    std::string m_run;
    std::map<std::string, Item> m_items;                  // by type
    std::map<std::size_t, std::set<std::string>> m_uses;  // types of items in the words of each step
    std::set<std::size_t> m_sent;                         // steps whose items are on their way
    std::set<std::size_t> m_reads;                        // steps under way that ask for the address
    std::set<std::string> m_written;                      // types whose items the set has
    std::vector<Error> m_problems;
};

}  // namespace zelline

#endif
