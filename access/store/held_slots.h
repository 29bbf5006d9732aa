// Row slots whose identifiers somebody may still hold though their rows are gone.
//
// A keyset or cursor holds identifiers of rows that lived when it was opened or later. So a slot whose row
// was deleted since the oldest of them was opened must not be given to a new row, which would be taken for
// the old one; a slot that was dead already may be. All are given free when the last one closes.
#pragma once

#include <bitset>
#include <unordered_map>

#include "access/base/types.h"

namespace jet {

class HeldSlots {
 public:
  using Slots = std::bitset<256>;

  void Hold() { ++holders_; }
  // Whether slots have come free by it.
  bool Release() {
    if (--holders_ > 0 || pages_.empty()) return false;
    pages_.clear();
    return true;
  }
  bool held() const { return holders_ > 0; }

  // A row was deleted.
  void NoteDeleted(RowId id) {
    if (holders_ > 0) pages_[id.page()].set(id.slot());
  }
  // Null: none on that page.
  const Slots* On(PageNo page) const {
    if (pages_.empty()) return nullptr;
    const auto it = pages_.find(page);
    return it == pages_.end() ? nullptr : &it->second;
  }

 private:
  int holders_ = 0;
  std::unordered_map<PageNo, Slots> pages_;
};

}  // namespace jet
