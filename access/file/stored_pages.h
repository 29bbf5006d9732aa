// Pages as they stand outside of the cache: in the file, or in slots of its journal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/file/file.h"
#include "access/file/frames.h"
#include "access/file/journal.h"
#include "access/file/page_frame.h"

namespace jet::internal {

// How many pages are looked at for some to be saved with one that has to be: together they cost little more
// than one.
inline constexpr std::size_t kSpillAhead = 64;

class StoredPages {
 public:
  StoredPages(FileSystem& files, std::unique_ptr<File> file, std::string journal_path,
              std::uint32_t page_size, PageTable& entries, Frames& frames);

  File& file() { return *file_; }
  Journal& journal() { return journal_; }
  PageNo file_pages() const { return file_pages_; }  // of the file itself
  void set_file_pages(PageNo pages) { file_pages_ = pages; }

  // The page may differ from the file from now on.
  void NoteChanged(PageNo page) { changed_.Note(page); }

  void Read(PageNo page, const PageEntry& entry, Frame* frame);
  // What stands in a slot, or for slot 0 in the file. `record` has room for what the journal puts before it.
  void ReadSlot(PageNo page, Slot slot, std::uint8_t* record);

  // Writes pages to the journal, and lets go of the slots that they had.
  void Save(std::vector<Journal::Unsaved>* pages);
  // All that stand in the cache alone.
  void SaveAll();

  void Release(Slot slot);
  // Slots that were released since the mark: they hold what pages were in between.
  std::size_t released() const { return released_.size(); }
  // Those from that place on hold what is not to be found again.
  void GiveUpReleased(std::size_t from);
  void ForgetReleased() { released_.clear(); }

  // The page is no more, or is again what stands in the slot.
  void Drop(PageEntry& entry, Slot slot);
  // The same for a page whose handles stay valid.
  void GoBack(PageNo page, PageEntry& entry, Slot slot);

  // The pages in which what was persisted differs from the file. Others may stand in the journal too: of work
  // that was not persisted.
  std::vector<JournalPage> Persisted() const;
  void Commit(PageNo page_count, Journal::Phase phase);
  // Brings the file up to date with what was committed.
  void Apply();

 private:
  void WritePersisted(PageNo from, PageNo to);

  std::unique_ptr<File> file_;
  Journal journal_;
  std::uint32_t page_size_;
  PageTable& entries_;
  Frames& frames_;
  PageNo file_pages_ = 0;
  ChangedRuns changed_;
  std::vector<Slot> released_;
};

}  // namespace jet::internal
