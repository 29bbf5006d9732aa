// Tables of Access files as read-only virtual tables of a SQLite connection.
//
// A table is declared when a statement first names it. Its columns are c0, c1, ... in the order of TableDef,
// then an eN for each decimal or currency column (see translate.h), then r, the row identifier for where
// rowid is out of reach: behind the parentheses of a join.
//
// Every comparison of a column with a value that SQLite offers is taken over: on leading columns of an index
// as bounds of the search, and always as a filter that looks at the row before SQLite does.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/sql/functions.h"
#include "access/sql/row_filter.h"
#include "access/sql/statistics.h"
#include "access/store/database.h"

namespace jet::sql {

struct DeclaredTable {
  int id = 0;
  std::string sql_name;
  std::shared_ptr<Database> database;  // keeps another file open; null for the session's own
  std::shared_ptr<Table> table;
  IndexStatistics statistics;
  // Of the search that ran last: -1 the whole table, else the index.
  int last_index = -1;
  // While a changing statement runs: the rows to look at in place of the whole table; else null.
  CandidateRows* candidates = nullptr;
  bool gone = false;  // dropped or redefined while a query read it
};

// What the callbacks share.
struct TableHost : FailureSlot {
  sqlite3* db = nullptr;
  std::map<int, std::shared_ptr<DeclaredTable>> tables;
  // Counts the times a statement was resumed: rows that a cursor took before may have changed since.
  std::uint64_t epoch = 0;
};

void RegisterTableModule(TableHost* host);

// Declares `table` under the name "t<id>"; it must be in host->tables already.
void DeclareTable(TableHost* host, const DeclaredTable& table);

// How a search was planned: travels from the planner to the cursor as text, four characters a value.
struct PlannedValue {
  bool index = false;    // bounds the index search, too
  bool members = false;  // IN, all members at once; only with `index`
  Op op = Op::kEqual;    // a comparison, kIsNull or kIsNotNull
  int column = 0;
};
// The number that goes with it: the index + 1 (0: the whole table), and this when the rows that the index
// gives are to come in the order of the table.
constexpr int kInRowOrder = 1 << 16;
std::string EncodePlan(const std::vector<PlannedValue>& values);
std::vector<PlannedValue> DecodePlan(const char* text);

int PlanSearch(DeclaredTable& declared, sqlite3_index_info* info);

// The bounds for searching an index; false when no row can satisfy them. `values` are those with index set,
// in the order of the index's columns.
struct SearchValue {
  Op op = Op::kEqual;
  int column = 0;
  ValueKind kind = ValueKind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view text;
};
bool MakeBounds(const Table& table, int index, const std::vector<SearchValue>& values,
                IndexCursor::Bounds* bounds);

// SQLite's order of a whole number and a double.
int CompareIntegerReal(std::int64_t a, double b);

}  // namespace jet::sql
