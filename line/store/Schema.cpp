#include "store/Schema.h"

#include <array>
#include <vector>

#include "wire/Error.h"

namespace zelline {
namespace {

using Statements = std::vector<const char*>;

// One entry for each version, in order; what stands here is never changed, only added to. Types and words are
// those that SQLite and PostgreSQL share. Columns are never null: an empty text stands for nothing.
const std::array<Statements, 1> kVersions = {{
    // `digest` is an item's identity: SHA-256 of a key's content, an address itself. `content` is a key's bytes in
    // hexadecimal.
    {"CREATE TABLE item (digest TEXT PRIMARY KEY, type TEXT NOT NULL, name TEXT NOT NULL, content TEXT NOT NULL, "
     "state TEXT NOT NULL, unit TEXT NOT NULL DEFAULT '', run TEXT NOT NULL DEFAULT '', "
     "note TEXT NOT NULL DEFAULT '', added TEXT NOT NULL, changed TEXT NOT NULL)",
     "CREATE INDEX item_by_state ON item (type, state, name)", "CREATE INDEX item_by_unit ON item (unit, type)"},
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
