#include "store/Schema.h"

#include <array>
#include <vector>

#include "wire/Error.h"

namespace zelline {
namespace {

using Statements = std::vector<const char*>;

// One entry for each version, in order; what stands here is never changed, only added to. Types and words are
// those that SQLite and PostgreSQL share. Columns are never null: an empty text stands for nothing.
const std::array<Statements, 5> kVersions = {{
    // `digest` is an item's identity: SHA-256 of a key's content, an address itself. `content` is a key's bytes in
    // hexadecimal.
    {"CREATE TABLE item (digest TEXT PRIMARY KEY, type TEXT NOT NULL, name TEXT NOT NULL, content TEXT NOT NULL, "
     "state TEXT NOT NULL, unit TEXT NOT NULL DEFAULT '', run TEXT NOT NULL DEFAULT '', "
     "note TEXT NOT NULL DEFAULT '', added TEXT NOT NULL, changed TEXT NOT NULL)",
     "CREATE INDEX item_by_state ON item (type, state, name)", "CREATE INDEX item_by_unit ON item (unit, type)"},
    // A run without a verdict has not ended. Texts in `variables` and `limits` are JSON objects; `status` is what
    // the
    // tool's process would end with for the run or the step.
    {"CREATE TABLE run (id TEXT PRIMARY KEY, unit TEXT NOT NULL, station TEXT NOT NULL, slot TEXT NOT NULL, "
     "port TEXT NOT NULL, plan TEXT NOT NULL, plan_name TEXT NOT NULL, plan_hash TEXT NOT NULL, tool TEXT NOT "
     "NULL, "
     "variables TEXT NOT NULL, started TEXT NOT NULL, ended TEXT NOT NULL DEFAULT '', ms BIGINT NOT NULL DEFAULT "
     "0, "
     "status INTEGER NOT NULL DEFAULT 130, verdict TEXT NOT NULL DEFAULT '')",
     "CREATE INDEX run_by_unit ON run (unit, id)",
     "CREATE TABLE step (run TEXT NOT NULL, number INTEGER NOT NULL, name TEXT NOT NULL, id TEXT NOT NULL, "
     "verb TEXT NOT NULL, teardown INTEGER NOT NULL, limits TEXT NOT NULL, begun TEXT NOT NULL DEFAULT '', "
     "ended TEXT NOT NULL DEFAULT '', ms BIGINT NOT NULL DEFAULT 0, state TEXT NOT NULL DEFAULT 'not run', "
     "status INTEGER NOT NULL DEFAULT 0, value TEXT NOT NULL DEFAULT '', is_number INTEGER NOT NULL DEFAULT 0, "
     "words TEXT NOT NULL, tries INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (run, number))"},
    // The number that the steps of a run which went out together share; 0 for one that went out alone.
    {"ALTER TABLE step ADD COLUMN burst INTEGER NOT NULL DEFAULT 0"},
    // A station's own file has one row in `ledger`, a server one for each such file that it knows; `item.ledger`
    // is set
    // on a server only and names the file that has the item on lease. `revision` counts the changes of a row,
    // `pushed`
    // those of a file's row that the server has.
    {"CREATE TABLE ledger (name TEXT PRIMARY KEY, station TEXT NOT NULL, generation BIGINT NOT NULL)",
     "ALTER TABLE item ADD COLUMN ledger TEXT NOT NULL DEFAULT ''",
     "ALTER TABLE item ADD COLUMN revision BIGINT NOT NULL DEFAULT 0",
     "ALTER TABLE item ADD COLUMN pushed BIGINT NOT NULL DEFAULT 0",
     "ALTER TABLE run ADD COLUMN revision BIGINT NOT NULL DEFAULT 0",
     "ALTER TABLE run ADD COLUMN pushed BIGINT NOT NULL DEFAULT 0"},
    // A row of `absence`, in a station's own file only, says when its server was last waited for in vain (seconds
    // since 1970). `run.note` is what was unusual as the run began.
    {"CREATE TABLE absence (noted BIGINT NOT NULL)", "ALTER TABLE run ADD COLUMN note TEXT NOT NULL DEFAULT ''"},
}};

}  // namespace

int SchemaVersion() {
    return static_cast<int>(kVersions.size());
}

void Migrate(soci::session& sql, int upTo) {
    sql << "CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)";
    int version = 0;
    int rows = 0;
    sql << "SELECT COUNT(*), COALESCE(MAX(version), 0) FROM schema_version", soci::into(rows), soci::into(version);
    if (version > SchemaVersion()) {
        Fail(Exit::Unusable,
             "the store was made by a newer zelline (version {} of its tables, this one knows {}); use that one",
             version, SchemaVersion());
    }
    if (version >= upTo) {
        return;
    }
    for (; version < upTo; ++version) {
        for (const char* statement : kVersions[static_cast<std::size_t>(version)]) {
            sql << statement;
        }
    }
    if (rows == 0) {
        sql << "INSERT INTO schema_version (version) VALUES (:version)", soci::use(version);
    } else {
        sql << "UPDATE schema_version SET version = :version", soci::use(version);
    }
}

}  // namespace zelline
