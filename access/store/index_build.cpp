// Entries are inserted in ascending order, so that pages get filled. They are collected in portions, so that
// memory stays bounded: each portion is the lowest entries that are not yet in the index, found by a walk
// over all rows.
#include "access/store/index_build.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "access/base/interruption.h"
#include "access/store/stored_table.h"

namespace jet {
namespace {

constexpr std::size_t kPortionBytes = 32u << 20;

using Place = std::pair<std::string, RowId>;

int Order(std::string_view key, RowId row, const Place& place) {
  const int keys_order = key.compare(place.first);
  return keys_order != 0 ? keys_order : row < place.second ? -1 : row == place.second ? 0 : 1;
}

// The lowest entries of those that were added, as many as there is room for.
class Portion {
 public:
  struct Entry {
    std::size_t offset;
    std::size_t size;
    RowId row;
    bool all_null;
  };

  void Add(const std::string& key, RowId row, bool all_null) {
    if (end_ && Order(key, row, *end_) >= 0) return;
    entries_.push_back({keys_.size(), key.size(), row, all_null});
    keys_ += key;
    if (keys_.size() + entries_.size() * sizeof(Entry) > kPortionBytes) KeepHalf();
  }
  const std::vector<Entry>& Sorted() {
    std::sort(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) { return Less(a, b); });
    return entries_;
  }
  std::string_view KeyOf(const Entry& e) const { return std::string_view(keys_).substr(e.offset, e.size); }
  // Whether there are more: what is not less than its end is for the next one.
  bool has_end() const { return end_.has_value(); }
  void Clear() {
    entries_.clear();
    keys_.clear();
    end_.reset();
  }

 private:
  bool Less(const Entry& a, const Entry& b) const {
    const int order = KeyOf(a).compare(KeyOf(b));
    return order != 0 ? order < 0 : a.row < b.row;
  }
  void KeepHalf() {
    const auto half = entries_.begin() + entries_.size() / 2;
    std::nth_element(entries_.begin(), half, entries_.end(),
                     [&](const Entry& a, const Entry& b) { return Less(a, b); });
    end_.emplace(KeyOf(*half), half->row);
    entries_.erase(half, entries_.end());
    kept_keys_.clear();
    for (Entry& e : entries_) {
      const std::size_t offset = kept_keys_.size();
      kept_keys_ += KeyOf(e);
      e.offset = offset;
    }
    keys_.swap(kept_keys_);
  }

  std::vector<Entry> entries_;
  std::string keys_, kept_keys_;
  std::optional<Place> end_;
};

}  // namespace

std::uint32_t FillIndex(StoredTable& table, const KeyChanges& keys, const RowWriter& row, int index) {
  BTree& tree = table.tree(index);
  std::uint32_t distinct = 0;
  std::optional<Place> last;  // in the index
  Portion portion;
  std::string key;
  do {
    portion.Clear();
    TableCursor cursor(table);
    Row at;
    RowId id;
    while (cursor.Next(&at, &id)) {
      ThrowIfInterrupted();
      const RowView view = RowAccess::View(at);
      const auto value = [&](int column) { return row.OldValue(column, view); };
      bool all_null = false;
      if (!keys.BuildKey(index, value, true, &key, &all_null)) continue;
      if (!last || Order(key, id, *last) > 0) portion.Add(key, id, all_null);
    }
    for (const Portion::Entry& e : portion.Sorted()) {
      const std::string_view entry_key = portion.KeyOf(e);
      if (!last || last->first != entry_key) {
        ++distinct;
      } else if (keys.MustBeUnique(index, e.all_null)) {
        table.Fetch(e.row, &at);
        const RowView view = RowAccess::View(at);
        keys.ThrowDuplicate(index, &view);
      }
      tree.Insert(entry_key, e.row);
      if (!last) last.emplace();
      last->first.assign(entry_key);
      last->second = e.row;
    }
  } while (portion.has_end());
  return distinct;
}

}  // namespace jet
