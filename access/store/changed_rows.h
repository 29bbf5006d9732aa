// How many rows a piece of work has really changed.
#pragma once

#include <cstdint>

#include "access/store/database.h"

namespace jet {

// Rows of the tables that users see which came, went or hold another value since the last Mark(), Persist()
// or Checkpoint(). Rows are told apart by the primary key; in a table without one, rows that are gone and
// rows that are new count each. A row that was deleted and stored again as it was counts as nothing, nor does
// one whose values were written anew. Not within a statement. Errors are those of reading.
std::int64_t CountChangedRows(Database& database);

}  // namespace jet
