// A table of a file: its rows, long values and indexes, kept consistent with each other.
//
// Rows live on the pages of the owned map. A row is known by the slot it was first written to; when it grows
// and its page is full, the body moves to a slot flagged 0x8000 on another page and a pointer row stays.
// Every change runs in two steps: everything that can be refused is checked, then pages are changed.
//
// Row count, autonumber and the counts of distinct keys live in memory; Flush() stores them. Deleted slots
// are given to new rows unless somebody may hold their row identifiers (HoldRowIds; cursors do). A page that
// lost its last row stays at hand for the next ones until ReturnPages() gives it back.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "access/index/btree.h"
#include "access/store/layout.h"
#include "access/store/long_value.h"
#include "access/store/row_codec.h"
#include "access/store/row_space.h"

namespace jet {

class StoredTableImpl;

// The table's private door to Row.
struct RowAccess {
  static void Set(const StoredTableImpl& table, const PageRef& page, const RowView& view, Row* row);
  static RowView View(const Row& row);
  static const StoredTableImpl& TableOf(const Row& row);
};

class StoredTableImpl final : public StoredTable {
 public:
  StoredTableImpl(StoreContext& context, TableDef def, TableLayout layout);

  std::uint32_t row_count() const override { return counters_.rows; }
  std::uint64_t content_version() const override { return content_version_; }
  bool Fetch(RowId id, Row* row) override;
  bool StoresRowsAs(const Table& other) const override;
  RowId Insert(const std::vector<Value>& values) override;
  void Update(RowId id, const std::vector<ColumnChange>& changes) override;
  void Delete(RowId id) override;
  void HoldRowIds() override { held_.Hold(); }
  void ReleaseRowIds() override;

  const TableLayout& layout() const override { return layout_; }
  void Flush() override;
  bool has_pages_to_return() const override { return !emptied_.empty() && !held_.held(); }
  void ReturnPages() override;
  void OnBeginStatement() override { touched_ = false; }
  void OnCommitStatement() override { touched_ = false; }
  void OnRollbackStatement() override;
  void OnRevert() override;
  void RewriteOldRows() override;
  void FreeData() override;
  void BuildIndex(int index) override;
  void CopyRow(const Row& row) override;
  void FreeIndex(int index) override;

  // For rows and cursors.
  StoreContext& context() const { return context_; }
  const RowFormat& row_format() const { return row_format_; }
  const UsageMap& owned() const { return space_.owned(); }
  BTree& tree(int index) { return *indexes_[index].tree; }
  // Changes when a statement that changed the table was rolled back, so that cursors look again.
  std::uint64_t rollbacks() const { return rollbacks_; }
  KeyColumn KeyColumnOf(int index, int position) const { return indexes_[index].columns[position]; }
  // Appends the key bytes of `value`, which has the kind that the column calls for.
  void AppendColumnKey(int index, int position, const Value& value, std::string* key) const;
  // The row whose slot is given, its pointer followed; `*page` is the page of the header slot and becomes
  // that of the body. kCorrupt when the pointer leads nowhere.
  RowView ViewRow(const RowSlot& slot, PageRef* page) const;

 private:
  class IndexPages : public IndexPageAllocator {
   public:
    IndexPages(StoreContext& context, RowPointer map) : context_(context), map_(context, map) {}
    MutablePageRef AllocateIndexPage() override;
    void FreeIndexPage(PageNo page) override;
    const UsageMap& map() const { return map_; }

   private:
    StoreContext& context_;
    UsageMap map_;
  };
  struct IndexState {
    std::vector<KeyColumn> columns;
    std::unique_ptr<IndexPages> pages;
    std::unique_ptr<BTree> tree;
  };
  struct Counters {
    std::uint32_t rows = 0;
    std::int32_t auto_number = 0;
    std::vector<std::uint32_t> distinct;
  };
  // A value on its way into a row.
  struct Prepared {
    int column = 0;
    const Value* value = nullptr;  // converted
    Value storage;
    bool null = false;
    std::size_t raw_offset = 0, raw_size = 0;  // in raw_: storage form, or content of a long value
    bool inline_content = true;
    std::size_t reference_offset = 0;  // in row_buffer_, of a long value that is not inline
  };
  // The key of one row in one index, before and after a change.
  struct KeyChange {
    int index = 0;
    bool has_old = false, has_new = false;
    bool new_is_unseen = false;  // no entry has new_key: the test for uniqueness has looked
    std::string old_key, new_key;
  };
  // A live row and where it stands.
  struct Location {
    PageRef home_page, body_page;
    RowSlot home, body;
    unsigned home_slot = 0, body_slot = 0;
    RowView view;
    bool moved() const { return home.moved(); }
  };

  bool Locate(RowId id, Location* at) const;
  Location LocateForChange(RowId id) const;
  void RequireChangeable() const;
  void Touch();
  void ReadCounters();
  void ForgetHints();

  void BeginPrepare(int count);
  void Prepare(int k, int column, const Value& value);
  bool CanPatch(const RowView& old) const;
  bool PatchChangesAnything(const RowView& old) const;
  void Patch(const Location& at);
  void AssembleRow(const RowView* old);
  void WriteLongValues();
  void FreeLongValues(const RowView& old, bool only_changed);
  void ReplaceRow(const Location& at);
  void NoteRoom(PageNo page, const std::uint8_t* data);

  // The value of a column after the change that is being prepared.
  Value NewValue(int column, const RowView* old) const;
  Value OldValue(int column, const RowView& row) const;
  // Builds the key of a row; false when the row has no entry in the index. `check` tests null columns of
  // primary and required indexes.
  template <typename Get>
  bool BuildKey(int index, Get get, bool check, std::string* key, bool* all_null) const;
  // Whether it is known afterwards that no entry has the key.
  bool RequireUnique(int index, const std::string& key, bool all_null, const RowView* old);
  KeyChange& NextKeyChange(int index);
  void ApplyKeyChanges(RowId id);

  // ---- table_relationships.cpp ----
  using Relationship = TableLayout::Relationship;
  // Rows of another table that refer to a key which is going away, and what becomes of them.
  struct Cascade {
    StoredTableImpl* table = nullptr;
    std::vector<RowId> rows;
    std::vector<ColumnChange> changes;  // empty: the rows are deleted
  };
  StoredTableImpl& PartnerOf(const Relationship& end, const Relationship** other) const;
  // The values of the relationship's columns, `get(column)`; false when one is Null.
  template <typename Get>
  bool RelatedValues(const Relationship& end, Get get, std::vector<Value>* values) const;
  bool HoldsKey(int index, const std::vector<Value>& values);
  // The new keys must be among those that they refer to. Uses the key changes that have been prepared.
  void RequireParents(const RowView* old);
  // Whether the old keys may go: kConstraint when rows refer to them that are to stay as they are.
  std::vector<Cascade> RequireNoChildren(RowId id, const RowView& old, bool deletes);
  void RunCascades(const std::vector<Cascade>& cascades);
  [[noreturn]] void ThrowDuplicate(int index, const RowView* old) const;

  StoreContext& context_;
  TableLayout layout_;
  RowFormat row_format_;
  HeldSlots held_;
  RowSpace space_;
  std::set<PageNo> emptied_;  // pages that may have no rows any more
  std::vector<IndexState> indexes_;
  std::vector<std::unique_ptr<LongValueStore>> long_stores_;  // by column position; null for other columns
  std::vector<std::uint32_t> indexes_of_column_;              // bit per index, by column position
  std::vector<int> variable_order_;  // column position by variable index, -1 where the column was dropped
  std::uint32_t fixed_bytes_ = 0;
  int auto_column_ = -1;

  Counters counters_, saved_;
  bool touched_ = false;
  int cascade_depth_ = 0;
  std::uint64_t rollbacks_ = 0;
  std::uint64_t content_version_ = 0;

  // Buffers that are used again for every row.
  std::vector<Prepared> prepared_;
  int prepared_count_ = 0;
  std::vector<int> change_of_column_;  // position in prepared_, or -1
  std::string raw_, row_buffer_;
  std::vector<KeyChange> key_changes_;
  std::size_t key_change_count_ = 0;
};

}  // namespace jet
