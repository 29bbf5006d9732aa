// Finds room for new rows on the pages of one owned map and one free-space map: a table's data pages, or the
// LVAL pages of a long column.
//
// The free-space map is a hint, as it is in files of Access: a page that is listed may turn out to be too
// full, and pages with little room are not listed. What is kept in memory on top is a hint as well: the page
// of the last row, and how much room the listed pages have, as far as they were looked at. So an insertion
// costs the same however large the table is, and a page is not looked at twice in vain.
#pragma once

#include <cstdint>
#include <vector>

#include "access/store/data_page.h"
#include "access/store/held_slots.h"
#include "access/store/page_rooms.h"
#include "access/store/usage_map.h"

namespace jet {

class RowSpace {
 public:
  // Slots in `held`, when given, are not given to new rows.
  RowSpace(StoreContext& context, RowPointer owned, RowPointer free, std::uint32_t owner,
           const HeldSlots* held = nullptr)
      : context_(context), owned_(context, owned), free_(context, free), owner_(owner), held_(held) {}

  const UsageMap& owned() const { return owned_; }
  std::uint32_t owner() const { return owner_; }

  struct Place {
    MutablePageRef page;
    std::uint8_t slot = 0;
    std::uint8_t* bytes = nullptr;
  };
  enum class Where {
    kAnywhere,
    kBehind,  // the row added last, so that rows stand in the order in which they come
    kFreshPage,
  };
  // Makes a slot of `length` undefined bytes with these flags; slots of deleted rows are taken first.
  Place Add(std::uint32_t length, std::uint16_t flags, Where where = Where::kAnywhere);

  // To be called after bytes or slots of `page` came free.
  void NoteRoom(PageNo page, const std::uint8_t* data);
  // No slots are held any more.
  void NoteReleased() noexcept;
  // Takes a page out of both maps; the caller frees it.
  void Drop(PageNo page);
  // In-memory hints are stale.
  void Forget();

 private:
  bool TryPage(PageNo page, std::uint32_t length, std::uint16_t flags, Place* place);
  bool TryOtherPages(std::uint32_t length, std::uint16_t flags, Place* place);
  void NewPage(Place* place);
  void Unlist(PageNo page);
  void LookAt(PageNo page);

  StoreContext& context_;
  UsageMap owned_, free_;
  std::uint32_t owner_;
  const HeldSlots* held_;
  PageNo current_ = 0;         // page of the last row
  unsigned deleted_hint_ = 0;  // no deleted slots below, on the current page
  bool reclaimed_ = false;     // no bytes of deleted rows are left on the current page, nor slots at its end
  PageNo last_listed_ = 0;     // known to be in the free-space map
  PageRooms rooms_;            // of the pages in the free-space map; that of the current page is not kept up
  bool rooms_loaded_ = false;
  std::vector<PageNo> waiting_;  // have no other slots than held ones
};

}  // namespace jet
