// The indexes of a table: the tree of each, the pages that it has, and how its columns make a key.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/index/btree.h"
#include "access/store/layout.h"
#include "access/store/usage_map.h"

namespace jet {

class TableIndexes {
 public:
  TableIndexes(StoreContext& context, const TableDef& def, const TableLayout& layout);

  int count() const { return indexes_.size(); }
  BTree& tree(int index) const { return *indexes_[index].tree; }
  const UsageMap& map(int index) const { return indexes_[index].pages->map(); }
  KeyColumn column(int index, int position) const { return indexes_[index].columns[position]; }
  // A bit for each index that the column, by position, is part of.
  std::uint32_t with_column(int column) const { return of_column_[column]; }

  // Appends the key bytes of `value`, which has the kind that the column calls for.
  void AppendColumnKey(int index, int position, const Value& value, std::string* key) const;
  // The key bytes that `values` (one per leading column, at most all), of any kind, have.
  std::string MakeKey(int index, const std::vector<Value>& values) const;

  void Free(int index);

 private:
  class Pages : public IndexPageAllocator {
   public:
    Pages(StoreContext& context, RowPointer map) : context_(context), map_(context, map) {}
    MutablePageRef AllocateIndexPage() override;
    void FreeIndexPage(PageNo page) override;
    const UsageMap& map() const { return map_; }

   private:
    StoreContext& context_;
    UsageMap map_;
  };
  struct Index {
    std::vector<KeyColumn> columns;
    std::unique_ptr<Pages> pages;
    std::unique_ptr<BTree> tree;
  };

  StoreContext& context_;
  const TableDef& def_;
  std::vector<Index> indexes_;
  std::vector<std::uint32_t> of_column_;
};

}  // namespace jet
