// Rewrites the tables of a file densely, so that the file can be cut off behind them.
#pragma once

#include "access/file/file.h"
#include "access/store/database.h"

namespace jet {

// Rewrites every table that the engine may change: rows in their order, long values, indexes; on the lowest
// pages that are free. System tables, and tables that it may only read, stay where they are, and so does
// every definition, since the catalog and relationships name its page. Returns the number of pages that the
// file needs from then on: PageStore::CutOff() after the next checkpoint takes the others away.
//
// The database must be writable, without changes and without open cursors. Runs in a statement scope of its
// own: after an error nothing has changed. The file's pages are read as they were saved, beside the new ones:
// the journal takes as much room as the new tables.
PageNo CompactTables(FileSystem& files, Database& database);

}  // namespace jet
