// The keyset recordset of the Access engine; see access_recordset.h.
#pragma once

#include <memory>

#include "db/access_provider/access_connection.h"

namespace vnt::db {

// Runs `query`, whose rows are rows of `table`, to its end.
std::unique_ptr<ProviderRecordset> OpenKeyset(AccessConnection& connection, std::shared_ptr<jet::Table> table,
                                              jet::sql::Query& query, bool forward_only, bool updatable);

}  // namespace vnt::db
