// Recordsets on the Access engine. Three kinds serve the cursor and lock types:
//
//   streaming   forward-only, read-only: the running query, stepped as the recordset moves
//   keyset      keyset, dynamic, and whatever is to be changed: identifiers of the rows of one base table in
//               the order of the query; each row is read when it is reached, and skipped when it is gone
//   snapshot    static, and keysets whose rows are not the rows of one table: all values, kept compactly
#pragma once

#include <memory>
#include <string_view>

#include "db/access_provider/access_connection.h"

namespace vnt::db {

// jet::Error and DbError.
std::unique_ptr<ProviderRecordset> OpenAccessRecordset(AccessConnection& connection, std::string_view sql,
                                                       CursorType cursor, LockType lock);

}  // namespace vnt::db
