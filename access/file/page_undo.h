// How pages are brought back to what they were: at the begin of the running statement, and at the last mark.
//
// Before a page changes for the first time since, it is noted how it is found again: it was what was
// persisted last; it stood in a slot of the journal; or in the cache alone, and an image of it is kept aside.
// What a statement finds of a page that has not changed since the mark is what it was then, too, and shares
// its image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "access/file/frames.h"
#include "access/file/page_frame.h"
#include "access/file/page_slots.h"
#include "access/file/stored_pages.h"

namespace jet::internal {

class PageUndo {
 public:
  PageUndo(std::uint32_t page_size, std::size_t memory_bytes, PageTable& entries, Frames& frames,
           StoredPages& stored);

  void BeginStatement(PageCounts now);
  void EndStatement();
  // Brings all pages back to what they were at the begin of the statement, and their numbers.
  void TakeBackStatement(PageCounts* now);

  void StartMark(PageCounts now);
  // The same for the mark.
  void TakeBackToMark(PageCounts* now);

  PageNo pages_at_mark() const { return of_mark_.before.pages; }
  // Where a page that was changed since the mark is found as it was then.
  struct Source {
    std::uint32_t slot = 0;  // of `images`, else of the journal; 0 there: the file
    const PageSlots* images = nullptr;
  };
  std::unordered_map<PageNo, Source> ChangedSinceMark() const;

  // Notes a page that is about to change, where that has to be. `changed`: it is so already, from what was
  // persisted last.
  void Note(PageNo page, Frame* frame, bool changed, bool in_statement);

 private:
  struct Undo {
    struct Stored {
      PageNo page;
      Slot slot;
      bool marked;  // the slot is what the page was at the mark
    };
    struct Image {
      PageNo page;
      std::uint32_t slot;
      const PageSlots* images;
    };
    PageCounts before;
    std::vector<PageNo> clean;   // was as persisted last
    std::vector<Stored> stored;  // stood in the journal
    std::vector<Image> images;   // stood in the cache alone

    void Clear() {
      clean.clear();
      stored.clear();
      images.clear();
    }
  };

  template <typename Noted>
  void SpillAsItWas(PageNo page, PageNo end, Noted noted);
  void TakeBack(const Undo& undo, std::size_t first_released, PageCounts* now);

  std::uint32_t page_size_;
  PageTable& entries_;
  Frames& frames_;
  StoredPages& stored_;

  std::uint32_t statement_ = 0;
  Undo of_statement_;
  PageSlots statement_images_;
  std::uint32_t mark_ = 1;
  Undo of_mark_;
  PageSlots mark_images_;
  std::size_t released_before_statement_ = 0;  // of the slots released since the mark
};

}  // namespace jet::internal
