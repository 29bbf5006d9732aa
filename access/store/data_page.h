// Data pages: pages of row slots, which hold the rows of tables, long values and usage maps alike.
//
//   0  u8 1, u8 1
//   2  u16 free bytes = lowest row start - end of the slot table
//   4  u32 owner: definition page of the table, "LVAL", or 0 on pages of map rows
//   8  u32 0                       (not in Jet 3)
//  12  u16 number of slots         (8 in Jet 3)
//  14  u16 slots: bits 0..12 start of the row, 0x8000 and 0x4000 flags   (10 in Jet 3)
//
// Rows grow from the end of the page downwards, slot by slot, without gaps: row i ends where row i - 1
// begins. So taking bytes from one row shifts all rows of higher slots. The free-bytes field is written,
// never trusted.
//
// Flags: none = live row; 0x4000 = pointer row, whose first 4 bytes lead to the body; 0x8000 = body of a
// moved row, reached only through its pointer row; both = deleted.
#pragma once

#include <cstdint>

#include "access/base/bytes.h"
#include "access/store/format.h"
#include "access/store/layout.h"

namespace jet {

inline constexpr std::uint16_t kSlotGone = kSlotDeleted | kSlotPointer;

struct RowSlot {
  std::uint16_t flags = 0;
  std::uint32_t start = 0;
  std::uint32_t end = 0;
  std::uint32_t length() const { return end - start; }
  bool gone() const { return flags == kSlotGone; }
  bool moved() const { return flags == kSlotPointer; }
  bool body() const { return flags == kSlotDeleted; }
};

inline unsigned SlotCount(const FormatInfo& format, const std::uint8_t* page) {
  return LoadLe<std::uint16_t>(page + format.data_slot_count_offset);
}
inline std::uint32_t PageOwner(const std::uint8_t* page) { return LoadLe<std::uint32_t>(page + 4); }

// Whether `page` is a data page of that owner.
inline bool IsDataPageOf(const std::uint8_t* page, std::uint32_t owner) {
  return page[0] == kPageData && PageOwner(page) == owner;
}

[[noreturn]] void ThrowBadSlot(const FormatInfo& format, const std::uint8_t* page, PageNo page_no,
                               unsigned slot);

// kCorrupt when the slot does not exist or its bounds do not lie between slot table and page end.
inline RowSlot ReadSlot(const FormatInfo& format, const std::uint8_t* page, PageNo page_no, unsigned slot) {
  const unsigned count = SlotCount(format, page);
  const std::uint32_t slots_end = format.data_slots_offset + 2 * count;
  if (slot >= count || slots_end > format.page_size) ThrowBadSlot(format, page, page_no, slot);
  const std::uint8_t* at = page + format.data_slots_offset + 2 * slot;
  const auto word = LoadLe<std::uint16_t>(at);
  RowSlot r;
  r.flags = word & kSlotGone;
  r.start = word & kSlotOffsetMask;
  r.end = slot == 0 ? format.page_size : LoadLe<std::uint16_t>(at - 2) & kSlotOffsetMask;
  if (r.start > r.end || r.end > format.page_size || r.start < slots_end) {
    ThrowBadSlot(format, page, page_no, slot);
  }
  return r;
}

// A row that has moved leaves as many bytes behind.
inline constexpr std::uint32_t kRowPointerBytes = 4;
// The first 4 bytes of a row, as the place of another row. kCorrupt when it is shorter.
RowPointer ReadRowPointer(const std::uint8_t* page, PageNo page_no, const RowSlot& slot);
inline RowPointer LoadPointer(const std::uint8_t* p) { return {LoadLe24(p + 1), p[0]}; }
inline void StorePointer(std::uint8_t* p, RowPointer row) {
  StoreLe<std::uint32_t>(p, row.page << 8 | row.row);
}

// ---- Changes. Only for pages of 4,096 bytes. ----

// Turns a page of zeros into an empty data page.
void InitDataPage(const FormatInfo& format, MutableBytes page, std::uint32_t owner);
// Bytes between slot table and lowest row.
std::uint32_t FreeBytes(const FormatInfo& format, const std::uint8_t* page, PageNo page_no);
// Adds a slot with a row of `length` bytes (FreeBytes must be length + 2 at least) and returns its number.
unsigned AppendRow(const FormatInfo& format, std::uint8_t* page, PageNo page_no, std::uint32_t length,
                   std::uint16_t flags);
// Gives a row another length, shifting the rows below it, and other flags. Its content is undefined
// afterwards unless the length stays. Returns the new start. FreeBytes must suffice.
std::uint32_t ResizeRow(const FormatInfo& format, std::uint8_t* page, PageNo page_no, unsigned slot,
                        std::uint32_t length, std::uint16_t flags);
inline void DeleteRow(const FormatInfo& format, std::uint8_t* page, PageNo page_no, unsigned slot) {
  ResizeRow(format, page, page_no, slot, 0, kSlotGone);
}
// Takes back the bytes that deleted rows still occupy, and the deleted slots at the end but for the first
// `keep` of all.
void ReclaimDeleted(const FormatInfo& format, std::uint8_t* page, PageNo page_no, unsigned keep);
// First deleted slot that is not below `from`, or the slot count.
unsigned FindDeletedSlot(const FormatInfo& format, const std::uint8_t* page, unsigned from);
// Whether all slots are deleted.
bool IsEmptyDataPage(const FormatInfo& format, const std::uint8_t* page);

}  // namespace jet
