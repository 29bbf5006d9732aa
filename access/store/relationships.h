// Enforced relationships: what a row refers to exists, and what rows refer to stays.
//
// The definitions of both tables hold an end of the relationship: a logical index of the foreign kind, which
// names an index of its own table and the other end. The columns of both indexes correspond by position. A
// relationship without such ends is drawn only, not enforced. As in Access, a row with a Null among its
// referring columns refers to nothing.
//
// Everything is tested row by row before the row is written. Rows that cascade are changed after it, so that
// they find the new key.
#pragma once

#include <vector>

#include "access/store/key_changes.h"

namespace jet {

class StoredTable;

// Rows of another table that refer to a key which is going away, and what becomes of them.
struct Cascade {
  StoredTable* table = nullptr;
  std::vector<RowId> rows;
  std::vector<ColumnChange> changes;  // empty: the rows are deleted
};

class Relationships {
 public:
  Relationships(StoredTable& table, const RowWriter& row, const KeyChanges& keys)
      : table_(table), row_(row), keys_(keys) {}

  // The new keys must be among those that they refer to. Uses the key changes that have been prepared.
  void RequireParents(const RowView* old) const;
  // Whether the old keys may go: kConstraint when rows refer to them that are to stay as they are.
  std::vector<Cascade> RequireNoChildren(RowId id, const RowView& old, bool deletes) const;
  void Run(const std::vector<Cascade>& cascades);

 private:
  using Relationship = TableLayout::Relationship;

  StoredTable& PartnerOf(const Relationship& end, const Relationship** other) const;
  // The values of the relationship's columns, `get(column)`; false when one is Null.
  template <typename Get>
  bool RelatedValues(const Relationship& end, Get get, std::vector<Value>* values) const;
  // The rows of `child` that refer to the key, but for the row itself where it goes with itself.
  std::vector<RowId> RowsReferring(StoredTable& child, const Relationship& end, const Relationship& other,
                                   const std::vector<Value>& values, RowId id, const RowView& old,
                                   bool deletes) const;

  StoredTable& table_;
  const RowWriter& row_;
  const KeyChanges& keys_;
  int cascade_depth_ = 0;
};

}  // namespace jet
