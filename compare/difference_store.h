// What two databases differ in, kept to be looked at: by table, by notice, row by row. The databases need not
// stay open.
//
// Rows are kept as text in a temporary file; in memory are sixteen bytes for each, and the groups of the
// notices.
//
//   row:  u8 kind, text key, u16 columns, then for each column u8 mark (0 equal, 1 changed), text old, and
//         where it is changed, text new
//   text: u32 length, bytes
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "access/file/file.h"
#include "compare/compare.h"

namespace vnt::compare {

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
  DifferenceStore(jet::FileSystem& files, std::function<void(std::uint64_t, std::uint64_t)> progress = {});

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

 private:
  struct Place {
    std::uint64_t offset = 0;
    std::uint32_t bytes = 0;
    std::int32_t notice = 0;  // 0: belongs to none, or it cannot be told
  };

  std::int32_t NoticeOf(const RowDifference& row) const;
  void Flush();

  std::function<void(std::uint64_t, std::uint64_t)> progress_;
  std::unique_ptr<jet::File> file_;
  std::uint64_t written_ = 0;
  std::string buffer_;
  std::vector<Table> tables_;
  std::vector<Place> rows_;
  std::map<std::int64_t, std::int32_t> notice_of_group_;
  int notice_column_ = -1, group_column_ = -1;  // of the table under way
};

}  // namespace vnt::compare
