// Recordsets of a data source.
//
//   streaming   forward-only, read-only: rows as the driver delivers them
//   buffered    all others: every row is fetched when the recordset is opened. A keyset cursor on a table
//   with
//               a primary key reads each row again when it is reached, and skips it when it is gone.
//
// Rows are changed through statements that find the row by the table's primary key, whose columns are added
// to the statement when it does not read them. Without a primary key a row is found by all its old values,
// and a change that does not match exactly one row is taken back and is an error.
#pragma once

#include <memory>
#include <string_view>

#include "db/odbc_provider/session.h"
#include "db/provider.h"

namespace vnt::db {

std::unique_ptr<ProviderRecordset> OpenOdbcRecordset(const std::shared_ptr<OdbcSession>& session,
                                                     std::string_view sql, CursorType cursor, LockType lock);

}  // namespace vnt::db
