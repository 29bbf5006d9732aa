#include "access/store/usage_map.h"

#include <algorithm>
#include <bit>
#include <string>

#include "access/store/data_page.h"
#include "access/store/format.h"

namespace jet {
namespace {

constexpr std::uint8_t kInline = 0;
constexpr std::uint8_t kReference = 1;
constexpr std::uint32_t kInlineHeader = 5;
// Longest inline map that is made by lengthening. Access was seen to go up to 189 bytes.
constexpr std::uint32_t kLongestInlineRow = 197;
constexpr std::uint32_t kRowStep = 64;

PageNo Entry(const std::uint8_t* row, std::uint32_t i) { return LoadLe<std::uint32_t>(row + 1 + 4 * i); }

// The bitmap page that a reference map names.
PageRef ReadBitmapPage(StoreContext& context, PageNo page, RowPointer map) {
  if (page >= context.pages.page_count()) {
    ThrowCorrupt("a page map names a bitmap page past the end of the file", map.page);
  }
  PageRef ref = context.pages.Read(page);
  if (ref.data()[0] != kPageMapBits) ThrowCorrupt("it should hold the bits of a page map", page, 0);
  return ref;
}

// Lowest and highest set bit; false when none is set.
bool BitRange(const std::uint8_t* bits, std::uint32_t count, std::uint32_t* first, std::uint32_t* last) {
  *first = NextBit(bits, 0, count);
  if (*first == count) return false;
  std::uint32_t i = count;
  while ((bits[(i - 1) / 8] >> ((i - 1) % 8) & 1) == 0) --i;
  *last = i - 1;
  return true;
}

// Gives an inline map another base or more bits, or both, so that `page` lies inside; false when that would
// make it too long or its page has no room.
bool FitInline(const FormatInfo& format, MutableBytes page_bytes, RowPointer where, const MapRow& map,
               PageNo page) {
  const std::uint8_t* bits = page_bytes.data() + map.row_offset + kInlineHeader;
  std::uint32_t first = 0, last = 0;
  PageNo low = page, high = page;
  const bool any = BitRange(bits, map.bits(), &first, &last);
  if (any) {
    low = std::min(low, map.base + first);
    high = std::max(high, map.base + last);
  }
  const PageNo base = low / 8 * 8;
  std::uint32_t length = map.row_bytes;
  while ((length - kInlineHeader) * 8 <= high - base) length += kRowStep;
  if (length > std::max(kLongestInlineRow, map.row_bytes)) return false;
  if (FreeBytes(format, page_bytes.data(), where.page) < length - map.row_bytes) return false;
  std::string moved(length - kInlineHeader, '\0');
  for (std::uint32_t i = first; any && i <= last; i = NextBit(bits, i + 1, map.bits())) {
    const std::uint32_t bit = map.base + i - base;
    moved[bit / 8] = moved[bit / 8] | 1 << bit % 8;
  }
  std::uint8_t* row =
      page_bytes.data() + ResizeRow(format, page_bytes.data(), where.page, where.row, length, 0);
  row[0] = kInline;
  StoreLe<std::uint32_t>(row + 1, base);
  std::copy(moved.begin(), moved.end(), reinterpret_cast<char*>(row) + kInlineHeader);
  return true;
}

}  // namespace

MapRow FindMapRow(const FormatInfo& format, Bytes page, RowPointer where) {
  if (page[0] != kPageData) ThrowCorrupt("it should hold page maps", where.page, 0);
  const RowSlot slot = ReadSlot(format, page.data(), where.page, where.row);
  if (slot.flags != 0) ThrowCorrupt("a page map is looked for in a deleted row", where.page, slot.start);
  MapRow map;
  map.row_offset = slot.start;
  map.row_bytes = slot.length();
  const std::uint8_t* row = page.data() + slot.start;
  if (map.row_bytes < kInlineHeader || row[0] > kReference) {
    ThrowCorrupt("a page map has an unknown form", where.page, slot.start);
  }
  map.reference = row[0] == kReference;
  if (!map.reference) map.base = LoadLe<std::uint32_t>(row + 1);
  if (map.base > 0xFFFFFF) ThrowCorrupt("a page map begins past every file", where.page, slot.start + 1);
  return map;
}

std::uint32_t NextBit(const std::uint8_t* bits, std::uint32_t from, std::uint32_t count) {
  while (from < count) {
    if (from % 64 == 0 && count - from >= 64) {
      const auto word = LoadLe<std::uint64_t>(bits + from / 8);
      if (word != 0) return from + std::countr_zero(word);
      from += 64;
      continue;
    }
    const unsigned rest = bits[from / 8] >> (from % 8);
    if (rest != 0) {
      const std::uint32_t found = from + std::countr_zero(rest);
      return found < count ? found : count;
    }
    from = (from / 8 + 1) * 8;
  }
  return count;
}

bool UsageMap::Contains(PageNo page) const {
  if (!exists()) return false;
  const FormatInfo& format = context_->format;
  const PageRef ref = context_->pages.Read(row_.page);
  const MapRow map = FindMapRow(format, ref.bytes(), row_);
  const std::uint8_t* row = ref.data() + map.row_offset;
  if (!map.reference) {
    if (page < map.base || page - map.base >= map.bits()) return false;
    const std::uint32_t bit = page - map.base;
    return (row[kInlineHeader + bit / 8] >> (bit % 8) & 1) != 0;
  }
  const std::uint32_t entry = page / format.map_page_bits;
  if (entry >= map.entries() || Entry(row, entry) == 0) return false;
  const PageRef bits = ReadBitmapPage(*context_, Entry(row, entry), row_);
  const std::uint32_t bit = page % format.map_page_bits;
  return (bits.data()[format.map_page_bits_offset + bit / 8] >> (bit % 8) & 1) != 0;
}

std::optional<PageNo> UsageMap::Next(PageNo from) const {
  if (!exists()) return std::nullopt;
  const FormatInfo& format = context_->format;
  const PageRef ref = context_->pages.Read(row_.page);
  const MapRow map = FindMapRow(format, ref.bytes(), row_);
  const std::uint8_t* row = ref.data() + map.row_offset;
  std::optional<PageNo> found;
  if (!map.reference) {
    const std::uint32_t bit = NextBit(row + kInlineHeader, from > map.base ? from - map.base : 0, map.bits());
    if (bit < map.bits()) found = map.base + bit;
  } else {
    for (std::uint32_t i = from / format.map_page_bits; i < map.entries() && !found; ++i) {
      const PageNo first = i * format.map_page_bits;
      if (Entry(row, i) == 0) continue;
      const PageRef bits = ReadBitmapPage(*context_, Entry(row, i), row_);
      const std::uint32_t bit = NextBit(bits.data() + format.map_page_bits_offset,
                                        from > first ? from - first : 0, format.map_page_bits);
      if (bit < format.map_page_bits) found = first + bit;
    }
  }
  if (found && *found >= context_->pages.page_count()) {
    ThrowCorrupt("a page map holds pages past the end of the file", row_.page, map.row_offset);
  }
  return found;
}

std::vector<PageNo> UsageMap::Pages() const {
  std::vector<PageNo> pages;
  if (!exists()) return pages;
  const FormatInfo& format = context_->format;
  const PageRef ref = context_->pages.Read(row_.page);
  const MapRow map = FindMapRow(format, ref.bytes(), row_);
  const std::uint8_t* row = ref.data() + map.row_offset;
  const auto collect = [&](const std::uint8_t* bits, std::uint32_t count, PageNo first) {
    for (std::uint32_t bit = NextBit(bits, 0, count); bit < count; bit = NextBit(bits, bit + 1, count)) {
      pages.push_back(first + bit);
    }
  };
  if (!map.reference) {
    collect(row + kInlineHeader, map.bits(), map.base);
  } else {
    for (std::uint32_t i = 0; i < map.entries(); ++i) {
      if (Entry(row, i) == 0) continue;
      const PageRef bits = ReadBitmapPage(*context_, Entry(row, i), row_);
      collect(bits.data() + format.map_page_bits_offset, format.map_page_bits, i * format.map_page_bits);
    }
  }
  if (!pages.empty() && pages.back() >= context_->pages.page_count()) {
    ThrowCorrupt("a page map holds pages past the end of the file", row_.page, map.row_offset);
  }
  return pages;
}

std::vector<PageNo> UsageMap::BitmapPages() const {
  std::vector<PageNo> pages;
  if (!exists()) return pages;
  const PageRef ref = context_->pages.Read(row_.page);
  const MapRow map = FindMapRow(context_->format, ref.bytes(), row_);
  for (std::uint32_t i = 0; map.reference && i < map.entries(); ++i) {
    const PageNo page = Entry(ref.data() + map.row_offset, i);
    if (page != 0) pages.push_back(page);
  }
  return pages;
}

void UsageMap::Add(PageNo page) {
  if (!exists()) return;
  const FormatInfo& format = context_->format;
  const MutablePageRef ref = context_->pages.Write(row_.page);
  MapRow map = FindMapRow(format, ref.bytes(), row_);
  std::uint8_t* row = ref.mutable_data() + map.row_offset;
  if (!map.reference && (page < map.base || page - map.base >= map.bits())) {
    if (!FitInline(format, ref.mutable_bytes(), row_, map, page)) {
      // No way to hold it inline: becomes a reference map, and its pages are added again.
      const std::vector<PageNo> pages = Pages();
      std::fill_n(row, map.row_bytes, std::uint8_t{0});
      row[0] = kReference;
      for (const PageNo old : pages) Add(old);
    }
    map = FindMapRow(format, ref.bytes(), row_);
    row = ref.mutable_data() + map.row_offset;
  }
  if (!map.reference) {
    const std::uint32_t bit = page - map.base;
    row[kInlineHeader + bit / 8] |= 1 << bit % 8;
    return;
  }
  const std::uint32_t entry = page / format.map_page_bits;
  if (entry >= map.entries()) {
    throw Error(ErrorKind::kIo, "A page map has no room for more pages.", row_.page, map.row_offset);
  }
  PageNo bitmap = Entry(row, entry);
  MutablePageRef bits;
  if (bitmap == 0) {
    bits = context_->allocator.Allocate();
    bits.mutable_data()[0] = kPageMapBits;
    bits.mutable_data()[1] = 1;
    StoreLe<std::uint32_t>(row + 1 + 4 * entry, bits.page_no());
  } else {
    ReadBitmapPage(*context_, bitmap, row_);
    bits = context_->pages.Write(bitmap);
  }
  const std::uint32_t bit = page % format.map_page_bits;
  bits.mutable_data()[format.map_page_bits_offset + bit / 8] |= 1 << bit % 8;
}

void UsageMap::Remove(PageNo page) {
  if (!Contains(page)) return;
  const FormatInfo& format = context_->format;
  const MutablePageRef ref = context_->pages.Write(row_.page);
  const MapRow map = FindMapRow(format, ref.bytes(), row_);
  std::uint8_t* row = ref.mutable_data() + map.row_offset;
  std::uint8_t* bits = row + kInlineHeader;
  std::uint32_t bit = page - map.base;
  MutablePageRef bitmap;
  if (map.reference) {
    bitmap = context_->pages.Write(Entry(row, page / format.map_page_bits));
    bits = bitmap.mutable_data() + format.map_page_bits_offset;
    bit = page % format.map_page_bits;
  }
  bits[bit / 8] &= ~(1 << bit % 8);
}

RowPointer CreateUsageMap(StoreContext& context, PageNo near) {
  const FormatInfo& format = context.format;
  const std::uint32_t length = format.map_row_bytes;
  MutablePageRef page;
  unsigned slot = 0;
  if (near != 0) {
    const PageRef candidate = context.pages.Read(near);
    if (IsDataPageOf(candidate.data(), 0)) {
      const std::uint32_t room = FreeBytes(format, candidate.data(), near);
      const unsigned count = SlotCount(format, candidate.data());
      slot = FindDeletedSlot(format, candidate.data(), 0);
      if (room >= length + (slot == count ? 2 : 0) && slot < format.max_slots) {
        page = context.pages.Write(near);
      }
    }
  }
  if (!page) {
    page = context.allocator.Allocate();
    InitDataPage(format, page.mutable_bytes(), 0);
    slot = 0;
  }
  std::uint8_t* data = page.mutable_data();
  std::uint32_t start = 0;
  if (slot == SlotCount(format, data)) {
    AppendRow(format, data, page.page_no(), length, 0);
    start = ReadSlot(format, data, page.page_no(), slot).start;
  } else {
    start = ResizeRow(format, data, page.page_no(), slot, length, 0);
  }
  std::fill_n(data + start, length, std::uint8_t{0});
  return {page.page_no(), static_cast<std::uint8_t>(slot)};
}

void DeleteUsageMap(StoreContext& context, RowPointer row) {
  if (row.page == 0) return;
  for (const PageNo page : UsageMap(context, row).BitmapPages()) context.allocator.Free(page);
  const MutablePageRef page = context.pages.Write(row.page);
  DeleteRow(context.format, page.mutable_data(), row.page, row.row);
  // Page 1 holds the global map and stays; its owner field says so.
  if (IsDataPageOf(page.data(), 0) && IsEmptyDataPage(context.format, page.data())) {
    context.allocator.Free(row.page);
  }
}

}  // namespace jet
