#include "access/file/stored_pages.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "access/file/run_writer.h"

namespace jet::internal {

StoredPages::StoredPages(FileSystem& files, std::unique_ptr<File> file, std::string journal_path,
                         std::uint32_t page_size, PageTable& entries, Frames& frames)
    : file_(std::move(file)),
      journal_(files, *file_, std::move(journal_path), page_size),
      page_size_(page_size),
      entries_(entries),
      frames_(frames) {}

void StoredPages::Read(PageNo page, const PageEntry& entry, Frame* frame) {
  ReadSlot(page, entry.stored, Frames::Record(frame));
}

void StoredPages::ReadSlot(PageNo page, Slot slot, std::uint8_t* record) {
  if (slot != 0) {
    journal_.Read(slot, record);
  } else {
    file_->Read(std::uint64_t{page} * page_size_, {record + Journal::kPrefixBytes, page_size_});
  }
}

void StoredPages::Save(std::vector<Journal::Unsaved>* pages) {
  journal_.Write(*pages);
  for (const Journal::Unsaved& item : *pages) {
    PageEntry& entry = entries_[item.page];
    if (entry.stored != entry.persisted && !entry.held && !entry.marked) Release(entry.stored);
    entry.held = entry.marked = false;
    entry.stored = item.slot;
    entry.frame->unsaved = false;
    entry.frame->write_epoch = 0;
  }
}

void StoredPages::SaveAll() {
  std::vector<Journal::Unsaved> unsaved;
  changed_.ForEach(entries_.size(), [&](PageNo page) {
    Frame* const frame = entries_[page].frame;
    if (frame != nullptr && frame->unsaved) unsaved.push_back({page, Frames::Record(frame)});
  });
  Save(&unsaved);
}

void StoredPages::Release(Slot slot) {
  journal_.Release(slot);
  released_.push_back(slot);
}

void StoredPages::GiveUpReleased(std::size_t from) {
  for (std::size_t i = from; i < released_.size(); ++i) journal_.GiveUp(released_[i]);
}

void StoredPages::Drop(PageEntry& entry, Slot slot) {
  if (entry.stored != slot) {
    journal_.GiveUp(entry.stored);
    journal_.Release(entry.stored);
  }
  entry.stored = slot;
  entry.held = entry.marked = false;
  if (Frame* frame = entry.frame) {
    Frames::Detach(frame, entry);
    // A frame that is still held is found by the clock once it is let go.
    if (frame->pins == 0) frames_.Free(frame);
  }
}

void StoredPages::GoBack(PageNo page, PageEntry& entry, Slot slot) {
  Frame* const frame = entry.frame;
  Drop(entry, slot);
  if (frame == nullptr || frame->pins == 0) return;
  Frames::Attach(frame, page, entry);
  Read(page, entry, frame);
}

std::vector<JournalPage> StoredPages::Persisted() const {
  std::vector<JournalPage> persisted;
  changed_.ForEach(entries_.size(), [&](PageNo page) {
    if (entries_[page].persisted != 0) persisted.push_back({page, entries_[page].persisted});
  });
  return persisted;
}

void StoredPages::Commit(PageNo page_count, Journal::Phase phase) {
  std::vector<Slot> old_slots;
  std::vector<JournalPage> changed;
  changed_.ForEach(entries_.size(), [&](PageNo page) {
    const PageEntry& entry = entries_[page];
    if (entry.persisted != 0 && entry.is_changed()) old_slots.push_back(entry.persisted);
    if (entry.stored != 0) changed.push_back({page, entry.stored});
  });
  journal_.Commit(file_pages_, page_count, changed, phase);
  for (const Slot slot : old_slots) journal_.Release(slot);
  changed_.ForEach(entries_.size(), [&](PageNo page) { entries_[page].persisted = entries_[page].stored; });
}

// Writes what was persisted to the file.
void StoredPages::WritePersisted(PageNo from, PageNo to) {
  RunWriter writer(*file_, 0, page_size_);
  std::vector<std::uint8_t> record(Journal::kPrefixBytes + page_size_);
  changed_.ForEach(to, [&](PageNo page) {
    const PageEntry& entry = entries_[page];
    if (page < from || entry.persisted == 0) return;
    if (entry.frame != nullptr && !entry.is_changed()) {
      std::memcpy(writer.Add(page), entry.frame->data, page_size_);
    } else {
      journal_.Read(entry.persisted, record.data());
      std::memcpy(writer.Add(page), record.data() + Journal::kPrefixBytes, page_size_);
    }
  });
  writer.Flush();
}

void StoredPages::Apply() {
  const PageNo known = entries_.size();
  const PageNo old = std::min(file_pages_, known);
  // First the new pages: a full disk shows before anything old is overwritten.
  try {
    WritePersisted(old, known);
  } catch (const Error&) {
    file_->Truncate(std::uint64_t{file_pages_} * page_size_);
    throw;
  }
  WritePersisted(0, old);
  file_->SyncAll();
  journal_.Finish();
  changed_.ForEach(known, [&](PageNo page) { entries_[page].stored = entries_[page].persisted = 0; });
  changed_.Clear();
}

}  // namespace jet::internal
