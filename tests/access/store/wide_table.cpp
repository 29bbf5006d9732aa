#include "tests/access/store/wide_table.h"

#include <set>

namespace jet::testing {

std::vector<ColumnDef> WideColumns() {
  ColumnDef amount = Column("amount", ColumnType::kDouble);
  return {Column("id", ColumnType::kLong),        Column("seq", ColumnType::kInteger),
          Column("name", ColumnType::kText, 255), Column("memo", ColumnType::kMemo),
          Column("flag", ColumnType::kBoolean),   amount,
          Column("blob", ColumnType::kOle)};
}
std::vector<IndexDef> WideIndexes() {
  IndexDef primary = Index("pk", {0, 1});
  primary.primary = primary.unique = primary.required = true;
  IndexDef amount = Index("by_amount", {5});
  amount.ignore_nulls = true;
  IndexDef unique = Index("uq", {5, 2});
  unique.unique = true;
  return {primary, Index("by_name", {2}), amount, unique};
}

void CheckConsistent(TestFile& file, StoredTable& table, const std::map<RowId, Record>& model) {
  std::map<RowId, Record> found;
  {
    TableCursor cursor(table);
    Row row;
    RowId id, last;
    while (cursor.Next(&row, &id)) {
      ASSERT_TRUE(found.empty() || last < id) << "scan order";
      last = id;
      for (int c = 0; c < static_cast<int>(table.def().columns.size()); ++c) found[id].push_back(row.Get(c));
    }
  }
  ASSERT_EQ(found.size(), model.size());
  for (const auto& [id, record] : model) {
    ASSERT_TRUE(found.count(id)) << id.page() << ":" << int{id.slot()};
    for (std::size_t c = 0; c < record.size(); ++c) {
      ASSERT_EQ(found[id][c], record[c]) << id.page() << ":" << int{id.slot()} << " column " << c;
    }
  }
  ASSERT_EQ(table.row_count(), model.size());
  for (std::size_t i = 0; i < table.def().indexes.size(); ++i) {
    const IndexDef& index = table.def().indexes[i];
    std::set<std::pair<std::string, RowId>> want, have;
    for (const auto& [id, record] : model) {
      std::vector<Value> key;
      bool all_null = true;
      for (const IndexColumn& c : index.columns) {
        key.push_back(record[c.column]);
        all_null = all_null && record[c.column].is_null();
      }
      if (!(all_null && index.ignore_nulls)) want.emplace(table.MakeKey(static_cast<int>(i), key), id);
    }
    BTree::Cursor cursor(table.tree(static_cast<int>(i)));
    for (cursor.SeekFirst(); cursor.valid(); cursor.Next()) {
      have.emplace(std::string(cursor.key()), cursor.row());
    }
    ASSERT_EQ(have == want, true) << "index " << index.name << ": " << have.size() << " entries, "
                                  << want.size() << " wanted";
  }
  // Each page that is not free is claimed by exactly one map (or is one of the fixture's single pages).
  std::map<PageNo, int> claims;
  const auto claim = [&](RowPointer map) {
    for (const PageNo p : UsageMap(file.context(), map).Pages()) ++claims[p];
  };
  const auto subset = [&](RowPointer free, RowPointer owned) {
    for (const PageNo p : UsageMap(file.context(), free).Pages()) {
      ASSERT_TRUE(UsageMap(file.context(), owned).Contains(p)) << p;
    }
  };
  const TableLayout& layout = table.layout();
  claim(layout.owned_map);
  subset(layout.free_map, layout.owned_map);
  for (const RowPointer map : layout.index_maps) claim(map);
  for (const auto& [number, maps] : layout.long_columns) {
    claim(maps.owned_map);
    subset(maps.free_map, maps.owned_map);
  }
  for (const auto& [page, count] : claims) ASSERT_EQ(count, 1) << "page " << page;
  // 0, 1, the definition and the map page.
  ASSERT_EQ(claims.size() + 4 + file.FreePages(), file.pages().page_count());
  // The free-bytes field of every data page is exact.
  for (const PageNo p : UsageMap(file.context(), layout.owned_map).Pages()) {
    const PageRef page = file.pages().Read(p);
    ASSERT_EQ(LoadLe<std::uint16_t>(page.data() + 2), FreeBytes(file.context().format, page.data(), p));
  }
}

}  // namespace jet::testing
