#include "access/file/page_undo.h"

#include <algorithm>

namespace jet::internal {

PageUndo::PageUndo(std::uint32_t page_size, std::size_t memory_bytes, PageTable& entries, Frames& frames,
                   StoredPages& stored)
    : page_size_(page_size),
      entries_(entries),
      frames_(frames),
      stored_(stored),
      statement_images_(page_size, memory_bytes),
      mark_images_(page_size, memory_bytes) {}

// Writes a page to the journal which is about to change, and with it those behind it that may be too and
// that, like it, are not `noted`. `end`: the number of pages in question.
template <typename Noted>
void PageUndo::SpillAsItWas(PageNo page, PageNo end, Noted noted) {
  std::vector<Journal::Unsaved> pages;
  end = std::min<std::size_t>({page + kSpillAhead, end, entries_.size()});
  for (; page < end; ++page) {
    const PageEntry& entry = entries_[page];
    if (entry.frame != nullptr && entry.frame->unsaved && !noted(entry)) {
      pages.push_back({page, Frames::Record(entry.frame)});
    }
  }
  stored_.Save(&pages);
}

void PageUndo::Note(PageNo page, Frame* frame, bool changed, bool in_statement) {
  PageEntry& entry = entries_[page];
  const bool for_mark = page < of_mark_.before.pages && entry.mark != mark_;
  const bool for_statement =
      in_statement && page < of_statement_.before.pages && entry.statement != statement_;
  if (!for_mark && !for_statement) return;
  PageSlots& images = for_mark ? mark_images_ : statement_images_;
  if (frame->unsaved && images.full()) {
    SpillAsItWas(page, (for_mark ? of_mark_ : of_statement_).before.pages, [&](const PageEntry& other) {
      return for_mark ? other.mark == mark_ : other.statement == statement_;
    });
  }
  const bool in_cache = frame->unsaved;
  const std::uint32_t image = in_cache ? images.Add(frame->data) : 0;
  const auto add = [&](Undo& undo) {
    if (!changed) {
      undo.clean.push_back(page);
    } else if (in_cache) {
      undo.images.push_back({page, image, &images});
    } else {
      undo.stored.push_back({page, entry.stored, entry.marked});
    }
  };
  if (for_mark) {
    add(of_mark_);
    entry.mark = mark_;
    entry.marked = changed && !in_cache;
  }
  if (for_statement) {
    add(of_statement_);
    entry.statement = statement_;
    entry.held = changed && !in_cache;
  }
}

void PageUndo::BeginStatement(PageCounts now) {
  released_before_statement_ = stored_.released();
  of_statement_.before = now;
  if (++statement_ == 0) {  // wrapped: old notes must not look like this statement's
    for (PageEntry& entry : entries_) entry.statement = 0;
    statement_ = 1;
  }
}

void PageUndo::EndStatement() {
  for (const Undo::Stored& item : of_statement_.stored) {
    PageEntry& entry = entries_[item.page];
    if (entry.stored != item.slot && !item.marked) stored_.Release(item.slot);
    entry.held = false;
  }
  of_statement_.Clear();
  statement_images_.Clear();
}

void PageUndo::TakeBackStatement(PageCounts* now) {
  TakeBack(of_statement_, released_before_statement_, now);
}

void PageUndo::StartMark(PageCounts now) {
  for (const Undo::Stored& item : of_mark_.stored) {
    PageEntry& entry = entries_[item.page];
    if (entry.stored != item.slot) stored_.journal().Release(item.slot);
    entry.marked = false;
  }
  of_mark_.Clear();
  of_mark_.before = now;
  mark_images_.Clear();
  stored_.ForgetReleased();
  constexpr std::uint32_t kLastMark = (1u << 30) - 1;
  if (mark_++ == kLastMark) {
    for (PageEntry& entry : entries_) entry.mark = 0;
    mark_ = 1;
  }
}

std::unordered_map<PageNo, PageUndo::Source> PageUndo::ChangedSinceMark() const {
  std::unordered_map<PageNo, Source> sources;
  for (const PageNo page : of_mark_.clean) sources[page] = {entries_[page].persisted, nullptr};
  for (const Undo::Stored& item : of_mark_.stored) sources[item.page] = {item.slot, nullptr};
  for (const Undo::Image& item : of_mark_.images) sources[item.page] = {item.slot, item.images};
  return sources;
}

void PageUndo::TakeBackToMark(PageCounts* now) { TakeBack(of_mark_, 0, now); }

// Slots from that place of those released on hold what is not to be found again.
void PageUndo::TakeBack(const Undo& undo, std::size_t first_released, PageCounts* now) {
  stored_.GiveUpReleased(first_released);
  // First what frees frames and slots, so that what follows needs no new ones.
  for (PageNo page = undo.before.pages; page < now->pages; ++page) stored_.Drop(entries_[page], 0);
  now->pages = undo.before.pages;
  if (entries_.size() > undo.before.pages) entries_.resize(undo.before.pages);
  for (const PageNo page : undo.clean) stored_.GoBack(page, entries_[page], entries_[page].persisted);
  for (const Undo::Stored& item : undo.stored) {
    stored_.GoBack(item.page, entries_[item.page], item.slot);
    entries_[item.page].marked = item.marked;
  }
  Journal& journal = stored_.journal();
  std::vector<std::uint8_t> record(Journal::kPrefixBytes + page_size_);
  for (const Undo::Image& image : undo.images) {
    PageEntry& entry = entries_[image.page];
    if (entry.frame == nullptr) {
      if (Frame* frame = frames_.TakeFree()) {
        Frames::Attach(frame, image.page, entry);
        stored_.Read(image.page, entry, frame);  // what stands before the page stays what it was
      }
    }
    if (Frame* frame = entry.frame) {
      image.images->Read(image.slot, frame->data);
      frame->unsaved = true;
    } else {
      journal.Read(entry.stored, record.data());
      image.images->Read(image.slot, record.data() + Journal::kPrefixBytes);
      journal.Rewrite(entry.stored, image.page, record.data());
    }
  }
  now->changed = undo.before.changed;
}

}  // namespace jet::internal
