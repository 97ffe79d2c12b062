// The stock of keys and addresses: what is there, and which unit has what.
#ifndef ZELLINE_STOCK_STOCK_H
#define ZELLINE_STOCK_STOCK_H

#include <optional>
#include <string>
#include <vector>

#include "store/Store.h"
#include "verbs/Verbs.h"

namespace zelline {

// What an item is. Its state only ever leaves `Free` for a unit and never comes back once it has been sent.
enum class ItemState {
    Free,
    Reserved,  // for a unit that it has not been sent to
    Written,   // the set said so
    Verified,  // the set was asked afterwards and has it
    Spent      // sent, and it is not known what came of it: no other unit ever gets it
};

const char* ItemStateWord(ItemState state);

struct Item {
    std::string type;     // a key type's name, or kAddressStock
    std::string name;     // of its file, or the address
    std::string content;  // the key's bytes, or the address
    std::string digest;   // SHA-256 of a key's content, or the address
    std::string unit;     // that has it; empty while it is free
    std::string run;      // that changed it last
    std::string note;     // what is to be said of its state
    std::string added;    // UTC
    std::string changed;  // UTC
    ItemState state = ItemState::Free;
};

// What a station has on lease from a server.
struct StockLease {
    std::string ledger;  // the name of the station's file
    std::string station;
    std::string type;
    std::size_t free = 0;
};

struct StockCount {
    std::string type;
    std::size_t free = 0;
    std::size_t leased = 0;  // of the free ones: a station has them
    std::size_t reserved = 0;
    std::size_t written = 0;
    std::size_t verified = 0;
    std::size_t spent = 0;
};

// Works on the store that it is given; the thread rule is the store's. All members throw Error with Exit::Store
// when the store fails, and nothing is changed then.
class Stock {
  public:
    explicit Stock(Store& store) : m_store(store) {}

    // Takes the items in as free, all or none; type, name and content count. What the stock has or ever had is
    // left as it is. Returns how many were new.
    std::size_t Add(const std::vector<Item>& items);

    // One row for each type that the stock has or had, by name.
    std::vector<StockCount> Count();

    // One row for each station and type of which it has free items.
    std::vector<StockLease> Leases();

    // All items, by type and name, with their content.
    std::vector<Item> All();

    // The item of the unit, which it keeps once it has one; else a free one, reserved for it by this run. What was
    // reserved for a unit that has another item by now is free again. Throws Error with Exit::Store when there is
    // none. No other run may be at work on the unit.
    Item Reserve(const std::string& type, const std::string& unit, const std::string& run);

    // Whether Reserve would have one.
    bool Has(const std::string& type, const std::string& unit);

    // The item is about to be sent: from now on its outcome is unknown, so that it is spent until more is known.
    void Sending(const Item& item, const std::string& run);

    // What is known of an item that was sent; `note` says why it is spent.
    void Settle(const Item& item, ItemState state, const std::string& note);

    // Frees what the run has reserved and not sent.
    void Release(const std::string& run);

    // The item is never to be used again, and its unit gets another one the next time. False when there is no item
    // of that type and name that is free or has a unit, or a station has it on lease.
    bool Retire(const std::string& type, const std::string& name, const std::string& note);

    // The station's file of that name is lost: what it had free or reserved is spent, and it is refused should it
    // come back. False when there is no such file.
    bool RetireLedger(const std::string& name);

    // What is wrong with the stock, one sentence each.
    std::vector<std::string> Check();

  private:
    Store& m_store;
};

}  // namespace zelline

#endif
