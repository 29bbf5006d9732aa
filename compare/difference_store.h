// What two databases differ in, kept to be looked at, by table, by notice, row by row, and to be told again
// as the comparison told it. The databases need not stay open.
//
// Rows are kept in a temporary file; in memory are sixteen bytes for each, and the groups of the notices.
//
//   row: u8 kind, then for each column of its table
//     of an added or removed row   the value
//     of a changed row             u8 mark (1 changed, 2 both values follow), the old value, or both
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "access/file/file.h"
#include "compare/compare.h"

namespace vnt::compare {

// What is compared, for the sentences about it.
enum class Sides { kTwoDatabases, kPreview };  // or one, and what a run would make of it

class DifferenceStore : public Sink {
 public:
  struct Table {
    std::string name;
    std::vector<std::string> columns;
    std::vector<std::string> remarks;  // sentences on tables and columns that one side lacks or has otherwise
    Counts counts;
    std::size_t first = 0, end = 0;  // its rows
  };
  struct Cell {
    std::string old_text, new_text;  // values described; empty on the side that has no such row
    bool changed = false;
  };
  struct StoredRow {
    Difference kind = Difference::kChanged;
    std::string key;
    std::vector<Cell> cells;  // as Table::columns
  };

  // `progress` is told what Sink::Progress is; it may be empty.
  explicit DifferenceStore(jet::FileSystem& files,
                           std::function<void(std::uint64_t, std::uint64_t)> progress = {},
                           Sides sides = Sides::kTwoDatabases);

  // To be called before Compare(), so that rows which name a group can be told by notice.
  void KnowGroups(jet::Database& database);

  void BeginTable(const ComparedTable& table) override;
  void Row(const RowDifference& row) override;
  void EndTable(const ComparedTable& table, const Counts& counts) override;
  void Progress(std::uint64_t done, std::uint64_t all) override;

  // Those that differ.
  const std::vector<Table>& tables() const { return tables_; }
  // The rows of a table that belong to a notice, or with 0 all, in their order; at most `limit`.
  std::vector<std::size_t> RowsOf(std::size_t table, std::int32_t notice, std::size_t limit) const;
  // How many there are.
  std::size_t CountOf(std::size_t table, std::int32_t notice) const;
  StoredRow Read(std::size_t row);

  // What Compare() gave at its end.
  void KeepSummary(const Summary& summary) { summary_ = summary; }
  const Summary& summary() const { return summary_; }
  // Tells a sink all that this one was told of tables that differ. jet::Error(kInterrupted).
  void TellAgain(Sink& sink);

 private:
  // A row that was read, and what it refers to.
  struct Loaded {
    RowDifference row;
    std::vector<jet::Value> old_values, new_values;
  };

  struct Place {
    std::uint64_t offset = 0;
    std::uint32_t bytes = 0;
    std::int32_t notice = 0;  // 0: belongs to none, or it cannot be told
  };

  std::int32_t NoticeOf(const RowDifference& row) const;
  void Flush();
  void Load(std::size_t table, std::size_t row, Loaded* loaded);

  std::function<void(std::uint64_t, std::uint64_t)> progress_;
  const Sides sides_;
  std::unique_ptr<jet::File> file_;
  std::uint64_t written_ = 0;
  std::string buffer_;
  std::vector<Table> tables_;
  std::vector<ComparedTable> compared_;     // the same tables
  std::deque<jet::ColumnDef> definitions_;  // what they refer to
  std::vector<Place> rows_;
  Summary summary_;
  std::map<std::int64_t, std::int32_t> notice_of_group_;
  int notice_column_ = -1, group_column_ = -1;  // of the table under way
};

}  // namespace vnt::compare
