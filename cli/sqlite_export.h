// A database as one SQLite file.
#pragma once

#include <string>

#include "access/store/database.h"

namespace vnt::cli {

// Writes all user tables with their primary keys and indexes into a new SQLite file, which appears under its
// name when it is complete and on the disk. Relationships and saved queries stay behind.
//
//   Yes/No, Byte, Integer, Long, Large    INTEGER (Yes is 1)
//   Single, Double                        REAL
//   Currency, Decimal                     TEXT, with all their digits
//   Date/Time                             TEXT, "2005-04-12 00:00:00", with thousandths of a second where
//   they are Text, Memo, GUID, Date/Time Ext.      TEXT Binary, OLE                           BLOB
//
// A unique index whose keys SQLite takes for equal becomes an ordinary one. jet::Error: kExists when the file
// is there; kIo; kInterrupted; what reading the database raises.
void ExportToSqlite(jet::Database& database, const std::string& path, bool order_by_key);

}  // namespace vnt::cli
