// The global map: row 0 of page 1. A set bit means that the page is free; bits past the end of the file are
// set. It is inline at first and is lengthened as the file grows, then becomes a reference map, in which a
// missing bitmap page means that its whole range is free (unlike in all other maps). Its base is 0 in files
// that Access wrote; pages below another base, which other writers leave, count as used.
#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "access/store/data_page.h"
#include "access/store/format.h"
#include "access/store/layout.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

constexpr RowPointer kGlobalMap{1, 0};
// The header, the map itself, the catalog: no map can give them away.
constexpr PageNo kFirstPage = 3;
constexpr std::uint32_t kInlineHeader = 5;
constexpr std::uint32_t kRowStep = 64;
// 16 MB inline. Page 1 has room for more, but there is nothing to gain.
constexpr std::uint32_t kLongestInlineRow = 517;

class GlobalMapAllocator : public PageAllocator {
 public:
  GlobalMapAllocator(PageStore& pages, const FormatInfo& format, PageOwners* owners)
      : pages_(pages), format_(format), owners_(owners) {}

  MutablePageRef Allocate() override {
    if (lowest_free_ < pages_.page_count()) {
      if (const PageNo page = FindFree(); page != 0) {
        RequireUnused(page);
        lowest_free_ = page + 1;
        MutablePageRef ref = pages_.Write(page);
        SetBit(page, false);
        std::fill(ref.mutable_bytes().begin(), ref.mutable_bytes().end(), std::uint8_t{0});
        return ref;
      }
      lowest_free_ = pages_.page_count();
    }
    MutablePageRef ref = pages_.Append();
    SetBit(ref.page_no(), false);
    lowest_free_ = std::max(lowest_free_, ref.page_no() + 1);
    return ref;
  }

  void Free(PageNo page) override {
    if (page < 2 || page >= pages_.page_count()) {
      ThrowCorrupt("a page that cannot be free would be given back", page);
    }
    pages_.BeginEra();
    const MutablePageRef ref = pages_.Write(page);
    std::uint8_t& type = ref.mutable_data()[0];
    type = type == kPageData ? kPageFreedData : type == kPageTdef ? kPageFreedTdef : std::uint8_t{0};
    SetBit(page, true);
    lowest_free_ = std::min(lowest_free_, page);
  }

  void Forget() override { lowest_free_ = kFirstPage; }

  void MoveMapDown() override {
    const MutablePageRef ref = pages_.Write(kGlobalMap.page);
    const MapRow map = FindMapRow(format_, ref.bytes(), kGlobalMap);
    if (!map.reference) return;
    std::uint8_t* entries = ref.mutable_data() + map.row_offset + 1;
    for (std::uint32_t i = 0; i < map.entries(); ++i) {
      const auto old = LoadLe<PageNo>(entries + 4 * i);
      if (old == 0) continue;
      const MutablePageRef fresh = Allocate();
      if (fresh.page_no() > old) {
        Free(fresh.page_no());
        continue;
      }
      const PageRef bitmap = Bitmap(old);
      std::copy(bitmap.bytes().begin(), bitmap.bytes().end(), fresh.mutable_bytes().begin());
      StoreLe(entries + 4 * i, fresh.page_no());
      Free(old);
    }
    // A range without a bitmap page is free.
    for (std::uint32_t i = map.entries(); i-- > 0;) {
      const auto bitmap = LoadLe<PageNo>(entries + 4 * i);
      if (bitmap == 0 || i * format_.map_page_bits < UsedEnd()) continue;
      StoreLe<PageNo>(entries + 4 * i, 0);
      Free(bitmap);
    }
  }

  PageNo UsedEnd() override {
    PageNo end = pages_.page_count();
    while (end > kFirstPage && IsFree(end - 1)) --end;
    return end;
  }

  PageNo FreePages() override {
    PageNo count = 0;
    for (PageNo page = kFirstPage; page < pages_.page_count(); ++page) count += IsFree(page) ? 1 : 0;
    return count;
  }

 private:
  bool IsFree(PageNo page) {
    const PageRef ref = pages_.Read(kGlobalMap.page);
    const MapRow map = FindMapRow(format_, ref.bytes(), kGlobalMap);
    const std::uint8_t* row = ref.data() + map.row_offset;
    const auto is_set = [](const std::uint8_t* bits, std::uint32_t bit) {
      return (bits[bit / 8] >> (bit % 8) & 1) != 0;
    };
    if (!map.reference) {
      return page >= map.base && page - map.base < map.bits() && is_set(row + kInlineHeader, page - map.base);
    }
    const std::uint32_t entry = page / format_.map_page_bits;
    if (entry >= map.entries()) return false;
    const auto bitmap = LoadLe<PageNo>(row + 1 + 4 * entry);
    return bitmap == 0 ||
           is_set(Bitmap(bitmap).data() + format_.map_page_bits_offset, page % format_.map_page_bits);
  }

  // A page that was given back has a type byte of its own, here as in Access, unless it has never been used
  // or Access forgot.
  void RequireUnused(PageNo page) {
    const std::uint8_t type = pages_.Read(page).data()[0];
    if (owners_ == nullptr || type < kPageData || type > kPageMapBits) return;
    const std::string owner = owners_->OwnerOf(page);
    if (owner.empty()) return;
    ThrowCorrupt(
        fmt::format("the map of free pages calls it free, but it belongs to {}; nothing is written to a "
                    "file that contradicts itself",
                    owner),
        page);
  }

  // The lowest free page of the file from lowest_free_ on, or 0.
  PageNo FindFree() {
    const PageNo end = pages_.page_count();
    const PageRef ref = pages_.Read(kGlobalMap.page);
    const MapRow map = FindMapRow(format_, ref.bytes(), kGlobalMap);
    const std::uint8_t* row = ref.data() + map.row_offset;
    if (!map.reference) {
      const std::uint32_t from = lowest_free_ > map.base ? lowest_free_ - map.base : 0;
      const std::uint32_t bit = NextBit(row + kInlineHeader, from, map.bits());
      return bit < map.bits() && map.base + bit < end ? map.base + bit : 0;
    }
    for (PageNo page = lowest_free_; page < end;) {
      const std::uint32_t entry = page / format_.map_page_bits;
      if (entry >= map.entries()) return 0;
      const PageNo bitmap = LoadLe<std::uint32_t>(row + 1 + 4 * entry);
      if (bitmap == 0) return page;
      const std::uint32_t from = page % format_.map_page_bits;
      const std::uint32_t bit =
          NextBit(Bitmap(bitmap).data() + format_.map_page_bits_offset, from, format_.map_page_bits);
      page += bit - from;
      if (bit < format_.map_page_bits) return page < end ? page : 0;
    }
    return 0;
  }

  void SetBit(PageNo page, bool free) {
    const MutablePageRef ref = pages_.Write(kGlobalMap.page);
    MapRow map = FindMapRow(format_, ref.bytes(), kGlobalMap);
    if (!map.reference) {
      if (page < map.base) {
        // Below a base that another writer slid up: the page counts as used for good.
        return;
      }
      if (page - map.base >= map.bits() && !Lengthen(ref, map, page)) ConvertToReference(ref, map);
      map = FindMapRow(format_, ref.bytes(), kGlobalMap);
    }
    std::uint8_t* row = ref.mutable_data() + map.row_offset;
    if (!map.reference) {
      const std::uint32_t bit = page - map.base;
      Put(row + kInlineHeader, bit, free);
      return;
    }
    const std::uint32_t entry = page / format_.map_page_bits;
    if (entry >= map.entries()) {
      throw Error(ErrorKind::kIo, "The map of free pages has no room for more pages.", kGlobalMap.page,
                  map.row_offset);
    }
    PageNo bitmap = LoadLe<std::uint32_t>(row + 1 + 4 * entry);
    if (bitmap == 0) bitmap = NewBitmap(row, entry);
    Bitmap(bitmap);
    const MutablePageRef bits = pages_.Write(bitmap);
    Put(bits.mutable_data() + format_.map_page_bits_offset, page % format_.map_page_bits, free);
  }

  static void Put(std::uint8_t* bits, std::uint32_t bit, bool on) {
    const std::uint8_t mask = 1 << bit % 8;
    bits[bit / 8] = on ? bits[bit / 8] | mask : bits[bit / 8] & ~mask;
  }

  PageRef Bitmap(PageNo page) {
    if (page >= pages_.page_count()) {
      ThrowCorrupt("the map of free pages names a bitmap page past the end of the file", kGlobalMap.page);
    }
    PageRef ref = pages_.Read(page);
    if (ref.data()[0] != kPageMapBits) ThrowCorrupt("it should hold the bits of a page map", page, 0);
    return ref;
  }

  // A bitmap page of ones at the end of the file; it marks itself as used.
  PageNo NewBitmap(std::uint8_t* row, std::uint32_t entry) {
    const MutablePageRef bits = pages_.Append();
    bits.mutable_data()[0] = kPageMapBits;
    bits.mutable_data()[1] = 1;
    std::fill_n(bits.mutable_data() + format_.map_page_bits_offset, format_.map_page_bits / 8,
                std::uint8_t{0xFF});
    StoreLe<std::uint32_t>(row + 1 + 4 * entry, bits.page_no());
    SetBit(bits.page_no(), false);
    return bits.page_no();
  }

  bool Lengthen(const MutablePageRef& ref, const MapRow& map, PageNo page) {
    const std::uint32_t need = kInlineHeader + (page - map.base) / 8 + 1;
    std::uint32_t length = map.row_bytes;
    while (length < need) length += kRowStep;
    std::uint8_t* data = ref.mutable_data();
    if (length > kLongestInlineRow) return false;
    if (FreeBytes(format_, data, kGlobalMap.page) < length - map.row_bytes) return false;
    const std::string old(reinterpret_cast<const char*>(data) + map.row_offset, map.row_bytes);
    const std::uint32_t start = ResizeRow(format_, data, kGlobalMap.page, kGlobalMap.row, length, 0);
    std::copy(old.begin(), old.end(), reinterpret_cast<char*>(data) + start);
    std::fill_n(data + start + map.row_bytes, length - map.row_bytes, std::uint8_t{0xFF});
    return true;
  }

  void ConvertToReference(const MutablePageRef& ref, const MapRow& map) {
    std::uint8_t* row = ref.mutable_data() + map.row_offset;
    const std::string old(reinterpret_cast<const char*>(row), map.row_bytes);
    const auto* old_bits = reinterpret_cast<const std::uint8_t*>(old.data()) + kInlineHeader;
    std::fill_n(row, map.row_bytes, std::uint8_t{0});
    row[0] = 1;
    const PageNo covered = map.base + map.bits();
    for (PageNo page = 0; page < covered; ++page) {
      const bool free =
          page >= map.base && (old_bits[(page - map.base) / 8] >> ((page - map.base) % 8) & 1) != 0;
      if (!free) SetBit(page, false);
    }
  }

  PageStore& pages_;
  const FormatInfo& format_;
  PageOwners* owners_;
  PageNo lowest_free_ = kFirstPage;  // no page below is free, as far as this object changed the map
};

}  // namespace

std::unique_ptr<PageAllocator> MakePageAllocator(PageStore& pages, const FormatInfo& format,
                                                 PageOwners* owners) {
  return std::make_unique<GlobalMapAllocator>(pages, format, owners);
}

}  // namespace jet
