// Usage maps: sets of page numbers, each kept in a row of a data page (a map row).
//
//   inline map:     u8 0, u32 first page, bits; bit k (least significant first) stands for page first + k
//   reference map:  u8 1, then u32 page numbers of bitmap pages; entry i covers pages from i * bits-per-page,
//                   0 means that no page of its range is in the set
//   bitmap page:    05 01 00 00, then the bits (32,736 on a page of 4,096 bytes)
//
// A map row on a page of its own kind (owner 0) may be lengthened in place as the file grows, as Access does
// it; past a few hundred bytes, or when its page has no room, it becomes a reference map.
//
// A UsageMap holds nothing but the place of its row, so any number of them may stand for one map.
#pragma once

#include <optional>
#include <vector>

#include "access/store/layout.h"

namespace jet {

class UsageMap {
 public:
  // A `row` with page 0 is "no map": empty, and Add and Remove do nothing.
  UsageMap(StoreContext& context, RowPointer row) : context_(&context), row_(row) {}

  bool exists() const { return row_.page != 0; }
  RowPointer row() const { return row_; }

  bool Contains(PageNo page) const;
  // The lowest page of the set that is not below `from`. Pages past the end of the file are damage
  // (kCorrupt).
  std::optional<PageNo> Next(PageNo from) const;
  std::vector<PageNo> Pages() const;
  // The bitmap pages that the map occupies beside its row.
  std::vector<PageNo> BitmapPages() const;

  void Add(PageNo page);
  void Remove(PageNo page);

 private:
  StoreContext* context_;
  RowPointer row_;
};

// The bits of a map row, found and checked: shared with the global map, which has rules of its own.
struct MapRow {
  bool reference = false;
  PageNo base = 0;               // inline: page of the first bit
  std::uint32_t row_offset = 0;  // of the row within its page
  std::uint32_t row_bytes = 0;

  // Inline: the bits that the row has. Reference: the bitmap pages that it can name.
  std::uint32_t bits() const { return (row_bytes - 5) * 8; }
  std::uint32_t entries() const { return (row_bytes - 1) / 4; }
};
// kCorrupt when there is no map row there.
MapRow FindMapRow(const FormatInfo& format, Bytes page, RowPointer where);
// The first set bit of `bits` that is not below `from`, or `count`.
std::uint32_t NextBit(const std::uint8_t* bits, std::uint32_t from, std::uint32_t count);

// Makes an empty map. Its row goes to page `near` when that is not 0 and has room, else to a new page of map
// rows; give the page of the row made before to keep the maps of a table together.
RowPointer CreateUsageMap(StoreContext& context, PageNo near = 0);
// Removes a map: its bitmap pages are freed, its row is deleted, and its page is freed with its last row.
// The pages in the set are left alone. A pointer with page 0 is nothing to do.
void DeleteUsageMap(StoreContext& context, RowPointer row);

}  // namespace jet
