// A table with a column and an index of each kind, and the test of everything that must hold in it.
#pragma once

#include <map>
#include <vector>

#include "tests/access/store/store_fixture.h"

namespace jet::testing {

using Record = std::vector<Value>;

// Columns 0 id, 1 seq, 2 name, 3 memo, 4 flag, 5 amount, 6 blob. Indexes: primary (0, 1), name, flag + amount
// (unique), ignore-nulls amount.
std::vector<ColumnDef> WideColumns();
std::vector<IndexDef> WideIndexes();

// Everything that must hold between rows, indexes and maps.
void CheckConsistent(TestFile& file, StoredTable& table, const std::map<RowId, Record>& model);

}  // namespace jet::testing
