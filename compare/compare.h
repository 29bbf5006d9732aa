// What two Access databases differ in, told table by table and row by row to a sink. Nothing is printed here:
// a command line, a dry run and a window show the same comparison in ways of their own.
//
// Tables are matched by name and columns by name, in any letter case; links, queries and system tables take
// no part. Rows are matched by primary key where both tables have one over the same columns, and come in its
// order: a changed row is one that both have with other values. Where there is no such key, rows are matched
// by the values of all columns that both tables have, as often as they occur; then there are added and
// removed rows only, in the order of their first columns.
//
// Two values are equal when they are so as they are stored: texts letter by letter, Null and an empty text
// are different, real numbers bit by bit (so -0 is not 0). Where the two columns have different types,
// numbers are compared by value, texts and binary values by their content, and anything else is different. A
// column that one table lacks is told as such, and its values take no part.
//
// Memory is bounded: rows are read in the order of an index, or by keys that are sorted in temporary files
// past a limit. What else is in memory are the page caches of the two databases.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/store/database.h"

namespace vnt::compare {

struct Options {
  // Above 0: only rows that belong to this notice, which tables tell by a column ntc_id, or else by a column
  // grp_id with the number of a group that the notice has in either database. Other tables take no part. A
  // row that belongs to the notice on one side only is looked up on the other by its primary key, where both
  // write that alike.
  std::int32_t notice = 0;
  std::vector<std::string> tables;  // in any letter case; empty: all
  bool only_counts = false;         // Sink::Row is not called
};

struct ComparedColumn {
  std::string name;
  int old_position = -1, new_position = -1;  // in the columns of the table; -1: that table lacks it
  const jet::ColumnDef* old_definition = nullptr;
  const jet::ColumnDef* new_definition = nullptr;

  bool in_both() const { return old_position >= 0 && new_position >= 0; }
  // Both tables have it, with another type, length or scale.
  bool is_redefined() const;
};

struct ComparedTable {
  std::string name;
  bool in_old = false, in_new = false;
  std::vector<ComparedColumn> columns;  // the old ones in their order, then those that only the new table has
  std::vector<int> key;                 // positions in `columns`; empty: rows are matched by all columns

  // Tables, columns or types differ, whatever the rows.
  bool differs() const;
};

struct Counts {
  std::uint64_t removed = 0, added = 0, changed = 0, equal = 0;
  bool differ() const { return removed + added + changed != 0; }
};

enum class Difference { kRemoved, kAdded, kChanged };

// A row that is not the same in both. Valid during the call that hands it over.
struct RowDifference {
  Difference kind = Difference::kChanged;
  const ComparedTable* table = nullptr;
  std::vector<int> changed;  // of a changed row: positions in table->columns

  // Values of a column by its position in table->columns; Null where the row or the column is not there.
  jet::Value Old(int column) const;
  jet::Value New(int column) const;

  const jet::Row* old_row = nullptr;  // null: added
  const jet::Row* new_row = nullptr;  // null: removed
  // In place of rows, where the databases are no longer at hand: the values by position in table->columns.
  const std::vector<jet::Value>* old_values = nullptr;
  const std::vector<jet::Value>* new_values = nullptr;
};

// What Compare() tells. A sink that has seen enough throws, which ends the comparison.
class Sink {
 public:
  virtual ~Sink() = default;
  // Every table that takes part, equal ones too, by name.
  virtual void BeginTable(const ComparedTable&) {}
  virtual void Row(const RowDifference&) {}
  virtual void EndTable(const ComparedTable&, const Counts&) {}
  // Now and then: how many rows of both databases have been looked at, and about how many there are.
  virtual void Progress(std::uint64_t, std::uint64_t) {}
};

struct Summary {
  int tables = 0;            // that took part
  int differing_tables = 0;  // of them, in rows, columns or by being there
  Counts rows;
  bool equal() const { return differing_tables == 0; }
};

// For reading, with little memory.
std::unique_ptr<jet::Database> OpenToCompare(jet::FileSystem& files, const std::string& file);

// Compares two open databases, which may be of different versions, or one file and an overlay over it.
// jet::Error: kNoTable when neither has a table of Options::tables; kInvalid for one that a notice has no
// rows in; kInterrupted; what reading the files raises.
Summary Compare(jet::Database& old_database, jet::Database& new_database, const Options& options, Sink& sink);

// Whether a database has a notice of that number (table "notice").
bool HasNotice(jet::Database& database, std::int32_t notice);

}  // namespace vnt::compare
