#include "access/file/page_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "access/file/file_at_mark.h"
#include "access/file/frames.h"
#include "access/file/journal.h"
#include "access/file/page_undo.h"
#include "access/file/stored_pages.h"

namespace jet {

using internal::Frame;
using internal::Frames;
using internal::Journal;
using internal::PageEntry;

struct PageStore::Impl {
  // Whether the store can go on after a failure.
  enum class State {
    kSound,
    kTorn,    // a statement was taken back in part: not before a revert
    kBroken,  // no
  };

  Impl(FileSystem& files, std::unique_ptr<File> database, std::string journal_path, std::uint32_t page_size,
       const PageStoreOptions& opts, internal::PageTable& entries)
      : options(opts),
        frames(page_size, opts.cache_bytes),
        stored(files, std::move(database), std::move(journal_path), page_size, entries, frames),
        undo(page_size, opts.undo_bytes, entries, frames, stored) {}

  // A frame that stands for no page.
  Frame* TakeFrame(internal::PageTable& entries) {
    if (Frame* frame = frames.Take()) return frame;
    Frame* const victim = frames.FindVictim();
    if (victim == nullptr) return frames.TakeBeyond();
    if (victim->attached) {
      if (victim->unsaved) Spill(victim);
      Frames::Detach(victim, entries[victim->page]);
    }
    return victim;
  }

  // Writes a page to the journal, and with it those that the clock will come to soon.
  void Spill(Frame* frame) {
    std::vector<Journal::Unsaved> pages = {{frame->page, Frames::Record(frame)}};
    frames.ForEachAhead(internal::kSpillAhead, [&](Frame* other) {
      if (other != frame && other->attached && other->unsaved && other->pins == 0 && other->use == 0) {
        pages.push_back({other->page, Frames::Record(other)});
      }
    });
    stored.Save(&pages);
  }

  File& file() { return stored.file(); }
  Journal& journal() { return stored.journal(); }

  PageStoreOptions options;
  FileStamp stamp;  // of the file as we opened or left it
  State state = State::kSound;
  bool lost = false;      // the file is no longer ours, and what was done is nowhere
  bool in_doubt = false;  // whether the commit that failed will be found

  Frames frames;
  internal::StoredPages stored;
  internal::PageUndo undo;
};

PageStore::PageStore(FileSystem& files, std::unique_ptr<File> file, std::string journal_path, bool writable,
                     std::uint32_t page_size, const PageStoreOptions& options)
    : page_size_(page_size),
      writable_(writable),
      impl_(std::make_unique<Impl>(files, std::move(file), std::move(journal_path), page_size, options,
                                   entries_)) {
  Impl& impl = *impl_;
  impl.stamp = impl.file().Stamp();
  if (const auto waiting = impl.journal().Recover(writable)) {
    impl.stored.set_file_pages(waiting->file_pages);
    counts_.pages = waiting->pages;
    entries_.resize(counts_.pages);
    for (const internal::JournalPage& item : waiting->changed) {
      entries_[item.page].stored = entries_[item.page].persisted = item.slot;
      impl.stored.NoteChanged(item.page);
    }
    if (!writable) return;
    if (!impl.file().LockContent(true)) {
      throw Error(
          ErrorKind::kLocked,
          fmt::format("The file {} has to be brought up to date from its journal, and another program "
                      "is reading it.",
                      impl.file().path()));
    }
    Apply();
    impl.file().ShareContent();
  }
  const std::uint64_t size = impl.file().Size();
  if (size % page_size != 0 || size / page_size > 0xFFFFFFFFu) {
    throw Error(
        ErrorKind::kCorrupt,
        fmt::format("The file is damaged: its size of {} bytes is not a whole number of pages of {} bytes.",
                    size, page_size));
  }
  counts_.pages = size / page_size;
  impl.stored.set_file_pages(counts_.pages);
  StartMark();
}

PageStore::~PageStore() {
  if (journal_waits_ && impl_->state == Impl::State::kSound) {
    try {
      if (impl_->file().LockContent(false)) Apply();
    } catch (const std::exception&) {
      // The journal stays, and the next open does it.
    }
  }
  impl_->journal().Discard();
}

void PageStore::RequireWritable() const {
  if (!writable_) throw Error(ErrorKind::kReadOnly, "The database is open for reading only.");
  if (impl_->state != Impl::State::kSound) {
    throw Error(
        ErrorKind::kIo,
        "Nothing more can be written to the database because an earlier write failed; what was saved before "
        "is safe.");
  }
}

void PageStore::RequireNoStatement() const {
  if (in_statement_)
    throw Error(ErrorKind::kInvalid, "A checkpoint is not possible while a statement is under way.");
}

Frame* PageStore::Load(PageNo page) {
  if (page >= counts_.pages) {
    ThrowCorrupt(fmt::format("it lies past the end of the file, which has {} pages", counts_.pages), page);
  }
  if (page >= entries_.size()) {
    const std::size_t doubled = std::min<std::size_t>(entries_.size() * 2, counts_.pages);
    entries_.resize(std::max<std::size_t>(page + std::size_t{1}, doubled));
  }
  if (Frame* frame = entries_[page].frame) return frame;
  Frame* frame = impl_->TakeFrame(entries_);
  PageEntry& entry = entries_[page];
  try {
    impl_->stored.Read(page, entry, frame);
  } catch (...) {
    impl_->frames.Free(frame);
    throw;
  }
  Frames::Attach(frame, page, entry);
  return frame;
}

Frame* PageStore::NoteAndWrite(PageNo page) {
  RequireWritable();
  Frame* frame = Load(page);
  PageEntry& entry = entries_[page];
  const bool changed = entry.is_changed();
  impl_->undo.Note(page, frame, changed, in_statement_);
  if (!changed) {
    ++counts_.changed;
    impl_->stored.NoteChanged(page);
    if (entry.persisted == 0) Journal::NoteFileContent(page, Frames::Record(frame), page_size_);
  }
  frame->unsaved = true;
  frame->write_epoch = epoch_;
  frame->use |= 7;  // a changed page costs a write to spill: clean ones go first
  return frame;
}

MutablePageRef PageStore::Append() {
  RequireWritable();
  const PageNo page = counts_.pages;
  if ((std::uint64_t{page} + 1) * page_size_ > impl_->options.max_file_bytes) {
    throw Error(ErrorKind::kIo, fmt::format("The database has reached its largest size of {} bytes.",
                                            impl_->options.max_file_bytes));
  }
  if (page >= entries_.size())
    entries_.resize(std::max<std::size_t>(page + 1, entries_.size() + entries_.size() / 4));
  Frame* frame = impl_->TakeFrame(entries_);
  std::memset(Frames::Record(frame), 0, Journal::kPrefixBytes + page_size_);
  Frames::Attach(frame, page, entries_[page]);
  frame->unsaved = true;
  frame->write_epoch = epoch_;
  frame->use = 7;
  impl_->stored.NoteChanged(page);
  ++counts_.pages;
  ++counts_.changed;
  return MutablePageRef(frame);
}

void PageStore::BeginStatement() {
  if (in_statement_) throw Error(ErrorKind::kInvalid, "A statement is under way already.");
  ++epoch_;
  in_statement_ = true;
  impl_->undo.BeginStatement(counts_);
}

void PageStore::CommitStatement() {
  ++epoch_;
  in_statement_ = false;
  impl_->undo.EndStatement();
}

void PageStore::RollbackStatement() noexcept {
  BeginEra();
  try {
    if (in_statement_) impl_->undo.TakeBackStatement(&counts_);
  } catch (const std::exception&) {
    impl_->state = std::max(impl_->state, Impl::State::kTorn);
  }
  CommitStatement();
}

void PageStore::Mark() {
  RequireNoStatement();
  if (writable_ && impl_->state == Impl::State::kSound) StartMark();
}

void PageStore::StartMark() {
  ++epoch_;
  impl_->undo.StartMark(counts_);
}

void PageStore::RevertToMark() {
  if (!writable_) return;
  if (impl_->state == Impl::State::kBroken) RequireWritable();
  BeginEra();
  // The notes of the mark are those of the statement as well.
  if (in_statement_) CommitStatement();
  impl_->state = Impl::State::kBroken;
  impl_->undo.TakeBackToMark(&counts_);
  impl_->journal().Recycle();
  StartMark();
  impl_->state = Impl::State::kSound;
}

std::vector<PageNo> PageStore::ChangedSinceMark() const {
  std::vector<PageNo> changed;
  for (const auto& [page, source] : impl_->undo.ChangedSinceMark()) changed.push_back(page);
  for (PageNo page = impl_->undo.pages_at_mark(); page < counts_.pages; ++page) changed.push_back(page);
  std::ranges::sort(changed);
  return changed;
}

std::unique_ptr<File> PageStore::FileAtMark() {
  return std::make_unique<internal::FileAtMark>(impl_->undo, impl_->stored, entries_, page_size_);
}

namespace {
constexpr const char* kMoved = "replaced, moved or deleted";
}

void PageStore::CheckUnchanged() {
  Impl& impl = *impl_;
  const char* what = nullptr;
  if (!impl.file().IsInPlace()) {
    what = kMoved;
  } else if (impl.file().Stamp() != impl.stamp) {
    what = "changed";
  }
  if (what != nullptr) ThrowLost(what);
}

void PageStore::ThrowLost(const char* what) {
  impl_->state = Impl::State::kBroken;
  impl_->lost = true;
  impl_->journal().Drop();
  journal_waits_ = false;
  throw Error(ErrorKind::kIo,
              fmt::format("The file {} was {} by another program while it was being worked on. What was done "
                          "here is lost; the file is left as it is now.",
                          impl_->file().path(), what));
}

void PageStore::Commit(bool applying) {
  ++epoch_;
  CheckUnchanged();
  impl_->stored.SaveAll();
  try {
    impl_->stored.Commit(counts_.pages, applying ? Journal::Phase::kApplying : Journal::Phase::kCommitted);
  } catch (...) {
    impl_->state = Impl::State::kBroken;
    impl_->in_doubt = !impl_->journal().Abandon();
    throw;
  }
  counts_.changed = 0;
  journal_waits_ = true;
  StartMark();
}

void PageStore::Apply() {
  try {
    CheckUnchanged();
    impl_->journal().BeginApplying(impl_->stored.Persisted());
    impl_->stored.Apply();
    impl_->stamp = impl_->file().Stamp();
    // It may have happened while pages were written.
    if (!impl_->file().IsInPlace()) ThrowLost(kMoved);
  } catch (const Error& error) {
    impl_->state = Impl::State::kBroken;
    if (impl_->lost) throw;
    throw Error(
        error.kind(),
        fmt::format("{} What was done is kept in the journal {}. It gets to the database the next time "
                    "that is opened for writing.",
                    error.what(), impl_->journal().path()));
  }
  journal_waits_ = false;
  impl_->stored.set_file_pages(counts_.pages);
}

Durability PageStore::durability() const {
  if (impl_->lost) return Durability::kLost;
  if (counts_.changed == 0) return Durability::kAll;
  return impl_->in_doubt ? Durability::kUnknown : Durability::kPersisted;
}

void PageStore::Persist() {
  RequireNoStatement();
  if (counts_.changed == 0) {
    Mark();
    return;
  }
  RequireWritable();
  if (impl_->journal().bytes() > impl_->options.journal_bytes) {
    TryCheckpoint(false);
  } else {
    Commit(false);
  }
}

void PageStore::Checkpoint() {
  RequireNoStatement();
  if (!has_changes()) return;
  RequireWritable();
  if (TryCheckpoint(true)) return;
  throw Error(ErrorKind::kLocked,
              fmt::format("The file {} is being read by another program and could not be brought up to date. "
                          "What was done is kept in the journal {}. It gets to the database the next time "
                          "that is opened for writing.",
                          impl_->file().path(), impl_->journal().path()));
}

// Brings the file up to date unless somebody is reading it. What was done is durable either way.
bool PageStore::TryCheckpoint(bool patiently) {
  const bool alone = impl_->file().LockContent(patiently);
  try {
    if (counts_.changed != 0) {
      Commit(alone);
    } else {
      StartMark();
    }
    if (alone) Apply();
  } catch (...) {
    impl_->file().ShareContent();
    throw;
  }
  impl_->file().ShareContent();
  return alone;
}

void PageStore::ReadSaved(PageNo page, MutableBytes out) {
  impl_->file().Read(std::uint64_t{page} * page_size_, out);
}

File& PageStore::file() { return impl_->file(); }

void PageStore::CutOff(PageNo pages) {
  RequireNoStatement();
  RequireWritable();
  if (has_changes())
    throw Error(ErrorKind::kInvalid, "A file cannot be cut off before its changes are saved.");
  if (pages >= counts_.pages) return;
  BeginEra();
  CheckUnchanged();
  // Whoever is reading may be about to find the pages useless, and has to find them.
  if (!impl_->file().LockContent(true)) return;
  impl_->file().Truncate(std::uint64_t{pages} * page_size_);
  for (std::size_t page = pages; page < entries_.size(); ++page) impl_->stored.Drop(entries_[page], 0);
  if (entries_.size() > pages) entries_.resize(pages);
  counts_.pages = pages;
  impl_->stored.set_file_pages(pages);
  StartMark();
  impl_->file().SyncAll();
  impl_->stamp = impl_->file().Stamp();
  impl_->file().ShareContent();
}

}  // namespace jet
