#include "record/StationLedger.h"

#include <fmt/format.h>

#include <ctime>
#include <vector>

#include "store/Digest.h"
#include "wire/Error.h"

namespace zelline {
namespace {

using Texts = std::vector<std::string>;

// The rows of a query with that many columns, each as a text; `uses` are its values in order.
std::vector<Texts> RowsOf(soci::session& sql, const std::string& query, std::size_t columns, const Texts& uses) {
    std::vector<Texts> rows;
    Texts row(columns);
    soci::statement select(sql);
    for (const std::string& text : uses) {
        select.exchange(soci::use(text));
    }
    for (std::string& column : row) {
        select.exchange(soci::into(column));
    }
    select.alloc();
    select.prepare(query);
    select.define_and_bind();
    select.execute();
    while (select.fetch()) {
        rows.push_back(row);
    }
    return rows;
}

// Carries out a statement and returns how many rows it changed.
long long Execute(soci::session& sql, const std::string& text, const Texts& uses) {
    soci::statement statement(sql);
    for (const std::string& value : uses) {
        statement.exchange(soci::use(value));
    }
    statement.alloc();
    statement.prepare(text);
    statement.define_and_bind();
    statement.execute(true);
    return statement.get_affected_rows();
}

// Column names that a row is copied by, and the placeholders for their values.
struct RowForm {
    std::string names;
    std::string places;
    std::size_t count = 0;
};

RowForm RowFormOf(const std::vector<const char*>& names) {
    RowForm columns;
    for (const char* name : names) {
        const char* comma = columns.count == 0 ? "" : ", ";
        columns.names += fmt::format("{}{}", comma, name);
        columns.places += fmt::format("{}:{}", comma, name);
        ++columns.count;
    }
    return columns;
}

const RowForm kItems = RowFormOf(
    {"digest", "type", "name", "content", "state", "unit", "run", "note", "added", "changed", "revision"});
const RowForm kRuns = RowFormOf({"id", "unit", "station", "slot", "port", "plan", "plan_name", "plan_hash", "tool",
                                 "variables", "started", "ended", "ms", "status", "verdict", "revision", "note"});
const RowForm kSteps = RowFormOf({"run", "number", "name", "id", "verb", "teardown", "limits", "begun", "ended",
                                  "ms", "state", "status", "value", "is_number", "words", "tries", "burst"});
// Their places among these.
constexpr std::size_t kItemRevision = 10;
constexpr std::size_t kRunRevision = 15;

// What a move to another station adds to an item's revision: more than the station before can have counted without
// having told the server.
constexpr long long kMove = 1000000;

constexpr std::size_t kMostRuns = 50;  // that are brought up in one transaction

std::vector<Texts> OwnRows(Store& store, const std::string& query, std::size_t columns, const Texts& uses) {
    std::vector<Texts> rows;
    store.Do([&](soci::session& sql) { rows = RowsOf(sql, query, columns, uses); });
    return rows;
}

// Takes items of the server's into the station's own store, in the place of older ones.
void TakeOver(Store& own, const std::vector<Texts>& items) {
    own.Do([&](soci::session& sql) {
        for (Texts item : items) {
            const std::string& revision = item[kItemRevision];
            Execute(sql, "DELETE FROM item WHERE digest = :digest AND revision <= :revision AND state <> 'free'",
                    {item[0], revision});
            item.push_back(revision);
            Execute(
                sql,
                fmt::format("INSERT INTO item ({}, pushed) VALUES ({}, :pushed) ON CONFLICT (digest) DO NOTHING",
                            kItems.names, kItems.places),
                item);
        }
    });
}

}  // namespace

StationLedger::StationLedger(Store& own, Store& server, const std::string& station)
    : m_own(own), m_server(server) {
    const auto ownGeneration = [&] {
        return std::stoll(OwnRows(m_own, "SELECT name, generation FROM ledger", 2, {}).at(0)[1]);
    };
    m_own.Do([&](soci::session& sql) {
        if (RowsOf(sql, "SELECT name FROM ledger", 1, {}).empty()) {
            constexpr std::size_t kNameBytes = 8;
            Execute(sql, "INSERT INTO ledger (name, station, generation) VALUES (:name, :station, 0)",
                    {RandomHex(kNameBytes), station});
        }
        // Counted here first: so the server's count is ahead of the file's only when that is an older copy.
        Execute(sql, "UPDATE ledger SET generation = generation + 1", {});
        m_name = RowsOf(sql, "SELECT name FROM ledger", 1, {}).at(0)[0];
    });
    m_server.Do([&](soci::session& sql) {
        Execute(sql,
                "INSERT INTO ledger (name, station, generation) VALUES (:name, :station, 0) ON CONFLICT (name) DO "
                "NOTHING",
                {m_name, station});
        const auto rows =
            RowsOf(sql, "SELECT generation FROM ledger WHERE name = :name" + m_server.Waiting(), 1, {m_name});
        const long long known = ownGeneration();
        if (std::stoll(rows.at(0)[0]) > known) {
            Fail(Exit::Unusable,
                 "{} is an older copy of this station's ledger, or was retired: what it takes for free may be in "
                 "sets. "
                 "Use the newer one, or move it away and let the station begin a new one",
                 m_own.Name());
        }
        Execute(sql, "UPDATE ledger SET station = :station, generation = :generation WHERE name = :name",
                {station, fmt::to_string(known), m_name});
    });
}

bool StationLedger::IsAway(Store& own) {
    const long long now = std::time(nullptr);
    const auto rows = OwnRows(own, "SELECT noted FROM absence", 1, {});
    // One that was noted later than now is no measure: the clock was changed.
    return !rows.empty() && std::stoll(rows[0][0]) <= now && now < std::stoll(rows[0][0]) + kLeftAlone.count();
}

void StationLedger::NoteSilence(Store& own, std::chrono::steady_clock::time_point begin) {
    constexpr std::chrono::seconds kInVain{1};
    if (std::chrono::steady_clock::now() - begin >= kInVain) {
        own.Note([&](soci::session& sql) {
            Execute(sql, "DELETE FROM absence", {});
            Execute(sql, "INSERT INTO absence (noted) VALUES (:noted)", {fmt::to_string(std::time(nullptr))});
        });
    }
}

void StationLedger::NoteAnswer(Store& own) {
    own.Note([](soci::session& sql) { Execute(sql, "DELETE FROM absence", {}); });
}

void StationLedger::Supply(const std::set<std::string>& types, const std::string& unit) {
    for (const std::string& type : types) {
        Claim(type, unit);
        if (CountFree(type) < kLow) {
            Lease(type);
            Adopt(type);
        }
    }
}

void StationLedger::BringUp() {
    BringItems();
    while (BringRuns() == kMostRuns) {
    }
}

// A unit that was at another station before keeps its item: this station has it from now on. What is only reserved
// stays there: that station may have freed it by now, and would give it to another unit as well.
void StationLedger::Claim(const std::string& type, const std::string& unit) {
    const char* const has = "type = :type AND unit = :unit AND state NOT IN ('free', 'reserved') AND ledger";
    std::vector<Texts> items;
    m_server.Do([&](soci::session& sql) {
        Execute(sql,
                fmt::format("UPDATE item SET ledger = :ledger, revision = revision + {} WHERE {} <> :mine", kMove,
                            has),
                {m_name, type, unit, m_name});
        // Also what was claimed by a process that was killed before it had taken it over.
        items = RowsOf(sql, fmt::format("SELECT {} FROM item WHERE {} = :mine", kItems.names, has), kItems.count,
                       {type, unit, m_name});
    });
    TakeOver(m_own, items);
}

void StationLedger::Adopt(const std::string& type) {
    std::vector<Texts> items;
    m_server.Do([&](soci::session& sql) {
        items =
            RowsOf(sql,
                   fmt::format("SELECT {} FROM item WHERE type = :type AND state = 'free' AND ledger = :ledger",
                               kItems.names),
                   kItems.count, {type, m_name});
    });
    TakeOver(m_own, items);
}

// Other processes of the station come after this transaction on the server.
void StationLedger::AwaitOthers(soci::session& sql) {
    RowsOf(sql, "SELECT name FROM ledger WHERE name = :name" + m_server.Waiting(), 1, {m_name});
}

// Fills the block up. The server's own count decides: another process of the station, or one that was killed
// before it took the items over, may have leased some already.
void StationLedger::Lease(const std::string& type) {
    m_server.Do([&](soci::session& sql) {
        AwaitOthers(sql);
        const std::size_t leased = std::stoul(
            RowsOf(sql, "SELECT COUNT(*) FROM item WHERE type = :type AND state = 'free' AND ledger = :ledger", 1,
                   {type, m_name})
                .at(0)[0]);
        if (leased >= kLow) {
            return;
        }
        const auto rows = RowsOf(sql,
                                 fmt::format("SELECT digest FROM item WHERE type = :type AND state = 'free' AND "
                                             "ledger = '' ORDER BY added, name LIMIT {}",
                                             kBlock - leased) +
                                     m_server.Claiming(),
                                 1, {type});
        for (const Texts& row : rows) {
            Execute(sql, "UPDATE item SET ledger = :ledger WHERE digest = :digest", {m_name, row[0]});
        }
    });
}

std::size_t StationLedger::CountFree(const std::string& type) {
    return std::stoul(
        OwnRows(m_own, "SELECT COUNT(*) FROM item WHERE type = :type AND state = 'free'", 1, {type}).at(0)[0]);
}

// Several processes of the station may bring up at once; what is older never takes the place of what is newer.
// What another station has by now stays as that one has it, and what a process that was killed has brought already
// counts as brought.
void StationLedger::BringItems() {
    const auto items = OwnRows(m_own,
                               "SELECT state, unit, run, note, changed, revision, digest FROM item WHERE revision "
                               "> pushed ORDER BY digest",
                               7, {});
    m_server.Do([&](soci::session& sql) {
        for (const Texts& item : items) {
            Texts uses = item;
            uses.insert(uses.end(), {m_name, item[5]});
            Execute(sql,
                    "UPDATE item SET state = :state, unit = :unit, run = :run, note = :note, changed = :changed, "
                    "revision = :revision WHERE digest = :digest AND ledger = :ledger AND revision < :newer",
                    uses);
        }
    });
    m_own.Do([&](soci::session& sql) {
        for (const Texts& item : items) {
            Execute(sql, "UPDATE item SET pushed = :pushed WHERE digest = :digest", {item[5], item[6]});
        }
    });
}

// In pieces: what was brought stays so when the server goes again, and others wait for one piece only. Returns how
// many it brought.
std::size_t StationLedger::BringRuns() {
    std::vector<Texts> runs;
    std::vector<std::vector<Texts>> steps;
    m_own.Do([&](soci::session& sql) {
        runs = RowsOf(
            sql,
            fmt::format("SELECT {} FROM run WHERE revision > pushed ORDER BY id LIMIT {}", kRuns.names, kMostRuns),
            kRuns.count, {});
        for (const Texts& run : runs) {
            steps.push_back(RowsOf(sql, fmt::format("SELECT {} FROM step WHERE run = :run", kSteps.names),
                                   kSteps.count, {run[0]}));
        }
    });
    m_server.Do([&](soci::session& sql) {
        AwaitOthers(sql);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const std::string& run = runs[i][0];
            const auto known = RowsOf(sql, "SELECT revision FROM run WHERE id = :id", 1, {run});
            if (!known.empty() && std::stoll(known[0][0]) >= std::stoll(runs[i][kRunRevision])) {
                continue;
            }
            Execute(sql, "DELETE FROM step WHERE run = :run", {run});
            Execute(sql, "DELETE FROM run WHERE id = :id", {run});
            Execute(sql, fmt::format("INSERT INTO run ({}) VALUES ({})", kRuns.names, kRuns.places), runs[i]);
            for (const Texts& step : steps[i]) {
                Execute(sql, fmt::format("INSERT INTO step ({}) VALUES ({})", kSteps.names, kSteps.places), step);
            }
        }
    });
    m_own.Do([&](soci::session& sql) {
        for (const Texts& run : runs) {
            Execute(sql, "UPDATE run SET pushed = :pushed WHERE id = :id", {run[kRunRevision], run[0]});
        }
    });
    return runs.size();
}

}  // namespace zelline
