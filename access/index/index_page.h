// One index page: its fields, its entries, and changes of entries in place.
//
//   offset  Jet 4  Jet 3
//           0      0      type: 3 node, 4 leaf
//           2      2      free bytes of the entry area (u16)
//           4      4      tdef page of the table
//           12     8      previous page of the level
//           16     12     next page of the level
//           20     16     tail child (nodes): the last child, which has no entry of its own
//           24     20     prefix length (u16; u8 in Jet 3)
//           26     21     level: 0 leaf, 1 node
//           27     22     bitmap: bit k set = an entry ends at offset k of the entry area
//           480    248    entry area
//
// The first entry is stored whole; the others lack the first "prefix length" bytes, which are those of the
// first. An entry is key bytes, then page (24 bits) and slot of the row, then in nodes the child page (32
// bits), all big-endian. Entries ascend by (key, page, slot).
//
// Offsets below are offsets within the entry area, and an entry is named by its start. As the prefix stands
// only before the first entry, the area is: prefix, rest of entry 0, rest of entry 1, ... All functions stay
// inside the page whatever it holds, and raise kCorrupt where it makes no sense.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <vector>

#include "access/base/bytes.h"
#include "access/base/types.h"

namespace jet::internal {

inline constexpr std::uint8_t kNodePage = 3;
inline constexpr std::uint8_t kLeafPage = 4;
inline constexpr unsigned kRowBytes = 4;    // page and slot at the end of a key
inline constexpr unsigned kChildBytes = 4;  // child page at the end of a node entry

struct IndexGeometry {
  std::uint16_t page_size;
  std::uint8_t previous;
  std::uint8_t next;
  std::uint8_t tail;
  std::uint8_t prefix;
  std::uint8_t level;
  std::uint8_t bitmap;
  std::uint16_t bitmap_bytes;
  std::uint16_t area;
  std::uint16_t area_size;
  bool wide_prefix;
};
inline constexpr IndexGeometry kJet4Geometry{4096, 12, 16, 20, 24, 26, 27, 453, 480, 3616, true};
inline constexpr IndexGeometry kJet3Geometry{2048, 8, 12, 16, 20, 21, 22, 226, 248, 1800, false};

// What is searched for: key bytes, then the row, big-endian.
struct Target {
  const std::uint8_t* data = nullptr;
  unsigned key_size = 0;
  unsigned size() const { return key_size + kRowBytes; }
};

// A target with room of its own.
class TargetBuffer : public Target {
 public:
  TargetBuffer(std::string_view key, RowId row) {
    data = room_.data();
    key_size = key.size();
    std::copy(key.begin(), key.end(), room_.begin());
    StoreBe32(room_.data() + key.size(), row.packed);
  }
  explicit TargetBuffer(const Target& other) {
    data = room_.data();
    key_size = other.key_size;
    std::memcpy(room_.data(), other.data, other.size());
  }
  TargetBuffer(const TargetBuffer&) = delete;
  TargetBuffer& operator=(const TargetBuffer&) = delete;
  Bytes bytes() const { return {data, size()}; }
  std::string_view key() const { return {reinterpret_cast<const char*>(data), key_size}; }

 private:
  std::array<std::uint8_t, 4096> room_;
};

// Where an entry stands. start == end: behind the last entry.
struct Slot {
  unsigned start = 0;
  unsigned end = 0;
  bool exact = false;  // it is the target
};

// Room for one entry, taken whole.
struct EntryBuffer {
  std::array<std::uint8_t, 4096> data;
  unsigned size = 0;
};

class IndexPageView {
 public:
  // Checks type, owner, prefix and bitmap of the page as far as the functions below rely on them.
  IndexPageView(Bytes page, PageNo page_no, PageNo owner, bool jet3);

  PageNo page_no() const { return page_no_; }
  bool is_leaf() const { return leaf_; }
  bool empty() const { return used_ == 0; }
  unsigned used() const { return used_; }
  unsigned prefix() const { return prefix_; }
  PageNo previous() const { return LoadLe<std::uint32_t>(page_ + g_->previous); }
  PageNo next() const { return LoadLe<std::uint32_t>(page_ + g_->next); }
  PageNo tail() const { return LoadLe<std::uint32_t>(page_ + g_->tail); }
  std::uint8_t level() const { return page_[g_->level]; }
  unsigned free_field() const { return LoadLe<std::uint16_t>(page_ + 2); }
  const IndexGeometry& geometry() const { return *g_; }
  // The last mark of the whole bitmap; on a sound page used().
  unsigned HighestBit() const;
  // Whether nothing is marked behind used().
  bool EndsAtUsed() const;

  // The first entry that is not less than the target.
  Slot Search(const Target& target) const;
  Slot First() const { return At(0); }
  Slot Last() const;
  Slot After(const Slot& slot) const { return At(slot.end); }
  bool IsEnd(const Slot& slot) const { return slot.start >= used_; }

  // Bytes of the entry without the prefix, as they stand on the page.
  Bytes Rest(const Slot& slot) const;
  // Whole length of the entry, checked against the least that an entry has.
  unsigned FullSize(const Slot& slot) const;
  // The whole entry.
  void Copy(const Slot& slot, EntryBuffer* out) const;
  // Child page of a node's entry.
  PageNo Child(const Slot& slot) const;
  // -1, 0, 1: entry against target.
  int Compare(const Slot& slot, const Target& target) const;
  // Whether the key of an entry is that of the target, whatever the row.
  bool KeyEquals(const Slot& slot, const Target& target) const;
  // Whether an entry of this leaf before or at `found`, where a search for the target has ended, has its key.
  // Unknown where that depends on a neighbouring leaf.
  enum class Presence : std::uint8_t { kAbsent, kPresent, kUnknown };
  Presence FindKey(const Slot& found, const Target& target) const;
  // Whether the target belongs between entries of this leaf, whatever the nodes above it hold.
  bool Spans(const Target& target) const;
  // Search() for a target that is next to the entry at `near`, or is it; false when it is somewhere else, or
  // perhaps in another leaf.
  bool SearchNear(const Target& target, unsigned near, Slot* found) const;
  // Whether this very entry stands at this very place.
  bool Holds(const Slot& slot, Bytes entry) const;
  static bool IsLeafOf(Bytes page, PageNo owner) {
    return page[0] == kLeafPage && LoadLe<std::uint32_t>(page.data() + 4) == owner;
  }

 private:
  friend class IndexPageEditor;
  Slot At(unsigned start) const;
  // As it stands in the page: the last word reaches into the entry area.
  std::uint64_t RawWord(unsigned index) const {
    return LoadLe<std::uint64_t>(page_ + g_->bitmap + std::size_t{index} * 8);
  }
  std::uint64_t Word(unsigned index) const;
  // The end of an entry at or before a position below the end of the area; 0, the start of the area, when
  // there is none.
  unsigned BitAtOrBefore(unsigned position) const {
    unsigned index = position / 64;
    std::uint64_t word = RawWord(index) << (63 - position % 64);
    if (word != 0) return position - std::countl_zero(word);
    do {
      if (index == 0) return 0;
      word = RawWord(--index);
    } while (word == 0);
    return index * 64 + 63 - std::countl_zero(word);
  }
  // The first end of an entry after a position below used_.
  unsigned BitAfter(unsigned position) const {
    unsigned index = (position + 1) / 64;
    std::uint64_t word = RawWord(index) >> (position + 1) % 64;
    if (word != 0) return position + 1 + std::countr_zero(word);
    do {
      word = RawWord(++index);
    } while (word == 0);
    return index * 64 + std::countr_zero(word);
  }
  bool IsEndOfEntry(unsigned position) const {
    return (page_[g_->bitmap + position / 8] >> (position % 8) & 1) != 0;
  }
  unsigned RestStart(unsigned start) const { return start == 0 ? prefix_ : start; }
  int CompareRest(const Slot& slot, const Target& target) const;
  [[noreturn]] void Corrupt(const char* what, unsigned offset = 0) const;

  const std::uint8_t* page_;
  const IndexGeometry* g_;
  PageNo page_no_;
  bool leaf_ = false;
  unsigned prefix_ = 0;
  unsigned used_ = 0;
};

// Whole entries of a page, taken out to be arranged anew.
class EntryList {
 public:
  explicit EntryList(const IndexPageView& view);

  std::size_t size() const { return ends_.size(); }
  Bytes operator[](std::size_t i) const;
  PageNo child(std::size_t i) const { return LoadBe32((*this)[i].data() + (*this)[i].size() - kChildBytes); }
  void Insert(std::size_t at, Bytes entry);
  void Remove(std::size_t at);
  // Number of entries that start before this offset of the page they came from.
  std::size_t IndexOf(unsigned start) const;

  // Bytes that entries [from, to) take on a page, with the prefix that Write would choose.
  unsigned PackedSize(std::size_t from, std::size_t to) const;
  // Writes entries [from, to) as the whole content of a page; they must fit.
  void Write(std::size_t from, std::size_t to, MutableBytes page) const;

 private:
  unsigned PrefixFor(std::size_t from, std::size_t to) const;

  std::vector<std::uint8_t> bytes_;
  std::vector<unsigned> ends_;
  std::vector<unsigned> starts_on_page_;
};

// Changes of a Jet 4 page in place.
class IndexPageEditor {
 public:
  // `view` must be of the same page; it is brought up to date by every change.
  IndexPageEditor(MutableBytes page, IndexPageView* view);

  // Puts an entry before the one that starts at `start`. False, with nothing changed, when it does not fit or
  // does not share the prefix of the page.
  bool Insert(unsigned start, Bytes entry);
  void Erase(const Slot& slot);
  // Puts an entry in the place of another; false, with nothing changed, as for Insert.
  bool Replace(const Slot& slot, Bytes entry);

 private:
  bool SharesPrefix(Bytes entry) const;
  void SetUsed(unsigned used);
  // Moves the marks behind `from`, up to `used`, by `by` places: up, or down over as many that vanish.
  void MoveMarks(unsigned from, unsigned used, int by);

  std::uint8_t* page_;
  IndexPageView* view_;
};

// Fields of a page that is being built or relinked.
void InitIndexPage(MutableBytes page, std::uint8_t type, PageNo owner, std::uint8_t level);
void SetPrevious(MutableBytes page, PageNo value);
void SetNext(MutableBytes page, PageNo value);
void SetTail(MutableBytes page, PageNo value);

}  // namespace jet::internal
