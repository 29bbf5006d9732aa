// What stands behind a Table: its rows, long values and indexes, kept consistent with each other.
//
// Rows live on the pages of the owned map. A row is known by the slot it was first written to; when it grows
// and its page is full, the body moves to a slot flagged 0x8000 on another page and a pointer row stays.
// Every change runs in two steps: everything that can be refused is checked, then pages are changed. The
// bytes of the row are the matter of RowWriter, entries of indexes that of KeyChanges, what rows of other
// tables have to do with it that of Relationships.
//
// Row count, autonumber and the counts of distinct keys live in memory; Flush() stores them. Deleted slots
// are given to new rows unless somebody may hold their row identifiers (HoldRowIds; cursors do). A page that
// lost its last row stays at hand for the next ones until ReturnPages() gives it back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/store/key_changes.h"
#include "access/store/layout.h"
#include "access/store/relationships.h"
#include "access/store/row_codec.h"
#include "access/store/row_writer.h"
#include "access/store/table_indexes.h"

namespace jet {

// The table's private door to Row.
struct RowAccess {
  static void Set(const StoredTable& table, const PageRef& page, const RowView& view, Row* row);
  static RowView View(const Row& row);
  static const StoredTable& TableOf(const Row& row) { return *row.table_; }
};

class StoredTable {
 public:
  StoredTable(StoreContext& context, TableDef def, TableLayout layout);
  StoredTable(const StoredTable&) = delete;
  StoredTable& operator=(const StoredTable&) = delete;

  // ---- See Table ----

  const TableDef& def() const { return def_; }
  std::uint32_t row_count() const { return counters_.rows; }
  std::uint64_t content_version() const { return content_version_; }
  bool Fetch(RowId id, Row* row) const;
  bool StoresRowsAs(const StoredTable& other) const;
  RowId Insert(const std::vector<Value>& values);
  void Update(RowId id, const std::vector<ColumnChange>& changes);
  void Delete(RowId id);
  void HoldRowIds() { rows_.HoldRowIds(); }
  void ReleaseRowIds() { rows_.ReleaseRowIds(); }
  std::string MakeKey(int index, const std::vector<Value>& values) const {
    return indexes_.MakeKey(index, values);
  }

  // ---- For the database ----

  const TableLayout& layout() const { return layout_; }
  // Writes row count, autonumber and distinct counts into the definition page (before a checkpoint).
  void Flush();
  // Gives the pages back to the file on which no row is left, unless row identifiers are held. Must run
  // inside a statement scope.
  bool has_pages_to_return() const { return rows_.has_pages_to_return(); }
  void ReturnPages();
  void OnRollbackStatement();
  // Pages were brought back to what they were before several statements: what is kept in memory is read anew.
  void OnRevert();
  // Exchanges the reason why rows cannot be changed: a newer definition has replaced this one, or has gone.
  void SwapReadOnlyReason(std::string* reason) noexcept { def_.read_only_reason.swap(*reason); }
  // Gives rows that were written without a variable part one, if the table has it now, and rows that are
  // shorter than Access writes them their length. Access reads such rows as they are; other readers take the
  // last values of a row for its offsets.
  void RewriteOldRows();
  // Frees every page that belongs to the table's data: rows, long values, index trees, map bitmaps, map rows.
  void FreeData();
  // Builds index `index` of def() from the rows (the root page exists and is empty). kConstraint when it is
  // unique and they are not.
  void BuildIndex(int index);
  void FreeIndex(int index);
  // Adds a row as it stands in another file of the same table, or in an older state of this one, without
  // entries in the indexes.
  void CopyRow(const Row& row);

  // ---- For rows, cursors and relationships ----

  StoreContext& context() const { return context_; }
  const RowFormat& row_format() const { return row_format_; }
  const UsageMap& owned() const { return rows_.owned(); }
  BTree& tree(int index) const { return indexes_.tree(index); }
  KeyColumn key_column(int index, int position) const { return indexes_.column(index, position); }
  // Changes when a statement that changed the table was rolled back, so that cursors look again.
  std::uint64_t rollbacks() const { return rollbacks_; }
  // The row whose slot is given, its pointer followed; `*page` is the page of the header slot and becomes
  // that of the body. kCorrupt when the pointer leads nowhere.
  RowView ViewRow(const RowSlot& slot, PageRef* page) const;

 private:
  struct Counters {
    std::uint32_t rows = 0;
    std::int32_t auto_number = 0;
    std::vector<std::uint32_t> distinct;
  };

  bool Locate(RowId id, RowLocation* at) const;
  RowLocation LocateForChange(RowId id) const;
  void RequireChangeable() const;
  // Prepares the values of a new row and returns the last autonumber.
  std::int32_t PrepareValues(const std::vector<Value>& values);
  void Touch();
  void ReadCounters();
  void ForgetHints();

  StoreContext& context_;
  TableDef def_;
  TableLayout layout_;
  RowFormat row_format_;
  TableIndexes indexes_;
  RowWriter rows_;
  KeyChanges keys_;
  Relationships relationships_;
  int auto_column_ = -1;

  Counters counters_, saved_;
  std::uint64_t touched_by_ = 0;  // the last statement that changed the table; saved_: before that
  std::uint64_t rollbacks_ = 0;
  std::uint64_t content_version_ = 0;
};

}  // namespace jet
