// A file in memory with nothing but its first two pages and tables put together by hand: tests of rows, long
// values and maps need no catalog.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "access/file/test_files.h"
#include "access/index/btree.h"
#include "access/store/data_page.h"
#include "access/store/format.h"
#include "access/store/layout.h"
#include "access/store/stored_table.h"
#include "access/store/usage_map.h"

namespace jet::testing {

class TestFile {
 public:
  explicit TestFile(Format format = Format::kJet4, PageNo max_pages = 1u << 19)
      : format_(GetFormatInfo(format)) {
    // Page 1: the global map (pages 0 and 1 used, all others free), 69 bytes.
    std::string image(2 * 4096, '\0');
    auto* page = reinterpret_cast<std::uint8_t*>(image.data()) + 4096;
    InitDataPage(format_, {page, 4096}, 1);
    AppendRow(format_, page, 1, 69, 0);
    std::fill_n(page + 4096 - 64, 64, std::uint8_t{0xFF});
    page[4096 - 64] = 0xFC;
    files_.SetContent("t.mdb", image);
    PageStoreOptions options;
    options.max_file_bytes = std::uint64_t{max_pages} * 4096;
    pages_ = std::make_unique<PageStore>(files_, files_.Open("t.mdb", OpenMode::kReadWrite), "t.journal",
                                         true, 4096, options);
    allocator_ = MakePageAllocator(*pages_, format_);
    context_ = std::make_unique<StoreContext>(StoreContext{*pages_, format_, *allocator_, 1252});
  }

  PageStore& pages() { return *pages_; }
  PageAllocator& allocator() { return *allocator_; }
  StoreContext& context() { return *context_; }

  // Makes a table; column numbers and offsets are given out in the order of `columns`.
  std::shared_ptr<StoredTable> MakeTable(std::vector<ColumnDef> columns, std::vector<IndexDef> indexes) {
    TableDef def;
    def.name = "Things";
    TableLayout layout;
    const MutablePageRef page = allocator_->Allocate();
    page.mutable_data()[0] = kPageTdef;
    def.tdef_page = layout.tdef_page = page.page_no();
    layout.tdef_pages = {layout.tdef_page};
    layout.owned_map = CreateUsageMap(*context_);
    const PageNo maps = layout.owned_map.page;
    layout.free_map = CreateUsageMap(*context_, maps);
    std::uint16_t fixed_end = 0;
    for (ColumnDef& c : columns) {
      c.number = layout.max_columns++;
      c.lcid = 1033;
      if (c.type == ColumnType::kMemo || c.type == ColumnType::kOle) {
        layout.long_columns[c.number] = {CreateUsageMap(*context_, maps), CreateUsageMap(*context_, maps)};
      }
      if (c.fixed) {
        c.fixed_offset = fixed_end;
        fixed_end = static_cast<std::uint16_t>(fixed_end + FixedSize(c));
      } else {
        c.variable_index = layout.variable_columns++;
      }
    }
    for (IndexDef& index : indexes) {
      layout.index_maps.push_back(CreateUsageMap(*context_, maps));
      const MutablePageRef root = allocator_->Allocate();
      BTree::InitRoot(root, layout.tdef_page);
      UsageMap(*context_, layout.index_maps.back()).Add(root.page_no());
      index.root = root.page_no();
      layout.distinct_count_offsets.push_back(
          static_cast<std::uint32_t>(67 + 12 * (layout.index_maps.size() - 1)));
    }
    def.columns = std::move(columns);
    def.indexes = std::move(indexes);
    auto table = std::make_shared<StoredTable>(*context_, def, layout);
    tables_.push_back(table);
    return table;
  }

  void Begin() {
    pages_->BeginStatement();
    ++context_->statement;
  }
  void Commit() {
    pages_->CommitStatement();
    ++context_->statement;
  }
  void Rollback() {
    pages_->RollbackStatement();
    allocator_->Forget();
    for (const auto& t : tables_) t->OnRollbackStatement();
  }

  // Pages that the global map calls free.
  PageNo FreePages() {
    PageNo count = 0;
    const PageRef ref = pages_->Read(1);
    const MapRow map = FindMapRow(format_, ref.bytes(), {1, 0});
    EXPECT_FALSE(map.reference);
    for (PageNo p = 0; p < pages_->page_count(); ++p) {
      count += ref.data()[map.row_offset + 5 + p / 8] >> (p % 8) & 1;
    }
    return count;
  }

 private:
  const FormatInfo& format_;
  MemoryFileSystem files_;
  std::unique_ptr<PageStore> pages_;
  std::unique_ptr<PageAllocator> allocator_;
  std::unique_ptr<StoreContext> context_;
  std::vector<std::shared_ptr<StoredTable>> tables_;
};

inline ColumnDef Column(const std::string& name, ColumnType type, std::uint16_t length = 0) {
  ColumnDef c;
  c.name = name;
  c.type = type;
  c.fixed = type != ColumnType::kText && type != ColumnType::kMemo && type != ColumnType::kOle &&
            type != ColumnType::kBinary;
  c.length = type == ColumnType::kText ? static_cast<std::uint16_t>(2 * length) : length;
  c.compressed_unicode = true;
  return c;
}

inline IndexDef Index(const std::string& name, std::vector<std::uint16_t> columns) {
  IndexDef index;
  index.name = name;
  for (const std::uint16_t c : columns) index.columns.push_back({c, false});
  return index;
}

// The rows in the order of a scan.
inline std::vector<std::vector<Value>> Rows(StoredTable& table) {
  std::vector<std::vector<Value>> rows;
  TableCursor cursor(table);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) {
    rows.emplace_back();
    for (std::size_t i = 0; i < table.def().columns.size(); ++i) {
      rows.back().push_back(row.Get(static_cast<int>(i)));
    }
  }
  return rows;
}

// The kind of error that `act` raises, its text in *text.
template <typename Act>
ErrorKind KindOfError(Act act, std::string* text = nullptr) {
  try {
    act();
  } catch (const Error& e) {
    if (text != nullptr) *text = e.what();
    return e.kind();
  }
  ADD_FAILURE() << "no error was raised";
  return ErrorKind::kInvalid;
}

}  // namespace jet::testing
