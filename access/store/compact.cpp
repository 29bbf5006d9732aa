#include "access/store/compact.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "access/base/interruption.h"
#include "access/file/page_view.h"
#include "access/store/data_page.h"
#include "access/store/database_impl.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

// The file as it was saved last, while pages of it change in a page store.
class SavedFile final : public PageView {
 public:
  using PageView::PageView;
  void Read(std::uint64_t offset, MutableBytes out) override {
    pages_.ReadSaved(offset / pages_.page_size(), out);
  }
};

std::uint8_t* Data(std::string& s) { return reinterpret_cast<std::uint8_t*>(s.data()); }

}  // namespace

class Compaction {
 public:
  Compaction(FileSystem& files, DatabaseImpl& database) : database_(database) {
    PageStoreOptions options;
    options.cache_bytes = 4u << 20;
    // No journal: there is nothing to save.
    auto pages = std::make_unique<PageStore>(files, std::make_unique<SavedFile>(database.pages()), "", false,
                                             database.header().format->page_size, options);
    saved_ = std::make_unique<DatabaseImpl>(database.path(), std::move(pages), database.header());
  }

  PageNo Run() {
    // Before anything is freed: from then on the tables do not tell.
    database_.OwnerOf(0);
    StatementScope scope(database_);
    std::vector<Moved> tables;
    for (const CatalogEntry& entry : database_.Catalog()) {
      if (entry.type == object_type::kTable && !entry.system()) CollectTable(entry.name, &tables);
    }
    for (Moved& table : tables) FreePages(&table);
    for (Moved& table : tables) Rewrite(&table);
    database_.allocator_->MoveMapDown();
    const PageNo end = database_.allocator_->UsedEnd();
    scope.Commit();
    return end;
  }

 private:
  struct Moved {
    std::string name;
    std::shared_ptr<Table> table;
    std::vector<PageNo> chain;
    RawTdef raw;
  };

  void CollectTable(const std::string& name, std::vector<Moved>* tables) {
    auto table = database_.FindTable(name);
    if (table == nullptr || !table->def().read_only_reason.empty()) return;
    const auto& indexes = table->def().indexes;
    const TableLayout& layout = table->stored().layout();
    const auto no_map = [](const RowPointer& row) { return row.page == 0; };
    if (std::any_of(indexes.begin(), indexes.end(), [](const IndexDef& d) { return !d.supported; }) ||
        no_map(layout.owned_map) || std::any_of(layout.index_maps.begin(), layout.index_maps.end(), no_map)) {
      return;
    }
    Moved moved;
    moved.name = name;
    moved.table = std::move(table);
    const FormatInfo& format = *database_.header_.format;
    const PageNo page = layout.tdef_page;
    moved.raw = SplitTdef(ReadTdefStream(*database_.pages_, format, page, &moved.chain), format, page);
    tables->push_back(std::move(moved));
  }

  void FreePages(Moved* moved) {
    moved->table->stored().FreeData();
    for (; moved->chain.size() > 1; moved->chain.pop_back()) {
      database_.allocator_->Free(moved->chain.back());
    }
  }

  // New maps, roots and pages for the definition that stays.
  void Rewrite(Moved* moved) {
    StoreContext& context = database_.context_;
    const FormatInfo& format = context.format;
    const PageNo tdef = moved->chain[0];
    PageNo map_page = 0;
    const auto new_map = [&](std::uint8_t* place) {
      const RowPointer map = CreateUsageMap(context, map_page);
      map_page = map.page;
      StorePointer(place, map);
    };
    std::uint8_t* block = Data(moved->raw.block);
    new_map(block + format.tdef_owned_map_offset);
    new_map(block + format.tdef_free_map_offset);
    for (std::string& index : moved->raw.real_indexes) {
      const IndexPlace place = AllocateIndex(context, tdef, &map_page);
      StorePointer(Data(index) + format.real_index_map_offset, place.map);
      StoreLe(Data(index) + format.real_index_root_offset, place.root);
    }
    for (std::string& record : moved->raw.long_columns) {
      const TableLayout::LongColumn maps = AllocateLongColumn(context, &map_page);
      StorePointer(Data(record) + 2, maps.owned_map);
      StorePointer(Data(record) + 6, maps.free_map);
    }
    StoreLe<std::uint32_t>(block + format.tdef_row_count_offset, 0);
    WriteTdefStream(context, JoinTdef(&moved->raw), &moved->chain);
    database_.Replace(tdef);
    const auto table = database_.FindTable(moved->name);
    const std::shared_ptr<Table> old = saved_->FindTable(moved->name);
    {
      TableCursor cursor(*old);
      Row row;
      for (RowId id; cursor.Next(&row, &id);) {
        ThrowIfInterrupted();
        table->stored().CopyRow(row);
      }
    }
    for (std::size_t i = 0; i < table->def().indexes.size(); ++i) table->stored().BuildIndex(i);
  }

  DatabaseImpl& database_;
  std::unique_ptr<DatabaseImpl> saved_;
};

PageNo CompactTables(FileSystem& files, Database& database) {
  return Compaction(files, database.impl()).Run();
}

}  // namespace jet
