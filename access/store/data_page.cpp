#include "access/store/data_page.h"

namespace jet {
namespace {

std::uint16_t LoadSlot(const FormatInfo& format, const std::uint8_t* page, unsigned slot) {
  return LoadLe<std::uint16_t>(page + format.data_slots_offset + 2 * slot);
}
void StoreSlot(const FormatInfo& format, std::uint8_t* page, unsigned slot, std::uint16_t value) {
  StoreLe<std::uint16_t>(page + format.data_slots_offset + 2 * slot, value);
}

// The slot count, checked to lie on the page.
unsigned CheckedCount(const FormatInfo& format, const std::uint8_t* page, PageNo page_no) {
  const unsigned count = SlotCount(format, page);
  if (format.data_slots_offset + 2 * count > format.page_size) {
    ThrowCorrupt("it holds more row slots than fit", page_no, format.data_slot_count_offset);
  }
  return count;
}

std::uint32_t LowestStart(const FormatInfo& format, const std::uint8_t* page, unsigned count) {
  return count == 0 ? format.page_size : LoadSlot(format, page, count - 1) & kSlotOffsetMask;
}

void StoreFree(const FormatInfo& format, std::uint8_t* page, unsigned count) {
  const std::uint32_t used = format.data_slots_offset + 2 * count;
  StoreLe<std::uint16_t>(page + format.data_free_offset, LowestStart(format, page, count) - used);
}

}  // namespace

void ThrowBadSlot(const FormatInfo& format, const std::uint8_t* page, PageNo page_no, unsigned slot) {
  const std::int64_t place = format.data_slots_offset + 2 * slot;
  if (slot >= CheckedCount(format, page, page_no)) {
    ThrowCorrupt("a row is looked for in a slot that does not exist", page_no, place);
  }
  ThrowCorrupt("the bounds of a row make no sense", page_no, place);
}

RowPointer ReadRowPointer(const std::uint8_t* page, PageNo page_no, const RowSlot& slot) {
  if (slot.length() < 4) ThrowCorrupt("a pointer to a row is cut short", page_no, slot.start);
  return LoadPointer(page + slot.start);
}

void InitDataPage(const FormatInfo& format, MutableBytes page, std::uint32_t owner) {
  page[0] = kPageData;
  page[1] = 1;
  StoreLe<std::uint32_t>(page.data() + format.data_owner_offset, owner);
  StoreFree(format, page.data(), 0);
}

std::uint32_t FreeBytes(const FormatInfo& format, const std::uint8_t* page, PageNo page_no) {
  const unsigned count = CheckedCount(format, page, page_no);
  const std::uint32_t used = format.data_slots_offset + 2 * count;
  const std::uint32_t lowest = LowestStart(format, page, count);
  if (lowest < used || lowest > format.page_size) {
    ThrowCorrupt("the bounds of a row make no sense", page_no, used - 2);
  }
  return lowest - used;
}

unsigned AppendRow(const FormatInfo& format, std::uint8_t* page, PageNo page_no, std::uint32_t length,
                   std::uint16_t flags) {
  const std::uint32_t free_bytes = FreeBytes(format, page, page_no);
  if (free_bytes < length + 2) ThrowCorrupt("it has less room than its rows leave", page_no);
  const unsigned count = SlotCount(format, page);
  const std::uint32_t start = LowestStart(format, page, count) - length;
  StoreSlot(format, page, count, start | flags);
  StoreLe<std::uint16_t>(page + format.data_slot_count_offset, count + 1);
  StoreFree(format, page, count + 1);
  return count;
}

std::uint32_t ResizeRow(const FormatInfo& format, std::uint8_t* page, PageNo page_no, unsigned slot,
                        std::uint32_t length, std::uint16_t flags) {
  const RowSlot old = ReadSlot(format, page, page_no, slot);
  if (length == old.length()) {
    StoreSlot(format, page, slot, old.start | flags);
    return old.start;
  }
  const std::uint32_t free_bytes = FreeBytes(format, page, page_no);
  if (length > old.length() + free_bytes) ThrowCorrupt("it has less room than its rows leave", page_no);
  const unsigned count = SlotCount(format, page);
  const std::uint32_t lowest = LowestStart(format, page, count);
  if (lowest > old.start) ThrowCorrupt("the bounds of a row make no sense", page_no, old.start);
  const std::uint32_t start = old.end - length;
  // How far the rows below move towards the end of the page; modulo 2^16 when they move the other way.
  const std::uint16_t shift = start - old.start;
  std::memmove(page + lowest + std::int64_t{start} - old.start, page + lowest, old.start - lowest);
  for (unsigned i = slot + 1; i < count; ++i) {
    const std::uint16_t word = LoadSlot(format, page, i);
    StoreSlot(format, page, i,
              (word & ~kSlotOffsetMask) | (((word & kSlotOffsetMask) + shift) & kSlotOffsetMask));
  }
  StoreSlot(format, page, slot, start | flags);
  StoreFree(format, page, count);
  return start;
}

void ReclaimDeleted(const FormatInfo& format, std::uint8_t* page, PageNo page_no, unsigned keep) {
  unsigned count = CheckedCount(format, page, page_no);
  for (unsigned i = 0; i < count; ++i) {
    const RowSlot slot = ReadSlot(format, page, page_no, i);
    if (slot.gone() && slot.length() != 0) DeleteRow(format, page, page_no, i);
  }
  while (count > keep && (LoadSlot(format, page, count - 1) & kSlotGone) == kSlotGone) --count;
  StoreLe<std::uint16_t>(page + format.data_slot_count_offset, count);
  StoreFree(format, page, count);
}

unsigned FindDeletedSlot(const FormatInfo& format, const std::uint8_t* page, unsigned from) {
  const unsigned count = SlotCount(format, page);
  while (from < count && (LoadSlot(format, page, from) & kSlotGone) != kSlotGone) ++from;
  return from < count ? from : count;
}

bool IsEmptyDataPage(const FormatInfo& format, const std::uint8_t* page) {
  // From the end: a page that is not empty tends to have a row there.
  for (unsigned i = SlotCount(format, page); i-- > 0;) {
    if ((LoadSlot(format, page, i) & kSlotGone) != kSlotGone) return false;
  }
  return true;
}

}  // namespace jet
