// The tables of the store, and how an older store becomes one of today.
#ifndef ZELLINE_STORE_SCHEMA_H
#define ZELLINE_STORE_SCHEMA_H

#include <soci/soci.h>

#include <string>

namespace zelline {

// The version that this tool makes and works with.
int SchemaVersion();

// Brings the store to SchemaVersion() inside the transaction that is open on `sql`; an empty one gets all tables.
// `upTo` is for tests, which make older stores with it. Throws Error with Exit::Unusable for a store of a newer
// version, which is left as it is.
void Migrate(soci::session& sql, int upTo = SchemaVersion());

}  // namespace zelline

#endif
