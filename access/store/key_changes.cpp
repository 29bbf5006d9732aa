#include "access/store/key_changes.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/store/value_convert.h"

namespace jet {

void KeyChanges::PrepareInsert() {
  count_ = 0;
  for (int index = 0; index < indexes_.count(); ++index) {
    KeyChange& change = Next(index);
    bool all_null = false;
    const auto get = [&](int column) -> const Value& { return row_.NewValue(column); };
    change.has_new = BuildKey(index, get, true, &change.new_key, &all_null);
    if (!change.has_new) continue;
    change.new_is_unseen = RequireUnique(index, change.new_key, all_null, nullptr);
    ++count_;
  }
}

void KeyChanges::PrepareUpdate(std::uint32_t affected, const RowView& old) {
  count_ = 0;
  const auto old_value = [&](int column) { return row_.OldValue(column, old); };
  const auto new_value = [&](int column) { return row_.NewValue(column, &old); };
  for (int index = 0; affected != 0; ++index, affected >>= 1) {
    if ((affected & 1) == 0) continue;
    KeyChange& change = Next(index);
    bool old_null = false, new_null = false;
    change.has_old = BuildKey(index, old_value, false, &change.old_key, &old_null);
    change.has_new = BuildKey(index, new_value, true, &change.new_key, &new_null);
    if (change.has_old == change.has_new && (!change.has_old || change.old_key == change.new_key)) continue;
    if (change.has_new) change.new_is_unseen = RequireUnique(index, change.new_key, new_null, &old);
    ++count_;
  }
}

void KeyChanges::PrepareDelete(const RowView& old) {
  count_ = 0;
  const auto old_value = [&](int column) { return row_.OldValue(column, old); };
  for (int index = 0; index < indexes_.count(); ++index) {
    KeyChange& change = Next(index);
    bool all_null = false;
    change.has_old = BuildKey(index, old_value, false, &change.old_key, &all_null);
    if (change.has_old) ++count_;
  }
}

bool KeyChanges::gets_new(int index) const {
  return std::any_of(changes_.begin(), changes_.begin() + count_,
                     [&](const KeyChange& k) { return k.index == index && k.has_new; });
}

bool KeyChanges::loses_old(int index) const {
  return std::any_of(changes_.begin(), changes_.begin() + count_,
                     [&](const KeyChange& k) { return k.index == index && k.has_old; });
}

void KeyChanges::Apply(RowId id, std::vector<std::uint32_t>* distinct) {
  for (std::size_t i = 0; i < count_; ++i) {
    const KeyChange& change = changes_[i];
    BTree& index = indexes_.tree(change.index);
    if (change.has_old && !index.Erase(change.old_key, id)) {
      ThrowCorrupt(fmt::format("index \"{}\" of table \"{}\" lacks a row of the table",
                               def_.indexes[change.index].name, def_.name),
                   id.page());
    }
    if (change.has_new) {
      bool is_new = true;
      index.Insert(change.new_key, id, change.new_is_unseen ? nullptr : &is_new);
      if (is_new) ++(*distinct)[change.index];
    }
  }
}

KeyChanges::KeyChange& KeyChanges::Next(int index) {
  if (changes_.size() == count_) changes_.emplace_back();
  KeyChange& change = changes_[count_];
  change.index = index;
  change.has_old = change.has_new = change.new_is_unseen = false;
  return change;
}

bool KeyChanges::MustBeUnique(int index, bool all_null) const {
  const IndexDef& d = def_.indexes[index];
  if (!d.unique && !d.primary) return false;
  return !all_null || d.primary || d.required;
}

bool KeyChanges::RequireUnique(int index, const std::string& key, bool all_null, const RowView* old) {
  if (!MustBeUnique(index, all_null)) return false;
  if (indexes_.tree(index).Contains(key)) ThrowDuplicate(index, old);
  return true;
}

void KeyChanges::ThrowNull(int index, int column) const {
  throw Error(ErrorKind::kConstraint,
              fmt::format("Index \"{}\" of table \"{}\" does not allow Null in column \"{}\".",
                          def_.indexes[index].name, def_.name, def_.columns[column].name));
}

void KeyChanges::ThrowTooLong(int index) const {
  throw Error(ErrorKind::kTooLarge, fmt::format("The key of index \"{}\" of table \"{}\" is too long.",
                                                def_.indexes[index].name, def_.name));
}

void KeyChanges::ThrowDuplicate(int index, const RowView* old) const {
  const IndexDef& d = def_.indexes[index];
  std::string key;
  for (const IndexColumn& c : d.columns) {
    if (!key.empty()) key += ", ";
    key += fmt::format("{} = {}", def_.columns[c.column].name, DescribeValue(row_.NewValue(c.column, old)));
  }
  throw Error(ErrorKind::kDuplicate,
              fmt::format("The change would make a duplicate key in {} \"{}\" of table \"{}\" ({}).",
                          d.primary ? "the primary key" : "the unique index", d.name, def_.name, key));
}

}  // namespace jet
