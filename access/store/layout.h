// What the definition side of the store (headers, definitions, catalog) and its data side (maps, pages, rows)
// tell each other. Nothing above the store includes this, except the checker.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "access/base/types.h"
#include "access/file/page_store.h"
#include "access/store/database.h"

namespace jet {

// Row number and page number, as stored in headers and definitions. Page 0: no such row.
struct RowPointer {
  PageNo page = 0;
  std::uint8_t row = 0;
  bool operator==(const RowPointer&) const = default;
};

// Where the parts of a table stand in the file.
struct TableLayout {
  PageNo tdef_page = 0;
  std::vector<PageNo> tdef_pages;  // the whole chain, the first included
  std::uint16_t max_columns = 0;   // columns ever: the width of the null mask of new rows
  std::uint16_t variable_columns = 0;
  RowPointer owned_map;
  RowPointer free_map;
  std::vector<RowPointer> index_maps;  // per real index
  struct LongColumn {
    RowPointer owned_map;
    RowPointer free_map;
  };
  std::map<std::uint16_t, LongColumn> long_columns;  // by column number
  // One end of an enforced relationship. Each end names the index it stands on, and the other end.
  struct Relationship {
    std::string name;
    std::int32_t number = 0;  // of the logical index that is this end
    std::uint32_t index = 0;  // position in TableDef::indexes
    bool referenced = false;  // this table holds the keys that the other one refers to
    PageNo partner_table = 0;
    std::int32_t partner_number = -1;
    bool cascades_updates = false, cascades_deletes = false, sets_null = false;
  };
  std::vector<Relationship> relationships;
  // Byte offsets within the first tdef page of the counters that the data side keeps up.
  std::uint32_t row_count_offset = 16;
  std::uint32_t auto_number_offset = 20;
  std::vector<std::uint32_t> distinct_count_offsets;  // per real index
};

// Constants of a file version; one constexpr description each, in format.cpp.
struct FormatInfo;

// Gives pages out and takes them back, keeping the global map.
class PageAllocator {
 public:
  virtual ~PageAllocator() = default;
  // A page of zeros: the lowest free one of the file, else a new one at the end; never one of the first
  // three, whatever the map says. Error(kIo) past the size limit.
  virtual MutablePageRef Allocate() = 0;
  // The page must be unlinked from everything. Its type byte is overwritten.
  virtual void Free(PageNo page) = 0;
  // In-memory state is stale after a statement was rolled back.
  virtual void Forget() = 0;
  // Moves what the global map itself occupies to the lowest free pages.
  virtual void MoveMapDown() = 0;
  // All pages from this one on are free.
  virtual PageNo UsedEnd() = 0;
  // How many pages of the file are free.
  virtual PageNo FreePages() = 0;
};

// Tells whose page one is.
class PageOwners {
 public:
  virtual ~PageOwners() = default;
  // The owner, for a message; empty when nothing in the file uses the page.
  virtual std::string OwnerOf(PageNo page) = 0;
};
// With `owners`, a page that the global map calls free although something uses it is not given out:
// Error(kCorrupt). They are only asked where the page does not look like one that was given back.
std::unique_ptr<PageAllocator> MakePageAllocator(PageStore& pages, const FormatInfo& format,
                                                 PageOwners* owners = nullptr);

class StoredTable;

// Finds the other table of a relationship.
class TableSource {
 public:
  virtual ~TableSource() = default;
  // The table whose definition begins on that page; null when there is none.
  virtual StoredTable* TableAt(PageNo tdef_page) = 0;
};

struct StoreContext {
  PageStore& pages;
  const FormatInfo& format;
  PageAllocator& allocator;
  std::uint16_t code_page = 1252;  // of Jet 3 text
  TableSource* tables =
      nullptr;                  // null: relationships cannot be kept, and changes that touch one are refused
  std::uint64_t statement = 1;  // number of the statement that runs, or else of the time up to the next one
};

// The index key encoding of a column of this file.
KeyColumn MakeKeyColumn(const ColumnDef& column, bool descending, Format format);

}  // namespace jet
