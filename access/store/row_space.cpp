#include "access/store/row_space.h"

namespace jet {
namespace {

// A page with less room than this is not listed in the free-space map when rows leave it ...
constexpr std::uint32_t kWorthListing = 64;
// ... and one that could not take a row and has less room than this is taken out.
constexpr std::uint32_t kNearlyFull = 256;
// Listed pages that are tried for one row before a new page is made.
constexpr int kMaxProbes = 8;

}  // namespace

RowSpace::Place RowSpace::Add(std::uint32_t length, std::uint16_t flags, bool reuse, bool fresh_page) {
  Place place;
  if (!fresh_page) {
    if (current_ != 0 && TryPage(current_, length, flags, reuse, &place)) return place;
    for (int probe = 0; probe < kMaxProbes; ++probe) {
      const auto page = free_.Next(search_from_);
      if (!page) {
        search_from_ = ~PageNo{0} >> 8;
        break;
      }
      search_from_ = *page + 1;
      if (*page != current_ && TryPage(*page, length, flags, reuse, &place)) return place;
    }
  }
  NewPage(&place);
  std::uint8_t* data = place.page.mutable_data();
  const PageNo page = place.page.page_no();
  place.slot = static_cast<std::uint8_t>(AppendRow(context_.format, data, page, length, flags));
  place.bytes = data + context_.format.page_size - length;
  if (!fresh_page) {
    current_ = page;
    deleted_hint_ = 0;
    reclaimed_ = trimmed_ = true;
  } else if (FreeBytes(context_.format, data, page) < kWorthListing) {
    free_.Remove(page);
    if (last_listed_ == page) last_listed_ = 0;
  }
  return place;
}

bool RowSpace::TryPage(PageNo page, std::uint32_t length, std::uint16_t flags, bool reuse, Place* place) {
  const FormatInfo& format = context_.format;
  MutablePageRef ref = context_.pages.Write(page);
  std::uint8_t* data = ref.mutable_data();
  if (!IsDataPageOf(data, owner_)) ThrowCorrupt("a map names it as a page with other rows", page, 4);
  if (page != current_) {
    current_ = page;
    deleted_hint_ = 0;
    reclaimed_ = trimmed_ = false;
  }
  if (!reclaimed_ || (reuse && !trimmed_)) {
    ReclaimDeleted(format, data, page, reuse);
    reclaimed_ = true;
    trimmed_ = reuse;
  }
  const std::uint32_t room = FreeBytes(format, data, page);
  const unsigned count = SlotCount(format, data);
  if (reuse && room >= length) {
    deleted_hint_ = FindDeletedSlot(format, data, deleted_hint_);
    if (deleted_hint_ < count) {
      place->slot = static_cast<std::uint8_t>(deleted_hint_);
      place->bytes = data + ResizeRow(format, data, page, deleted_hint_, length, flags);
      place->page = std::move(ref);
      return true;
    }
  }
  if (room >= length + 2 && count < format.max_slots) {
    place->slot = static_cast<std::uint8_t>(AppendRow(format, data, page, length, flags));
    place->bytes = data + ReadSlot(format, data, page, place->slot).start;
    place->page = std::move(ref);
    return true;
  }
  // With deleted slots that must not be reused at present the page will serve later.
  const bool blocked = count >= format.max_slots && FindDeletedSlot(format, data, 0) == count;
  if (room < kNearlyFull || blocked) {
    free_.Remove(page);
    if (last_listed_ == page) last_listed_ = 0;
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
    reclaimed_ = trimmed_ = false;
  }
  if (FreeBytes(context_.format, data, page) < kWorthListing) return;
  if (page != last_listed_) {
    if (!free_.Contains(page)) free_.Add(page);
    last_listed_ = page;
  }
  if (page < search_from_) search_from_ = page;
}

void RowSpace::Drop(PageNo page) {
  owned_.Remove(page);
  free_.Remove(page);
  if (current_ == page) current_ = 0;
  if (last_listed_ == page) last_listed_ = 0;
}

void RowSpace::Forget() {
  current_ = 0;
  search_from_ = 0;
  last_listed_ = 0;
}

}  // namespace jet
