// Finds room for new rows on the pages of one owned map and one free-space map: a table's data pages, or the
// LVAL pages of a long column.
//
// The free-space map is a hint, as it is in files of Access: a page that is listed may turn out to be too
// full, and pages with little room are not listed. What is kept in memory on top is a hint as well: the page
// of the last row, and a page number below which no listed page is worth trying. So a run of insertions costs
// the same per row however large the table is.
#pragma once

#include <cstdint>

#include "access/store/data_page.h"
#include "access/store/usage_map.h"

namespace jet {

class RowSpace {
 public:
  RowSpace(StoreContext& context, RowPointer owned, RowPointer free, std::uint32_t owner)
      : context_(context), owned_(context, owned), free_(context, free), owner_(owner) {}

  const UsageMap& owned() const { return owned_; }
  std::uint32_t owner() const { return owner_; }

  struct Place {
    MutablePageRef page;
    std::uint8_t slot = 0;
    std::uint8_t* bytes = nullptr;
  };
  // Makes a slot of `length` undefined bytes with these flags. With `reuse`, slots of deleted rows are taken
  // first. With `fresh_page`, on an empty page.
  Place Add(std::uint32_t length, std::uint16_t flags, bool reuse, bool fresh_page = false);

  // To be called after bytes or slots of `page` came free.
  void NoteRoom(PageNo page, const std::uint8_t* data);
  // Takes a page out of both maps; the caller frees it.
  void Drop(PageNo page);
  // In-memory hints are stale, or pages that were passed over may serve again.
  void Forget();

 private:
  bool TryPage(PageNo page, std::uint32_t length, std::uint16_t flags, bool reuse, Place* place);
  void NewPage(Place* place);

  StoreContext& context_;
  UsageMap owned_, free_;
  std::uint32_t owner_;
  PageNo current_ = 0;         // page of the last row
  unsigned deleted_hint_ = 0;  // no deleted slots below, on the current page
  bool reclaimed_ = false;     // no bytes of deleted rows are left on the current page
  bool trimmed_ = false;       // no deleted slots at its end
  PageNo search_from_ = 0;
  PageNo last_listed_ = 0;  // known to be in the free-space map
};

}  // namespace jet
