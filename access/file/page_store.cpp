#include "access/file/page_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "access/file/journal.h"
#include "access/file/page_slots.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace jet {

using internal::Frame;
using internal::Journal;
using internal::PageEntry;

namespace {

// What the system can map in one piece. Taken in small ones, the memory of a cache costs more than reading
// the pages that it is for.
constexpr std::size_t kLargePage = 2u << 20;

struct LargeDelete {
  void operator()(std::uint8_t* data) const { ::operator delete[](data, std::align_val_t{kLargePage}); }
};
using LargeBytes = std::unique_ptr<std::uint8_t[], LargeDelete>;

LargeBytes NewLargeBytes(std::size_t size) {
  LargeBytes bytes(static_cast<std::uint8_t*>(::operator new[](size, std::align_val_t{kLargePage})));
#ifdef __linux__
  madvise(bytes.get(), size, MADV_HUGEPAGE);  // no more than a wish
#endif
  return bytes;
}

}  // namespace

struct PageStore::Impl {
  // Frames come in blocks: the first one is small, as many a file is.
  static constexpr std::size_t kFirstFrames = 64;
  struct Block {
    LargeBytes data;
    std::unique_ptr<Frame[]> frames;
  };
  struct UndoImage {
    PageNo page;
    std::uint32_t slot;
  };
  // How many places of the clock are looked at for pages to spill with one that has to.
  static constexpr std::size_t kSpillAhead = 64;

  Impl(FileSystem& file_system, std::unique_ptr<File> database, std::string journal_path,
       std::uint32_t page_bytes, const PageStoreOptions& opts)
      : file(std::move(database)),
        journal(file_system, std::move(journal_path), page_bytes),
        options(opts),
        page_size(page_bytes),
        frame_limit(std::max<std::size_t>(opts.cache_bytes / page_bytes, 8)),
        undo(page_bytes, opts.undo_bytes) {}

  std::unique_ptr<File> file;
  Journal journal;
  PageStoreOptions options;
  std::uint32_t page_size;
  PageNo file_pages = 0;  // of the file itself
  bool broken = false;

  std::size_t frame_limit;
  std::vector<Block> blocks;
  std::vector<Frame*> frames;  // all of them, in the order of the clock
  std::vector<Frame*> free_frames;
  std::size_t hand = 0;

  // The statement scope: what the pages were at its begin.
  std::uint32_t statement = 0;
  PageNo statement_pages = 0;
  std::vector<PageNo> undo_clean;                  // was as persisted last
  std::vector<internal::JournalPage> undo_stored;  // stood in the journal
  std::vector<UndoImage> undo_images;              // stood in the cache alone
  std::vector<internal::Slot> released;            // since then; held what pages were in between
  internal::PageSlots undo;

  // Every page in memory has room before it for what the journal puts there.
  void AddBlock(std::size_t count) {
    const std::size_t stride = Journal::kPrefixBytes + page_size;
    Block block{NewLargeBytes(count * stride), std::make_unique<Frame[]>(count)};
    for (std::size_t i = count; i-- > 0;) {
      Frame* frame = &block.frames[i];
      frame->data = block.data.get() + i * stride + Journal::kPrefixBytes;
      frame->size = page_size;
      frames.push_back(frame);
      free_frames.push_back(frame);
    }
    blocks.push_back(std::move(block));
  }

  // A frame that stands for no page. Past the ceiling it is taken from a page that nobody holds; only when
  // all are held does the cache grow beyond it.
  Frame* TakeFrame(std::vector<PageEntry>& entries) {
    if (free_frames.empty()) {
      if (frames.size() < frame_limit) {
        const std::size_t count =
            frames.empty() ? kFirstFrames : kLargePage / (Journal::kPrefixBytes + page_size);
        AddBlock(std::min(count, frame_limit - frames.size()));
      } else if (Frame* victim = FindVictim()) {
        Evict(victim, entries);
        return victim;
      } else {
        AddBlock(8);
      }
    }
    Frame* frame = free_frames.back();
    free_frames.pop_back();
    return frame;
  }

  Frame* FindVictim() {
    // `use` has at most three bits: after four rounds every frame that nobody holds has been at 0.
    for (std::size_t step = 0; step < frames.size() * 4; ++step) {
      Frame* frame = frames[hand];
      hand = hand + 1 == frames.size() ? 0 : hand + 1;
      if (frame->pins != 0) continue;
      if (!frame->attached || frame->use == 0) return frame;
      frame->use >>= 1;
    }
    return nullptr;
  }

  void Evict(Frame* frame, std::vector<PageEntry>& entries) {
    if (!frame->attached) return;
    if (frame->unsaved) Spill(frame, entries);
    Detach(frame, entries[frame->page]);
  }

  // Writes a page to the journal, and with it those that the clock will come to soon: together they cost
  // little more than one.
  void Spill(Frame* frame, std::vector<PageEntry>& entries) {
    std::vector<Journal::Unsaved> pages = {{frame->page, Record(frame)}};
    std::size_t next = hand;
    for (std::size_t step = 0; step < kSpillAhead && step < frames.size(); ++step) {
      Frame* const other = frames[next];
      next = next + 1 == frames.size() ? 0 : next + 1;
      if (other != frame && other->attached && other->unsaved && other->pins == 0 && other->use == 0) {
        pages.push_back({other->page, Record(other)});
      }
    }
    Save(&pages, entries);
  }

  // Writes a page to the journal which the statement is about to change, and with it those behind it that it
  // may come to.
  void SpillAsItWas(PageNo page, std::vector<PageEntry>& entries) {
    std::vector<Journal::Unsaved> pages;
    const auto end = static_cast<PageNo>(std::min<std::size_t>(page + kSpillAhead, statement_pages));
    for (; page < end && page < entries.size(); ++page) {
      const PageEntry& entry = entries[page];
      if (entry.frame != nullptr && entry.frame->unsaved && entry.statement != statement) {
        pages.push_back({page, Record(entry.frame)});
      }
    }
    Save(&pages, entries);
  }

  void Save(std::vector<Journal::Unsaved>* pages, std::vector<PageEntry>& entries) {
    journal.Write(*pages);
    for (const Journal::Unsaved& item : *pages) {
      PageEntry& entry = entries[item.page];
      if (entry.stored != entry.persisted && !entry.held) {
        journal.Release(entry.stored);
        released.push_back(entry.stored);
      }
      entry.held = false;
      entry.stored = item.slot;
      entry.frame->unsaved = false;
      entry.frame->write_epoch = 0;
    }
  }

  static void Detach(Frame* frame, PageEntry& entry) {
    entry.frame = nullptr;
    frame->attached = false;
    frame->unsaved = false;
    frame->write_epoch = 0;
  }

  static void Attach(Frame* frame, PageNo page, PageEntry& entry) {
    entry.frame = frame;
    frame->page = page;
    frame->attached = true;
    frame->unsaved = false;
    frame->write_epoch = 0;
    frame->use = 1;
  }

  static std::uint8_t* Record(Frame* frame) { return frame->data - Journal::kPrefixBytes; }

  // The page is no more, or is again what stands in the slot.
  void Drop(PageEntry& entry, internal::Slot slot) {
    if (entry.stored != slot) {
      journal.GiveUp(entry.stored);
      journal.Release(entry.stored);
    }
    entry.stored = slot;
    entry.held = false;
    if (Frame* frame = entry.frame) {
      Detach(frame, entry);
      // A frame that is still held is found by the clock once it is let go.
      if (frame->pins == 0) free_frames.push_back(frame);
    }
  }

  // The same for a page whose handles stay valid.
  void GoBack(PageNo page, PageEntry& entry, internal::Slot slot) {
    Frame* const frame = entry.frame;
    Drop(entry, slot);
    if (frame == nullptr || frame->pins == 0) return;
    Attach(frame, page, entry);
    ReadStored(page, entry, frame);
  }

  void ReadStored(PageNo page, const PageEntry& entry, Frame* frame) {
    if (entry.stored != 0) {
      journal.Read(entry.stored, Record(frame));
    } else {
      file->Read(std::uint64_t{page} * page_size, {frame->data, page_size});
    }
  }

  // From what was persisted last.
  static bool IsChanged(const PageEntry& entry) {
    return entry.stored != entry.persisted || (entry.frame != nullptr && entry.frame->unsaved);
  }

  void Commit(std::vector<PageEntry>& entries, PageNo page_count, Journal::Phase phase) {
    std::vector<Journal::Unsaved> unsaved;
    std::vector<internal::Slot> old_slots;
    for (PageNo page = 0; page < entries.size(); ++page) {
      const PageEntry& entry = entries[page];
      if (!IsChanged(entry)) continue;
      if (entry.persisted != 0) old_slots.push_back(entry.persisted);
      if (entry.frame != nullptr && entry.frame->unsaved) unsaved.push_back({page, Record(entry.frame)});
    }
    Save(&unsaved, entries);
    std::vector<internal::JournalPage> changed;
    for (PageNo page = 0; page < entries.size(); ++page) {
      if (entries[page].stored != 0) changed.push_back({page, entries[page].stored});
    }
    journal.Commit(*file, file_pages, page_count, changed, phase);
    for (const internal::Slot slot : old_slots) journal.Release(slot);
    for (PageEntry& entry : entries) entry.persisted = entry.stored;
  }

  // Writes what was persisted to the file.
  void WritePersisted(const std::vector<PageEntry>& entries, PageNo from, PageNo to) {
    internal::RunWriter writer(*file, 0, page_size);
    std::vector<std::uint8_t> record(Journal::kPrefixBytes + page_size);
    for (PageNo page = from; page < to; ++page) {
      const PageEntry& entry = entries[page];
      if (entry.persisted == 0) continue;
      if (entry.frame != nullptr && !IsChanged(entry)) {
        std::memcpy(writer.Add(page), entry.frame->data, page_size);
      } else {
        journal.Read(entry.persisted, record.data());
        std::memcpy(writer.Add(page), record.data() + Journal::kPrefixBytes, page_size);
      }
    }
    writer.Flush();
  }

  void Apply(std::vector<PageEntry>& entries) {
    const auto known = static_cast<PageNo>(entries.size());
    const PageNo old = std::min(file_pages, known);
    // First the new pages: a full disk shows before anything old is overwritten.
    try {
      WritePersisted(entries, old, known);
    } catch (const Error&) {
      file->Truncate(std::uint64_t{file_pages} * page_size);
      throw;
    }
    WritePersisted(entries, 0, old);
    file->Sync();
    journal.Finish();
    for (PageEntry& entry : entries) entry.stored = entry.persisted = 0;
  }
};

PageStore::PageStore(FileSystem& files, std::unique_ptr<File> file, std::string journal_path, bool writable,
                     std::uint32_t page_size, const PageStoreOptions& options)
    : page_size_(page_size),
      writable_(writable),
      impl_(std::make_unique<Impl>(files, std::move(file), std::move(journal_path), page_size, options)) {
  Impl& impl = *impl_;
  if (const auto waiting = impl.journal.Recover(*impl.file, writable)) {
    impl.file_pages = waiting->file_pages;
    page_count_ = waiting->pages;
    entries_.resize(page_count_);
    for (const internal::JournalPage& item : waiting->changed) {
      entries_[item.page].stored = entries_[item.page].persisted = item.slot;
    }
    if (!writable) return;
    Apply();
  }
  const std::uint64_t size = impl.file->Size();
  if (size % page_size != 0 || size / page_size > 0xFFFFFFFFu) {
    throw Error(
        ErrorKind::kCorrupt,
        fmt::format("The file is damaged: its size of {} bytes is not a whole number of pages of {} bytes.",
                    size, page_size));
  }
  page_count_ = impl.file_pages = static_cast<PageNo>(size / page_size);
}

PageStore::~PageStore() {
  if (journal_waits_ && !impl_->broken) {
    try {
      Apply();
    } catch (const std::exception&) {
      // The journal stays, and the next open does it.
    }
  }
  impl_->journal.Discard();
}

void PageStore::RequireWritable() const {
  if (!writable_) throw Error(ErrorKind::kReadOnly, "The database is open for reading only.");
  if (impl_->broken) {
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
  if (page >= page_count_) {
    ThrowCorrupt(fmt::format("it lies past the end of the file, which has {} pages", page_count_), page);
  }
  if (page >= entries_.size()) {
    const std::size_t doubled = std::min<std::size_t>(entries_.size() * 2, page_count_);
    entries_.resize(std::max<std::size_t>(page + std::size_t{1}, doubled));
  }
  if (Frame* frame = entries_[page].frame) return frame;
  Frame* frame = impl_->TakeFrame(entries_);
  PageEntry& entry = entries_[page];
  try {
    impl_->ReadStored(page, entry, frame);
  } catch (...) {
    impl_->free_frames.push_back(frame);
    throw;
  }
  Impl::Attach(frame, page, entry);
  return frame;
}

Frame* PageStore::NoteAndWrite(PageNo page) {
  RequireWritable();
  Frame* frame = Load(page);
  PageEntry& entry = entries_[page];
  const bool changed = impl_->IsChanged(entry);
  if (in_statement_ && page < impl_->statement_pages && entry.statement != impl_->statement) {
    if (frame->unsaved && impl_->undo.full()) impl_->SpillAsItWas(page, entries_);
    if (!changed) {
      impl_->undo_clean.push_back(page);
    } else if (!frame->unsaved) {
      impl_->undo_stored.push_back({page, entry.stored});
      entry.held = true;
    } else {
      impl_->undo_images.push_back({page, impl_->undo.Add(frame->data)});
    }
    entry.statement = impl_->statement;
  }
  if (!changed) {
    ++changed_pages_;
    if (entry.persisted == 0) Journal::NoteFileContent(page, Impl::Record(frame), page_size_);
  }
  frame->unsaved = true;
  frame->write_epoch = epoch_;
  frame->use |= 7;  // a changed page costs a write to spill: clean ones go first
  return frame;
}

MutablePageRef PageStore::Append() {
  RequireWritable();
  const PageNo page = page_count_;
  if ((std::uint64_t{page} + 1) * page_size_ > impl_->options.max_file_bytes) {
    throw Error(ErrorKind::kFull, fmt::format("The database has reached its largest size of {} bytes.",
                                              impl_->options.max_file_bytes));
  }
  if (page >= entries_.size())
    entries_.resize(std::max<std::size_t>(page + 1, entries_.size() + entries_.size() / 4));
  Frame* frame = impl_->TakeFrame(entries_);
  std::memset(Impl::Record(frame), 0, Journal::kPrefixBytes + page_size_);
  Impl::Attach(frame, page, entries_[page]);
  frame->unsaved = true;
  frame->write_epoch = epoch_;
  frame->use = 7;
  ++page_count_;
  ++changed_pages_;
  return MutablePageRef(frame);
}

void PageStore::BeginStatement() {
  if (in_statement_) throw Error(ErrorKind::kInvalid, "A statement is under way already.");
  ++epoch_;
  in_statement_ = true;
  impl_->released.clear();
  impl_->statement_pages = page_count_;
  if (++impl_->statement == 0) {  // wrapped: old notes must not look like this statement's
    for (PageEntry& entry : entries_) entry.statement = 0;
    impl_->statement = 1;
  }
}

void PageStore::CommitStatement() {
  ++epoch_;
  in_statement_ = false;
  impl_->undo_clean.clear();
  for (const internal::JournalPage& undo : impl_->undo_stored) {
    PageEntry& entry = entries_[undo.page];
    if (entry.stored != undo.slot) impl_->journal.Release(undo.slot);
    entry.held = false;
  }
  impl_->undo_stored.clear();
  if (!impl_->undo_images.empty()) {
    impl_->undo_images.clear();
    impl_->undo.Clear();
  }
}

void PageStore::RollbackStatement() noexcept {
  try {
    if (in_statement_) Undo();
  } catch (const std::exception&) {
    impl_->broken = true;
  }
  CommitStatement();
}

void PageStore::Undo() {
  for (const internal::Slot slot : impl_->released) impl_->journal.GiveUp(slot);
  // First what frees frames and slots, so that what follows needs no new ones.
  for (PageNo page = impl_->statement_pages; page < page_count_; ++page) {
    impl_->Drop(entries_[page], 0);
    --changed_pages_;
  }
  page_count_ = impl_->statement_pages;
  if (entries_.size() > page_count_) entries_.resize(page_count_);
  for (const PageNo page : impl_->undo_clean) {
    impl_->GoBack(page, entries_[page], entries_[page].persisted);
    --changed_pages_;
  }
  for (const internal::JournalPage& undo : impl_->undo_stored) {
    impl_->GoBack(undo.page, entries_[undo.page], undo.slot);
  }
  std::vector<std::uint8_t> record(Journal::kPrefixBytes + page_size_);
  for (const Impl::UndoImage& undo : impl_->undo_images) {
    PageEntry& entry = entries_[undo.page];
    if (Frame* frame = entry.frame) {
      impl_->undo.Read(undo.slot, frame->data);
      frame->unsaved = true;
    } else {
      impl_->journal.Read(entry.stored, record.data());
      impl_->undo.Read(undo.slot, record.data() + Journal::kPrefixBytes);
      impl_->journal.Rewrite(entry.stored, undo.page, record.data());
    }
  }
}

void PageStore::Commit(bool applying) {
  ++epoch_;
  try {
    impl_->Commit(entries_, page_count_, applying ? Journal::Phase::kApplying : Journal::Phase::kCommitted);
  } catch (...) {
    impl_->broken = true;
    impl_->journal.Abandon();
    throw;
  }
  changed_pages_ = 0;
  journal_waits_ = true;
}

void PageStore::Apply() {
  try {
    impl_->journal.BeginApplying();
    impl_->Apply(entries_);
  } catch (const Error& error) {
    impl_->broken = true;
    throw Error(
        error.kind(),
        fmt::format("{} What was done is kept in the journal {}. It gets to the database the next time "
                    "that is opened for writing.",
                    error.what(), impl_->journal.path()));
  }
  journal_waits_ = false;
  impl_->file_pages = page_count_;
}

void PageStore::Persist() {
  RequireNoStatement();
  if (changed_pages_ == 0) return;
  RequireWritable();
  if (impl_->journal.bytes() > impl_->options.journal_bytes) {
    Checkpoint();
  } else {
    Commit(false);
  }
}

void PageStore::Checkpoint() {
  RequireNoStatement();
  if (!has_changes()) return;
  RequireWritable();
  if (changed_pages_ != 0) Commit(true);
  Apply();
}

}  // namespace jet
