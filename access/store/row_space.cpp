#include "access/store/row_space.h"

#include <algorithm>
#include <new>

namespace jet {
namespace {

// A page with less room than this is not listed in the free-space map when rows leave it ...
constexpr std::uint32_t kWorthListing = 64;
// ... and one that could not take a row and has less room than this is taken out.
constexpr std::uint32_t kNearlyFull = 128;
// Listed pages that are looked at for the first time for one row before a new page is made. Those with a
// little room are taken out or remembered, so that the next search comes further.
constexpr int kMaxProbes = 64;

bool IsHeld(const HeldSlots::Slots* held, unsigned slot) { return held != nullptr && held->test(slot); }

// The first deleted slot that is not below `from` and not held, or the slot count.
unsigned FindUsableSlot(const FormatInfo& format, const std::uint8_t* page, unsigned from,
                        const HeldSlots::Slots* held) {
  const unsigned count = SlotCount(format, page);
  unsigned slot = FindDeletedSlot(format, page, from);
  while (slot < count && IsHeld(held, slot)) slot = FindDeletedSlot(format, page, slot + 1);
  return slot;
}

// How many slots at the beginning of the page have to stay.
unsigned SlotsToKeep(const HeldSlots::Slots* held) {
  if (held == nullptr) return 0;
  unsigned keep = held->size();
  while (keep > 0 && !held->test(keep - 1)) --keep;
  return keep;
}

}  // namespace

RowSpace::Place RowSpace::Add(std::uint32_t length, std::uint16_t flags, Where where) {
  Place place;
  const bool fresh_page = where == Where::kFreshPage;
  if (!fresh_page && current_ != 0 && TryPage(current_, length, flags, &place)) return place;
  if (where == Where::kAnywhere && TryOtherPages(length, flags, &place)) return place;
  NewPage(&place);
  std::uint8_t* data = place.page.mutable_data();
  const PageNo page = place.page.page_no();
  place.slot = AppendRow(context_.format, data, page, length, flags);
  place.bytes = data + context_.format.page_size - length;
  if (!fresh_page) {
    current_ = page;
    deleted_hint_ = 0;
    reclaimed_ = true;
    return place;
  }
  const std::uint32_t room = FreeBytes(context_.format, data, page);
  if (room < kWorthListing) {
    Unlist(page);
  } else if (rooms_loaded_) {
    rooms_.Set(page, room - 2);
  }
  return place;
}

bool RowSpace::TryOtherPages(std::uint32_t length, std::uint16_t flags, Place* place) {
  if (!rooms_loaded_) {
    rooms_.Clear();
    for (const PageNo page : free_.Pages()) rooms_.Set(page, PageRooms::kUnknown);
    rooms_loaded_ = true;
  }
  for (int probe = 0; probe < kMaxProbes; ++probe) {
    const PageNo page = rooms_.Find(std::max(length, std::uint32_t{1}));
    if (page == 0) return false;
    if (TryPage(page, length, flags, place)) return true;
  }
  return false;
}

// Makes the page the current one, without the bytes and slots at its end that deleted rows still take.
void RowSpace::LookAt(PageNo page) {
  if (page == current_ && reclaimed_) return;
  if (page != current_) {
    current_ = page;
    deleted_hint_ = 0;
  }
  const MutablePageRef ref = context_.pages.Write(page);
  const HeldSlots::Slots* held = held_ == nullptr ? nullptr : held_->On(page);
  ReclaimDeleted(context_.format, ref.mutable_data(), page, SlotsToKeep(held));
  reclaimed_ = true;
}

bool RowSpace::TryPage(PageNo page, std::uint32_t length, std::uint16_t flags, Place* place) {
  const FormatInfo& format = context_.format;
  MutablePageRef ref = context_.pages.Write(page);
  std::uint8_t* data = ref.mutable_data();
  if (!IsDataPageOf(data, owner_)) ThrowCorrupt("a map names it as a page with other rows", page, 4);
  LookAt(page);
  const std::uint32_t room = FreeBytes(format, data, page);
  const unsigned count = SlotCount(format, data);
  const HeldSlots::Slots* held = held_ == nullptr ? nullptr : held_->On(page);
  deleted_hint_ = FindUsableSlot(format, data, deleted_hint_, held);
  const bool usable_slot = deleted_hint_ < count;
  if (usable_slot && room >= length) {
    place->slot = deleted_hint_;
    place->bytes = data + ResizeRow(format, data, page, deleted_hint_, length, flags);
    place->page = std::move(ref);
    return true;
  }
  if (room >= length + 2 && count < format.max_slots) {
    place->slot = AppendRow(format, data, page, length, flags);
    place->bytes = data + ReadSlot(format, data, page, place->slot).start;
    place->page = std::move(ref);
    return true;
  }
  const bool no_slot = !usable_slot && count >= format.max_slots;
  if (room < kNearlyFull || (no_slot && FindDeletedSlot(format, data, 0) == count)) {
    Unlist(page);
  } else if (rooms_loaded_) {
    const std::uint32_t longest = usable_slot ? room : room - 2;
    rooms_.Set(page, no_slot ? 0 : longest);
    if (no_slot) waiting_.push_back(page);
  }
  return false;
}

void RowSpace::NewPage(Place* place) {
  if (!owned_.exists()) {
    throw Error(ErrorKind::kNotSupported, "A table or column without a map of its pages cannot be extended.");
  }
  place->page = context_.allocator.Allocate();
  const PageNo page = place->page.page_no();
  InitDataPage(context_.format, place->page.mutable_bytes(), owner_);
  owned_.Add(page);
  free_.Add(page);
  last_listed_ = page;
}

void RowSpace::NoteRoom(PageNo page, const std::uint8_t* data) {
  if (page == current_) {
    deleted_hint_ = 0;
    reclaimed_ = false;
  }
  const std::uint32_t room = FreeBytes(context_.format, data, page);
  if (room < kWorthListing) return;
  if (page != last_listed_) {
    if (!free_.Contains(page)) free_.Add(page);
    last_listed_ = page;
  }
  if (rooms_loaded_) rooms_.Set(page, room);
}

void RowSpace::NoteReleased() noexcept {
  deleted_hint_ = 0;
  reclaimed_ = false;
  try {
    for (const PageNo page : waiting_) rooms_.Set(page, PageRooms::kUnknown);
  } catch (const std::bad_alloc&) {
    rooms_loaded_ = false;
  }
  waiting_.clear();
}

void RowSpace::Unlist(PageNo page) {
  free_.Remove(page);
  if (rooms_loaded_) rooms_.Set(page, 0);
  if (last_listed_ == page) last_listed_ = 0;
}

void RowSpace::Drop(PageNo page) {
  owned_.Remove(page);
  Unlist(page);
  if (current_ == page) current_ = 0;
}

void RowSpace::Forget() {
  current_ = 0;
  last_listed_ = 0;
  rooms_loaded_ = false;
  waiting_.clear();
}

}  // namespace jet
