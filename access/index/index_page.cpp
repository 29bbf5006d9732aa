#include "access/index/index_page.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace jet::internal {
namespace {

constexpr std::uint64_t LowBits(unsigned count) {
  return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

int Sign(int value) { return (value > 0) - (value < 0); }

std::uint64_t LoadBe64(const std::uint8_t* p) { return std::uint64_t{LoadBe32(p)} << 32 | LoadBe32(p + 4); }

// -1, 0, 1. Keys are a few words long, and a search compares a dozen of them: a call would cost more than the
// comparison.
int CompareBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t size) {
  if (size < 8) return Sign(std::memcmp(a, b, size));
  for (std::size_t i = 0;; i = std::min(i + 8, size - 8)) {
    const std::uint64_t x = LoadBe64(a + i), y = LoadBe64(b + i);
    if (x != y) return x < y ? -1 : 1;
    if (i == size - 8) return 0;
  }
}

}  // namespace

IndexPageView::IndexPageView(Bytes page, PageNo page_no, PageNo owner, bool jet3)
    : page_(page.data()), g_(jet3 ? &kJet3Geometry : &kJet4Geometry), page_no_(page_no) {
  if (page.size() != g_->page_size) Corrupt("an index page does not have the page size");
  if (page_[0] != kNodePage && page_[0] != kLeafPage) Corrupt("it is not an index page");
  if (LoadLe<std::uint32_t>(page_ + 4) != owner) Corrupt("an index page belongs to another table", 4);
  leaf_ = page_[0] == kLeafPage;
  // The free-bytes field saves a walk over the bitmap where the bitmap agrees.
  const unsigned free = free_field();
  used_ = free < g_->area_size ? g_->area_size - free : 0;
  if (used_ == 0 || BitAtOrBefore(used_) != used_) used_ = HighestBit();
  if (used_ == 0) return;
  prefix_ = g_->wide_prefix ? LoadLe<std::uint16_t>(page_ + g_->prefix) : page_[g_->prefix];
  if (prefix_ != 0 && prefix_ >= BitAfter(0)) {
    Corrupt("the prefix of an index page is longer than its first entry", g_->prefix);
  }
  if ((page_[g_->bitmap] & 1) != 0) Corrupt("an index entry is empty", g_->bitmap);
}

void IndexPageView::Corrupt(const char* what, unsigned offset) const { ThrowCorrupt(what, page_no_, offset); }

// Word `index` of the bitmap, without what follows the last possible end of an entry.
std::uint64_t IndexPageView::Word(unsigned index) const {
  const auto word = LoadLe<std::uint64_t>(page_ + g_->bitmap + std::size_t{index} * 8);
  const unsigned last = g_->area_size / 64u;
  return index < last ? word : word & LowBits(g_->area_size % 64u + 1);
}

unsigned IndexPageView::HighestBit() const {
  for (unsigned index = g_->area_size / 64u + 1; index-- > 0;) {
    const std::uint64_t word = Word(index);
    if (word != 0) return index * 64 + 63 - std::countl_zero(word);
  }
  return 0;
}

// The end of an entry at or before a position; 0, the start of the area, when there is none.
unsigned IndexPageView::BitAtOrBefore(unsigned position) const {
  unsigned index = position / 64;
  std::uint64_t word = Word(index) & LowBits(position % 64 + 1);
  while (word == 0) {
    if (index == 0) return 0;
    word = Word(--index);
  }
  return index * 64 + 63 - std::countl_zero(word);
}

// The first end of an entry after a position below used_.
unsigned IndexPageView::BitAfter(unsigned position) const {
  unsigned index = (position + 1) / 64;
  std::uint64_t word = Word(index) & ~LowBits((position + 1) % 64);
  while (word == 0) word = Word(++index);
  return index * 64 + std::countr_zero(word);
}

Slot IndexPageView::At(unsigned start) const {
  if (start >= used_) return {used_, used_, false};
  return {start, BitAfter(start), false};
}

Slot IndexPageView::Last() const {
  if (used_ == 0) return {};
  return {BitAtOrBefore(used_ - 1), used_, false};
}

Bytes IndexPageView::Rest(const Slot& slot) const {
  const unsigned from = RestStart(slot.start);
  return {page_ + g_->area + from, slot.end - from};
}

unsigned IndexPageView::FullSize(const Slot& slot) const {
  const unsigned size = prefix_ + slot.end - RestStart(slot.start);
  if (size < kRowBytes + (leaf_ ? 0 : kChildBytes))
    Corrupt("an index entry is too short", g_->area + slot.start);
  return size;
}

void IndexPageView::Copy(const Slot& slot, EntryBuffer* out) const {
  out->size = FullSize(slot);
  if (out->size > out->data.size()) Corrupt("an index entry is too long", g_->area + slot.start);
  const Bytes rest = Rest(slot);
  std::memcpy(out->data.data(), page_ + g_->area, prefix_);
  std::memcpy(out->data.data() + prefix_, rest.data(), rest.size());
}

PageNo IndexPageView::Child(const Slot& slot) const {
  const Bytes rest = Rest(slot);
  if (rest.size() >= kChildBytes && FullSize(slot) >= kRowBytes + kChildBytes) {
    return LoadBe32(rest.data() + rest.size() - kChildBytes);
  }
  EntryBuffer whole;
  Copy(slot, &whole);
  return LoadBe32(whole.data.data() + whole.size - kChildBytes);
}

// Compares an entry whose prefix is known to be equal to that of the target, and not longer than its key.
int IndexPageView::CompareRest(const Slot& slot, const Target& target) const {
  const unsigned start = RestStart(slot.start);
  const std::uint8_t* const rest = page_ + g_->area + start;
  const unsigned full = FullSize(slot);
  const unsigned key_size = full - kRowBytes - (leaf_ ? 0 : kChildBytes);
  if (key_size == target.key_size) {
    return CompareBytes(rest, target.data + prefix_, target.size() - prefix_);
  }
  // Keys of one index are hardly ever prefixes of each other, but an empty binary value is one.
  const unsigned common = std::min(key_size, target.key_size);
  if (common > prefix_) {
    const int order = CompareBytes(rest, target.data + prefix_, common - prefix_);
    if (order != 0) return order;
  }
  return key_size < target.key_size ? -1 : 1;
}

int IndexPageView::Compare(const Slot& slot, const Target& target) const {
  if (prefix_ <= target.key_size && std::memcmp(page_ + g_->area, target.data, prefix_) == 0) {
    return CompareRest(slot, target);
  }
  EntryBuffer whole;
  Copy(slot, &whole);
  const unsigned key_size = whole.size - kRowBytes - (leaf_ ? 0 : kChildBytes);
  const int order = std::memcmp(whole.data.data(), target.data, std::min(key_size, target.key_size));
  if (order != 0) return Sign(order);
  if (key_size != target.key_size) return key_size < target.key_size ? -1 : 1;
  return Sign(std::memcmp(whole.data.data() + key_size, target.data + key_size, kRowBytes));
}

bool IndexPageView::KeyEquals(const Slot& slot, const Target& target) const {
  EntryBuffer whole;
  Copy(slot, &whole);
  const unsigned key_size = whole.size - kRowBytes - (leaf_ ? 0 : kChildBytes);
  return key_size == target.key_size && std::memcmp(whole.data.data(), target.data, key_size) == 0;
}

bool IndexPageView::Holds(const Slot& slot, Bytes entry) const {
  if (slot.start >= used_ || slot.end > used_) return false;
  if (slot.start != 0 && BitAtOrBefore(slot.start) != slot.start) return false;
  if (BitAfter(slot.start) != slot.end || FullSize(slot) != entry.size()) return false;
  const Bytes rest = Rest(slot);
  return std::memcmp(page_ + g_->area, entry.data(), prefix_) == 0 &&
         std::memcmp(rest.data(), entry.data() + prefix_, rest.size()) == 0;
}

// Binary search over byte offsets: the bitmap tells which entry an offset lies in.
Slot IndexPageView::Search(const Target& target) const {
  const bool shares_prefix =
      prefix_ <= target.key_size && std::memcmp(page_ + g_->area, target.data, prefix_) == 0;
  unsigned low = 0;  // all entries before are less than the target
  unsigned high = used_;
  Slot found{used_, used_, false};
  while (low < high) {
    const unsigned start = std::max(low, BitAtOrBefore((low + high) / 2));
    const Slot slot{start, BitAfter(start), false};
    const int order = shares_prefix ? CompareRest(slot, target) : Compare(slot, target);
    if (order < 0) {
      low = slot.end;
    } else {
      high = slot.start;
      found = slot;
      if (order == 0) {
        found.exact = true;
        return found;
      }
    }
  }
  return found;
}

EntryList::EntryList(const IndexPageView& view) {
  bytes_.reserve(2 * std::size_t{view.used()} + 64);
  EntryBuffer whole;
  for (Slot slot = view.First(); !view.IsEnd(slot); slot = view.After(slot)) {
    view.Copy(slot, &whole);
    bytes_.insert(bytes_.end(), whole.data.begin(), whole.data.begin() + whole.size);
    ends_.push_back(bytes_.size());
    starts_on_page_.push_back(slot.start);
  }
}

Bytes EntryList::operator[](std::size_t i) const {
  const unsigned start = i == 0 ? 0 : ends_[i - 1];
  return {bytes_.data() + start, ends_[i] - start};
}

void EntryList::Insert(std::size_t at, Bytes entry) {
  const unsigned start = at == 0 ? 0 : ends_[at - 1];
  bytes_.insert(bytes_.begin() + start, entry.begin(), entry.end());
  ends_.insert(ends_.begin() + at, start);
  for (std::size_t i = at; i < ends_.size(); ++i) ends_[i] += entry.size();
}

void EntryList::Remove(std::size_t at) {
  const unsigned size = (*this)[at].size();
  const unsigned start = ends_[at] - size;
  bytes_.erase(bytes_.begin() + start, bytes_.begin() + ends_[at]);
  ends_.erase(ends_.begin() + at);
  for (std::size_t i = at; i < ends_.size(); ++i) ends_[i] -= size;
}

std::size_t EntryList::IndexOf(unsigned start) const {
  return std::lower_bound(starts_on_page_.begin(), starts_on_page_.end(), start) - starts_on_page_.begin();
}

// Pages with room to spare stay without a prefix, as Access leaves them; else the longest that all share.
unsigned EntryList::PrefixFor(std::size_t from, std::size_t to) const {
  if (to - from < 2) return 0;
  const unsigned whole = ends_[to - 1] - (from == 0 ? 0 : ends_[from - 1]);
  if (whole <= kJet4Geometry.area_size * 3u / 4u) return 0;
  const Bytes first = (*this)[from];
  std::size_t prefix = first.size() - 1;
  for (std::size_t i = from + 1; i < to; ++i) {
    const Bytes entry = (*this)[i];
    prefix = std::min(prefix, entry.size() - 1);
    const auto last = first.begin() + prefix;
    prefix = std::mismatch(first.begin(), last, entry.begin()).first - first.begin();
  }
  return prefix;
}

unsigned EntryList::PackedSize(std::size_t from, std::size_t to) const {
  if (from == to) return 0;
  const unsigned whole = ends_[to - 1] - (from == 0 ? 0 : ends_[from - 1]);
  return whole - PrefixFor(from, to) * (to - from - 1);
}

void EntryList::Write(std::size_t from, std::size_t to, MutableBytes page) const {
  const IndexGeometry& g = kJet4Geometry;
  const unsigned prefix = PrefixFor(from, to);
  std::uint8_t* const bitmap = page.data() + g.bitmap;
  std::memset(bitmap, 0, g.page_size - g.bitmap);
  unsigned used = 0;
  for (std::size_t i = from; i < to; ++i) {
    const Bytes entry = (*this)[i];
    const unsigned skip = i == from ? 0 : prefix;
    std::memcpy(page.data() + g.area + used, entry.data() + skip, entry.size() - skip);
    used += entry.size() - skip;
    bitmap[used / 8] = bitmap[used / 8] | 1u << (used % 8);
  }
  StoreLe<std::uint16_t>(page.data() + g.prefix, prefix);
  StoreLe<std::uint16_t>(page.data() + 2, g.area_size - used);
}

IndexPageEditor::IndexPageEditor(MutableBytes page, IndexPageView* view) : page_(page.data()), view_(view) {
  // Marks that reading may pass over would be shifted into the entries by a change.
  if (view_->HighestBit() != view_->used_) {
    view_->Corrupt("its bitmap marks entries where there are none", view_->g_->bitmap);
  }
}

bool IndexPageEditor::SharesPrefix(Bytes entry) const {
  return entry.size() > view_->prefix_ &&
         std::memcmp(entry.data(), page_ + view_->g_->area, view_->prefix_) == 0;
}

void IndexPageEditor::SetUsed(unsigned used) {
  view_->used_ = used;
  if (used == 0 && view_->prefix_ != 0) {
    view_->prefix_ = 0;
    StoreLe<std::uint16_t>(page_ + view_->g_->prefix, 0);
  }
  StoreLe<std::uint16_t>(page_ + 2, view_->g_->area_size - used);
}

// The last word of the bitmap reaches into the entry area: only its part of the bitmap is written.
void IndexPageEditor::StoreWord(unsigned index, std::uint64_t word) {
  const std::size_t offset = std::size_t{index} * 8;
  std::memcpy(page_ + view_->g_->bitmap + offset, &word,
              std::min<std::size_t>(8, view_->g_->bitmap_bytes - offset));
}

// 64 bits of the bitmap from any position, also a negative one, where there are zeros.
std::uint64_t IndexPageEditor::ExtractBits(int position) const {
  const std::uint8_t* const bitmap = page_ + view_->g_->bitmap;
  if (position <= -64) return 0;
  if (position < 0) return LoadLe<std::uint64_t>(bitmap) << -position;
  const std::uint8_t* const from = bitmap + position / 8;
  const unsigned shift = position % 8;
  const auto low = LoadLe<std::uint64_t>(from);
  return shift == 0 ? low : low >> shift | std::uint64_t{from[8]} << (64 - shift);
}

bool IndexPageEditor::Insert(unsigned start, Bytes entry) {
  const unsigned used = view_->used_;
  const unsigned prefix = view_->prefix_;
  if (!SharesPrefix(entry)) return false;
  const unsigned from = used == 0 ? 0 : view_->RestStart(start);
  const unsigned size = entry.size() - prefix;
  if (used + size > view_->g_->area_size) return false;
  std::uint8_t* const area = page_ + view_->g_->area;

  // Ends behind `from` move up by `size`; the new entry ends at from + size.
  for (unsigned index = (used + size) / 64 + 1; index-- > from / 64;) {
    const int base = index * 64;
    const auto keep = from + 1 > index * 64 ? LowBits(from + 1 - index * 64) : 0;
    const unsigned first_moved = from + 1 + size;
    const auto fresh = first_moved > index * 64 ? ~LowBits(first_moved - index * 64) : ~std::uint64_t{0};
    StoreWord(index, (view_->Word(index) & keep) | (ExtractBits(base - size) & fresh));
  }
  std::memmove(area + from + size, area + from, used - from);
  std::memcpy(area + from, entry.data() + prefix, size);
  const unsigned end = from + size;
  std::uint8_t& byte = page_[view_->g_->bitmap + end / 8];
  byte = byte | 1u << (end % 8);
  SetUsed(used + size);
  return true;
}

void IndexPageEditor::Erase(const Slot& slot) {
  const unsigned used = view_->used_;
  const bool only = slot.start == 0 && slot.end == used;
  // The prefix stays in front for the entry that becomes the first.
  const unsigned from = only ? 0 : view_->RestStart(slot.start);
  const unsigned size = slot.end - from;
  std::uint8_t* const area = page_ + view_->g_->area;
  for (unsigned index = from / 64; index <= used / 64; ++index) {
    const auto keep = from + 1 > index * 64 ? LowBits(from + 1 - index * 64) : 0;
    std::uint64_t moved = 0;
    const unsigned source = index * 64 + size;
    if (source <= used) moved = ExtractBits(source) & LowBits(used - source + 1);
    StoreWord(index, (view_->Word(index) & keep) | (moved & ~keep));
  }
  std::memmove(area + from, area + slot.end, used - slot.end);
  SetUsed(used - size);
}

bool IndexPageEditor::Replace(const Slot& slot, Bytes entry) {
  if (!SharesPrefix(entry)) return false;
  const unsigned from = view_->RestStart(slot.start);
  const unsigned size = entry.size() - view_->prefix_;
  if (size == slot.end - from) {
    std::memcpy(page_ + view_->g_->area + from, entry.data() + view_->prefix_, size);
    return true;
  }
  if (view_->used_ - (slot.end - from) + size > view_->g_->area_size) return false;
  const bool only = slot.start == 0 && slot.end == view_->used_;
  Erase(slot);
  if (only) {
    // Erasing the only entry forgot the prefix; it always fits now.
    return Insert(0, entry);
  }
  return Insert(slot.start, entry);
}

void InitIndexPage(MutableBytes page, std::uint8_t type, PageNo owner, std::uint8_t level) {
  std::fill(page.begin(), page.end(), std::uint8_t{0});
  page[0] = type;
  page[1] = 1;
  StoreLe<std::uint16_t>(page.data() + 2, kJet4Geometry.area_size);
  StoreLe<std::uint32_t>(page.data() + 4, owner);
  page[kJet4Geometry.level] = level;
}

void SetPrevious(MutableBytes page, PageNo value) { StoreLe(page.data() + kJet4Geometry.previous, value); }
void SetNext(MutableBytes page, PageNo value) { StoreLe(page.data() + kJet4Geometry.next, value); }
void SetTail(MutableBytes page, PageNo value) { StoreLe(page.data() + kJet4Geometry.tail, value); }

}  // namespace jet::internal
