#include "stock/Stock.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "store/Digest.h"
#include "wire/Address.h"
#include "wire/Error.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

constexpr std::array<const char*, 5> kStates = {"free", "reserved", "written", "verified", "spent"};
constexpr char kItemColumns[] =
    "SELECT type, name, content, digest, unit, run, note, added, changed, state FROM item";

// The number of the word, or that of no state.
std::size_t StateNumber(const std::string& word) {
    return static_cast<std::size_t>(std::find(kStates.begin(), kStates.end(), word) - kStates.begin());
}

std::string DigestOf(const Item& item) {
    return item.type == kAddressStock ? item.content : Sha256(item.content);
}

// What stands in the row's column for the content.
std::string StoredContent(const Item& item) {
    return item.type == kAddressStock
               ? item.content
               : ToHex(reinterpret_cast<const std::uint8_t*>(item.content.data()), item.content.size());
}

// One row, into which a statement reads.
struct ItemRow {
    Item item;
    std::string state;

    void Bind(soci::statement& statement) {
        for (std::string* column : {&item.type, &item.name, &item.content, &item.digest, &item.unit, &item.run,
                                    &item.note, &item.added, &item.changed, &state}) {
            statement.exchange(soci::into(*column));
        }
    }

    Item Made() const {
        Item made = item;
        if (made.type != kAddressStock) {
            const Bytes bytes = FromHex(made.content);
            made.content.assign(bytes.begin(), bytes.end());
        }
        made.state = static_cast<ItemState>(std::min(StateNumber(state), kStates.size() - 1));
        return made;
    }
};

void SetState(soci::session& sql, const std::string& digest, ItemState state, const std::string& note) {
    const std::string word = ItemStateWord(state);
    const std::string now = TimeText();
    sql << "UPDATE item SET state = :state, note = :note, changed = :changed, revision = revision + 1 WHERE "
           "digest = :digest",
        soci::use(word), soci::use(note), soci::use(now), soci::use(digest);
}

// The first item of the query, which takes the type, and the unit unless that is null.
std::optional<Item> FirstItem(soci::session& sql, const std::string& query, const std::string& type,
                              const std::string* unit) {
    ItemRow row;
    soci::statement statement(sql);
    statement.exchange(soci::use(type));
    if (unit != nullptr) {
        statement.exchange(soci::use(*unit));
    }
    row.Bind(statement);
    statement.alloc();
    statement.prepare(query);
    statement.define_and_bind();
    return statement.execute(true) ? std::optional(row.Made()) : std::nullopt;
}

// Frees what is reserved and fits the condition, which takes these values.
void FreeReserved(soci::session& sql, const std::string& condition, const std::vector<std::string>& values) {
    const std::string now = TimeText();
    soci::statement update(sql);
    update.exchange(soci::use(now));
    for (const std::string& value : values) {
        update.exchange(soci::use(value));
    }
    update.alloc();
    update.prepare(
        "UPDATE item SET state = 'free', unit = '', run = '', changed = :changed, revision = revision + 1 WHERE "
        "state = 'reserved' AND " +
        condition);
    update.define_and_bind();
    update.execute(true);
}

// What is wrong with one item; `state` as it stands in the row.
std::string ItemDoubt(const Item& item, const std::string& state) {
    if (StateNumber(state) == kStates.size()) {
        return fmt::format("has the state '{}', which there is not", state);
    }
    if (DigestOf(item) != item.digest) {
        return "does not have the content that was taken in";
    }
    if (item.type == kAddressStock && !ParseAddress(item.content)) {
        return "is no address";
    }
    if (item.state == ItemState::Free && !item.unit.empty()) {
        return "is free and has a unit";
    }
    if (item.state != ItemState::Free && item.state != ItemState::Spent && item.unit.empty()) {
        return fmt::format("is {} and has no unit", state);
    }
    return {};
}

}  // namespace

const char* ItemStateWord(ItemState state) {
    return kStates[static_cast<std::size_t>(state)];
}

std::size_t Stock::Add(const std::vector<Item>& items) {
    long long added = 0;
    m_store.Do([&](soci::session& sql) {
        std::string digest;
        std::string type;
        std::string name;
        std::string content;
        const std::string now = TimeText();
        soci::statement insert =
            (sql.prepare
                 << "INSERT INTO item (digest, type, name, content, state, added, changed) VALUES (:digest, "
                    ":type, :name, :content, 'free', :added, :changed) ON CONFLICT (digest) DO NOTHING",
             soci::use(digest), soci::use(type), soci::use(name), soci::use(content), soci::use(now),
             soci::use(now));
        for (const Item& item : items) {
            digest = DigestOf(item);
            type = item.type;
            name = item.name;
            content = StoredContent(item);
            insert.execute(true);
            added += insert.get_affected_rows();
        }
    });
    return static_cast<std::size_t>(added);
}

std::vector<StockCount> Stock::Count() {
    std::vector<StockCount> counts;
    m_store.Do([&](soci::session& sql) {
        std::string type;
        std::string state;
        long long count = 0;
        long long leased = 0;
        soci::statement select =
            (sql.prepare
                 << "SELECT type, state, COUNT(*), COUNT(NULLIF(ledger, '')) FROM item GROUP BY type, state "
                    "ORDER BY type",
             soci::into(type), soci::into(state), soci::into(count), soci::into(leased));
        select.execute();
        while (select.fetch()) {
            if (counts.empty() || counts.back().type != type) {
                counts.push_back({type});
            }
            StockCount& row = counts.back();
            std::size_t* const columns[] = {&row.free, &row.reserved, &row.written, &row.verified, &row.spent};
            if (const std::size_t number = StateNumber(state); number < kStates.size()) {
                *columns[number] = static_cast<std::size_t>(count);
                row.leased += number == 0 ? static_cast<std::size_t>(leased) : 0;
            }
        }
    });
    return counts;
}

std::vector<StockLease> Stock::Leases() {
    std::vector<StockLease> leases;
    m_store.Do([&](soci::session& sql) {
        StockLease row;
        long long count = 0;
        soci::statement select =
            (sql.prepare << "SELECT ledger.name, ledger.station, item.type, COUNT(*) FROM item JOIN ledger ON "
                            "ledger.name = item.ledger WHERE item.state = 'free' GROUP BY ledger.name, "
                            "ledger.station, item.type ORDER BY ledger.station, ledger.name, item.type",
             soci::into(row.ledger), soci::into(row.station), soci::into(row.type), soci::into(count));
        select.execute();
        while (select.fetch()) {
            leases.push_back(row);
            leases.back().free = static_cast<std::size_t>(count);
        }
    });
    return leases;
}

bool Stock::RetireLedger(const std::string& name) {
    long long changed = 0;
    m_store.Do([&](soci::session& sql) {
        constexpr long long kNever = 1LL << 60;  // more than the file will ever have counted
        const std::string now = TimeText();
        soci::statement refuse = (sql.prepare << "UPDATE ledger SET generation = :generation WHERE name = :name",
                                  soci::use(kNever), soci::use(name));
        refuse.execute(true);
        changed = refuse.get_affected_rows();
        sql << "UPDATE item SET state = 'spent', note = 'its station''s ledger is lost', changed = :changed, "
               "revision = revision + 1 WHERE ledger = :name AND state IN ('free', 'reserved')",
            soci::use(now), soci::use(name);
    });
    return changed > 0;
}

std::vector<Item> Stock::All() {
    std::vector<Item> items;
    m_store.Do([&](soci::session& sql) {
        ItemRow row;
        soci::statement select(sql);
        row.Bind(select);
        select.alloc();
        select.prepare(std::string(kItemColumns) + " ORDER BY type, name");
        select.define_and_bind();
        select.execute();
        while (select.fetch()) {
            items.push_back(row.Made());
        }
    });
    return items;
}

Item Stock::Reserve(const std::string& type, const std::string& unit, const std::string& run) {
    std::optional<Item> item;
    m_store.Do([&](soci::session& sql) {
        const std::string columns = kItemColumns;
        item = FirstItem(sql,
                         columns +
                             " WHERE type = :type AND unit = :unit ORDER BY CASE state WHEN 'reserved' THEN 1 "
                             "ELSE 0 END, added, name LIMIT 1",
                         type, &unit);
        if (item) {
            if (item->state != ItemState::Reserved) {
                FreeReserved(sql, "type = :type AND unit = :unit", {type, unit});
            }
            return;
        }
        item = FirstItem(
            sql,
            columns + " WHERE type = :type AND state = 'free' AND ledger = '' ORDER BY added, name LIMIT 1" +
                m_store.Claiming(),
            type, nullptr);
        if (!item) {
            return;
        }
        item->unit = unit;
        item->run = run;
        item->state = ItemState::Reserved;
        const std::string now = TimeText();
        sql << "UPDATE item SET state = 'reserved', unit = :unit, run = :run, note = '', changed = :changed, "
               "revision = revision + 1 "
               "WHERE digest = :digest",
            soci::use(unit), soci::use(run), soci::use(now), soci::use(item->digest);
    });
    if (!item) {
        Fail(Exit::Store, "the stock of {} is empty: take more in with 'zelline stock add {} {}'", type, type,
             type == kAddressStock ? "FIRST LAST" : "FOLDER");
    }
    return *item;
}

bool Stock::Has(const std::string& type, const std::string& unit) {
    int count = 0;
    m_store.Do([&](soci::session& sql) {
        sql << "SELECT COUNT(*) FROM item WHERE type = :type AND (unit = :unit OR (state = 'free' AND ledger = "
               "''))",
            soci::use(type), soci::use(unit), soci::into(count);
    });
    return count > 0;
}

void Stock::Sending(const Item& item, const std::string& run) {
    m_store.Do([&](soci::session& sql) {
        SetState(sql, item.digest, ItemState::Spent, "sent to its unit; what came of it is not known");
        sql << "UPDATE item SET run = :run, revision = revision + 1 WHERE digest = :digest", soci::use(run),
            soci::use(item.digest);
    });
}

void Stock::Settle(const Item& item, ItemState state, const std::string& note) {
    m_store.Do([&](soci::session& sql) { SetState(sql, item.digest, state, note); });
}

void Stock::Release(const std::string& run) {
    m_store.Do([&](soci::session& sql) { FreeReserved(sql, "run = :run", {run}); });
}

bool Stock::Retire(const std::string& type, const std::string& name, const std::string& note) {
    long long changed = 0;
    m_store.Do([&](soci::session& sql) {
        const std::string now = TimeText();
        soci::statement update =
            (sql.prepare
                 << "UPDATE item SET state = 'spent', unit = '', note = :note, changed = :changed, revision = "
                    "revision + 1 "
                    "WHERE type = :type AND name = :name AND ledger = '' AND (state = 'free' OR unit <> '')",
             soci::use(note), soci::use(now), soci::use(type), soci::use(name));
        update.execute(true);
        changed = update.get_affected_rows();
    });
    return changed > 0;
}

std::vector<std::string> Stock::Check() {
    std::vector<std::string> problems;
    m_store.Do([&](soci::session& sql) {
        ItemRow row;
        soci::statement select(sql);
        row.Bind(select);
        select.alloc();
        select.prepare(std::string(kItemColumns) + " ORDER BY type, unit, name");
        select.define_and_bind();
        select.execute();
        Item before;
        while (select.fetch()) {
            Item item = row.item;
            std::string doubt;
            try {
                item = row.Made();
                doubt = ItemDoubt(item, row.state);
            } catch (const Error&) {
                doubt = "does not have the content that was taken in";
            }
            if (!doubt.empty()) {
                problems.push_back(fmt::format("{} {} {}", item.type, item.name, doubt));
            }
            if (item.unit.empty() || item.state == ItemState::Reserved) {
                continue;  // no unit has it
            }
            if (item.type == before.type && item.unit == before.unit) {
                problems.push_back(fmt::format("the unit {} has two items of {}: {} and {}", item.unit, item.type,
                                               before.name, item.name));
            }
            before = item;
        }
    });
    return problems;
}

}  // namespace zelline
