// What a change of one row does to the indexes of its table: the keys that go and those that come. They are
// made, and refused where an index refuses them, before anything is written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "access/store/row_writer.h"
#include "access/store/table_indexes.h"

namespace jet {

class KeyChanges {
 public:
  KeyChanges(const TableDef& def, TableIndexes& indexes, const RowWriter& row)
      : def_(def), indexes_(indexes), row_(row) {}

  // For the row whose values the writer has prepared. kConstraint, kDuplicate, kTooLarge.
  void PrepareInsert();
  // `affected`: a bit for each index to look at.
  void PrepareUpdate(std::uint32_t affected, const RowView& old);
  void PrepareDelete(const RowView& old);
  // Whether an entry comes, or goes.
  bool gets_new(int index) const;
  bool loses_old(int index) const;

  // Changes the entries of the row. `distinct` counts the keys of each index that were never seen; like
  // Access, it is not lowered when keys go.
  void Apply(RowId id, std::vector<std::uint32_t>* distinct);

  // Builds the key of a row; false when the row has no entry in the index. `check` tests null columns of
  // primary and required indexes.
  template <typename Get>
  bool BuildKey(int index, Get get, bool check, std::string* key, bool* all_null) const;
  // Whether no two rows may have the key.
  bool MustBeUnique(int index, bool all_null) const;
  [[noreturn]] void ThrowDuplicate(int index, const RowView* old) const;

 private:
  // The key of the row in one index, before and after the change.
  struct KeyChange {
    int index = 0;
    bool has_old = false, has_new = false;
    bool new_is_unseen = false;  // no entry has new_key: the test for uniqueness has looked
    std::string old_key, new_key;
  };

  [[noreturn]] void ThrowNull(int index, int column) const;
  [[noreturn]] void ThrowTooLong(int index) const;
  // Whether it is known afterwards that no entry has the key.
  bool RequireUnique(int index, const std::string& key, bool all_null, const RowView* old);
  KeyChange& Next(int index);

  const TableDef& def_;
  TableIndexes& indexes_;
  const RowWriter& row_;
  // Used again for every row.
  std::vector<KeyChange> changes_;
  std::size_t count_ = 0;
};

template <typename Get>
bool KeyChanges::BuildKey(int index, Get get, bool check, std::string* key, bool* all_null) const {
  const IndexDef& d = def_.indexes[index];
  key->clear();
  *all_null = true;
  for (std::size_t i = 0; i < d.columns.size(); ++i) {
    const int column = d.columns[i].column;
    const Value& value = get(column);
    if (!value.is_null()) {
      *all_null = false;
    } else if (check && (d.primary || d.required)) {
      ThrowNull(index, column);
    }
    indexes_.AppendColumnKey(index, i, value, key);
  }
  if (key->size() > BTree::kMaxKeyBytes) ThrowTooLong(index);
  return !(d.ignore_nulls && *all_null);
}

}  // namespace jet
