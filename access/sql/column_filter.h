// Comparisons of columns with values that a cursor makes on each row, with SQLite's rules.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

#include "access/sql/virtual_table.h"

namespace jet::sql {

// How SQLite sees the values of a column.
enum class ColumnClass : std::uint8_t { kWhole, kReal, kDecimal, kText, kBlob };

ColumnClass ClassOf(ColumnType type);

struct Filter {
  Op op = Op::kEqual;
  int column = 0;
  ColumnClass column_class = ColumnClass::kWhole;
  bool is_text_column = false;  // Text or Memo: may be read without a Value
  ValueKind kind = ValueKind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string text;
};

// Reads the value of a comparison, converted as SQLite would for a column of that class. False when the
// comparison cannot be true.
bool TakeValue(const PlannedValue& p, ColumnClass column_class, sqlite3_value* value, Filter* f);

// Whether the comparison holds for the row. `buffer` is room for a text.
bool Passes(const Filter& f, const Row& row, std::string* buffer);

}  // namespace jet::sql
