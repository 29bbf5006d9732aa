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
inline int CompareBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t size) {
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
  if (used_ == 0 || !IsEndOfEntry(used_)) used_ = HighestBit();
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
  const unsigned last = g_->area_size / 64u;
  return index < last ? RawWord(index) : RawWord(index) & LowBits(g_->area_size % 64u + 1);
}

unsigned IndexPageView::HighestBit() const {
  for (unsigned index = g_->area_size / 64u + 1; index-- > 0;) {
    const std::uint64_t word = Word(index);
    if (word != 0) return index * 64 + 63 - std::countl_zero(word);
  }
  return 0;
}

bool IndexPageView::EndsAtUsed() const {
  const unsigned last = g_->area_size / 64u;
  const unsigned first = used_ / 64;
  std::uint64_t marks = Word(first) & ~LowBits(used_ % 64 + 1);
  for (unsigned index = first + 1; index < last; ++index) marks |= RawWord(index);
  if (first < last) marks |= Word(last);
  return marks == 0;
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
inline int IndexPageView::CompareRest(const Slot& slot, const Target& target) const {
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
  const unsigned full = FullSize(slot);
  const unsigned key_size = full - kRowBytes - (leaf_ ? 0 : kChildBytes);
  if (key_size != target.key_size) return false;
  const unsigned shared = std::min(prefix_, key_size);
  return std::memcmp(page_ + g_->area, target.data, shared) == 0 &&
         std::memcmp(Rest(slot).data(), target.data + shared, key_size - shared) == 0;
}

IndexPageView::Presence IndexPageView::FindKey(const Slot& found, const Target& target) const {
  const bool at_start = found.start == 0, at_end = IsEnd(found);
  if (!at_end && KeyEquals(found, target)) return Presence::kPresent;
  if (!at_start && KeyEquals({BitAtOrBefore(found.start - 1), found.start, false}, target)) {
    return Presence::kPresent;
  }
  return (at_start && previous() != 0) || (at_end && next() != 0) ? Presence::kUnknown : Presence::kAbsent;
}

bool IndexPageView::Spans(const Target& target) const {
  return used_ != 0 && Compare(First(), target) <= 0 && (next() == 0 || Compare(Last(), target) >= 0);
}

bool IndexPageView::Holds(const Slot& slot, Bytes entry) const {
  if (slot.start >= used_ || slot.end > used_) return false;
  if (slot.start != 0 && !IsEndOfEntry(slot.start)) return false;
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

bool IndexPageView::SearchNear(const Target& target, unsigned near, Slot* found) const {
  if (near >= used_ || (near != 0 && !IsEndOfEntry(near))) return false;
  *found = At(near);
  int order = Compare(*found, target);
  if (order > 0) {
    if (near == 0) return false;
    const Slot before{BitAtOrBefore(near - 1), near, false};
    order = Compare(before, target);
    if (order < 0) return true;
    *found = before;
  } else if (order < 0) {
    *found = After(*found);
    if (IsEnd(*found)) return next() == 0;
    order = Compare(*found, target);
    if (order > 0) return true;
  }
  found->exact = order == 0;
  return found->exact;
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
  if (!view_->EndsAtUsed()) {
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

void IndexPageEditor::MoveMarks(unsigned from, unsigned used, int by) {
  const IndexGeometry& g = *view_->g_;
  // Words from the one that `from` lies in, with zeros around them.
  constexpr unsigned kMostWords = (kJet4Geometry.bitmap_bytes + 7u) / 8;
  constexpr unsigned kZeros = kMostWords + 1;
  std::array<std::uint64_t, kZeros + kMostWords + kZeros> old;
  std::array<std::uint64_t, kMostWords> moved;
  const unsigned first = from / 64;
  const unsigned count = std::max<int>(used, static_cast<int>(used) + by) / 64 + 1 - first;
  const unsigned words = std::abs(by) / 64, bits = std::abs(by) % 64;
  std::uint64_t* const in = old.data() + kZeros;
  std::uint8_t* const marks = page_ + g.bitmap + std::size_t{first} * 8;
  const std::size_t bytes =
      std::min<std::size_t>(std::size_t{count} * 8, g.bitmap_bytes - std::size_t{first} * 8);
  std::memcpy(in, marks, bytes);
  const unsigned last = used / 64 - first;
  in[last] &= LowBits(used % 64 + 1);
  std::fill(in + last + 1, in + count, std::uint64_t{0});
  const std::uint64_t kept = LowBits(from % 64 + 1);
  moved[0] = 0;
  const std::uint64_t stays = in[0] & kept;
  if (by > 0) {
    in[0] &= ~kept;
    std::fill_n(in - words - 1, words + 1, std::uint64_t{0});
    for (unsigned i = 0; i < count; ++i) {
      const std::uint64_t* const source = in + i - words;
      moved[i] = source[0] << bits | source[-1] >> 1 >> (63 - bits);
    }
  } else {
    std::fill_n(in + count, words + 1, std::uint64_t{0});
    for (unsigned i = 0; i < count; ++i) {
      const std::uint64_t* const source = in + i + words;
      moved[i] = source[0] >> bits | source[1] << 1 << (63 - bits);
    }
    moved[0] &= ~kept;
  }
  moved[0] |= stays;
  std::memcpy(marks, moved.data(), bytes);
}

bool IndexPageEditor::Insert(unsigned start, Bytes entry) {
  const unsigned used = view_->used_;
  const unsigned prefix = view_->prefix_;
  if (!SharesPrefix(entry)) return false;
  const unsigned from = used == 0 ? 0 : view_->RestStart(start);
  const unsigned size = entry.size() - prefix;
  if (used + size > view_->g_->area_size) return false;
  std::uint8_t* const area = page_ + view_->g_->area;

  // The new entry ends at from + size.
  MoveMarks(from, used, size);
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
  MoveMarks(from, used, -static_cast<int>(size));
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
