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
  // How pages are brought back to what they were: at the begin of a statement, at a mark.
  struct Undo {
    struct Stored {
      PageNo page;
      internal::Slot slot;
      bool marked;  // the slot is what the page was at the mark
    };
    struct Image {
      PageNo page;
      std::uint32_t slot;
      const internal::PageSlots* images;
    };
    PageNo pages = 0;            // how many there were
    PageNo changed = 0;          // from what was persisted last
    std::vector<PageNo> clean;   // was as persisted last
    std::vector<Stored> stored;  // stood in the journal
    std::vector<Image> images;   // stood in the cache alone

    void Clear() {
      clean.clear();
      stored.clear();
      images.clear();
    }
  };
  // Whether the store can go on after a failure.
  enum class State {
    kSound,
    kTorn,    // a statement was taken back in part: not before a revert
    kBroken,  // no
  };
  // How many places of the clock are looked at for pages to spill with one that has to.
  static constexpr std::size_t kSpillAhead = 64;

  Impl(FileSystem& file_system, std::unique_ptr<File> database, std::string journal_path,
       std::uint32_t page_bytes, const PageStoreOptions& opts)
      : file(std::move(database)),
        journal(file_system, *file, std::move(journal_path), page_bytes),
        options(opts),
        page_size(page_bytes),
        frame_limit(std::max<std::size_t>(opts.cache_bytes / page_bytes, 8)),
        statement_images(page_bytes, opts.undo_bytes),
        mark_images(page_bytes, opts.undo_bytes) {}

  std::unique_ptr<File> file;
  Journal journal;
  PageStoreOptions options;
  std::uint32_t page_size;
  PageNo file_pages = 0;  // of the file itself
  FileStamp stamp;        // of the file as we opened or left it
  State state = State::kSound;
  bool lost = false;      // the file is no longer ours, and what was done is nowhere
  bool in_doubt = false;  // whether the commit that failed will be found

  std::size_t frame_limit;
  std::vector<Block> blocks;
  std::vector<Frame*> frames;  // all of them, in the order of the clock
  std::vector<Frame*> free_frames;
  std::size_t hand = 0;

  std::uint32_t statement = 0;
  Undo of_statement;
  internal::PageSlots statement_images;
  std::uint32_t mark = 1;
  Undo of_mark;
  internal::PageSlots mark_images;  // a statement that changes a page first shares its image
  // Slots that were released since the mark, and from which on since the statement began. They hold what
  // pages were in between.
  std::vector<internal::Slot> released;
  std::size_t released_before_statement = 0;

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

  // Writes a page to the journal which is about to change, and with it those behind it that may be too and
  // that, like it, are not `noted`. `end`: the number of pages in question.
  template <typename Noted>
  void SpillAsItWas(PageNo page, PageNo end, Noted noted, std::vector<PageEntry>& entries) {
    std::vector<Journal::Unsaved> pages;
    end = std::min<std::size_t>({page + kSpillAhead, end, entries.size()});
    for (; page < end; ++page) {
      const PageEntry& entry = entries[page];
      if (entry.frame != nullptr && entry.frame->unsaved && !noted(entry)) {
        pages.push_back({page, Record(entry.frame)});
      }
    }
    Save(&pages, entries);
  }

  void Release(internal::Slot slot) {
    journal.Release(slot);
    released.push_back(slot);
  }

  void Save(std::vector<Journal::Unsaved>* pages, std::vector<PageEntry>& entries) {
    journal.Write(*pages);
    for (const Journal::Unsaved& item : *pages) {
      PageEntry& entry = entries[item.page];
      if (entry.stored != entry.persisted && !entry.held && !entry.marked) Release(entry.stored);
      entry.held = entry.marked = false;
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
    entry.held = entry.marked = false;
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

  // Brings all pages back, and the page count. Slots from that place of `released` on hold what is not to be
  // found again.
  void TakeBack(const Undo& undo, std::size_t first_released, std::vector<PageEntry>& entries,
                PageNo* page_count) {
    for (std::size_t i = first_released; i < released.size(); ++i) journal.GiveUp(released[i]);
    // First what frees frames and slots, so that what follows needs no new ones.
    for (PageNo page = undo.pages; page < *page_count; ++page) Drop(entries[page], 0);
    *page_count = undo.pages;
    if (entries.size() > undo.pages) entries.resize(undo.pages);
    for (const PageNo page : undo.clean) GoBack(page, entries[page], entries[page].persisted);
    for (const Undo::Stored& item : undo.stored) {
      GoBack(item.page, entries[item.page], item.slot);
      entries[item.page].marked = item.marked;
    }
    std::vector<std::uint8_t> record(Journal::kPrefixBytes + page_size);
    for (const Undo::Image& image : undo.images) {
      PageEntry& entry = entries[image.page];
      if (entry.frame == nullptr && !free_frames.empty()) {
        Attach(free_frames.back(), image.page, entry);
        free_frames.pop_back();
        ReadStored(image.page, entry, entry.frame);  // what stands before the page stays what it was
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

  // Writes to the journal what stands in the cache alone.
  void SaveAll(std::vector<PageEntry>& entries) {
    std::vector<Journal::Unsaved> unsaved;
    for (PageNo page = 0; page < entries.size(); ++page) {
      const PageEntry& entry = entries[page];
      if (entry.frame != nullptr && entry.frame->unsaved) unsaved.push_back({page, Record(entry.frame)});
    }
    Save(&unsaved, entries);
  }

  // The pages that differ from the file, all of which are in the journal.
  static std::vector<internal::JournalPage> InJournal(const std::vector<PageEntry>& entries) {
    std::vector<internal::JournalPage> changed;
    for (PageNo page = 0; page < entries.size(); ++page) {
      if (entries[page].stored != 0) changed.push_back({page, entries[page].stored});
    }
    return changed;
  }

  void Commit(std::vector<PageEntry>& entries, PageNo page_count, Journal::Phase phase) {
    std::vector<internal::Slot> old_slots;
    for (const PageEntry& entry : entries) {
      if (entry.persisted != 0 && IsChanged(entry)) old_slots.push_back(entry.persisted);
    }
    journal.Commit(file_pages, page_count, InJournal(entries), phase);
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
    const PageNo known = entries.size();
    const PageNo old = std::min(file_pages, known);
    // First the new pages: a full disk shows before anything old is overwritten.
    try {
      WritePersisted(entries, old, known);
    } catch (const Error&) {
      file->Truncate(std::uint64_t{file_pages} * page_size);
      throw;
    }
    WritePersisted(entries, 0, old);
    file->SyncAll();
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
  impl.stamp = impl.file->Stamp();
  if (const auto waiting = impl.journal.Recover(writable)) {
    impl.file_pages = waiting->file_pages;
    page_count_ = waiting->pages;
    entries_.resize(page_count_);
    for (const internal::JournalPage& item : waiting->changed) {
      entries_[item.page].stored = entries_[item.page].persisted = item.slot;
    }
    if (!writable) return;
    if (!impl.file->LockContent(true)) {
      throw Error(
          ErrorKind::kLocked,
          fmt::format("The file {} has to be brought up to date from its journal, and another program "
                      "is reading it.",
                      impl.file->path()));
    }
    Apply();
    impl.file->ShareContent();
  }
  const std::uint64_t size = impl.file->Size();
  if (size % page_size != 0 || size / page_size > 0xFFFFFFFFu) {
    throw Error(
        ErrorKind::kCorrupt,
        fmt::format("The file is damaged: its size of {} bytes is not a whole number of pages of {} bytes.",
                    size, page_size));
  }
  page_count_ = impl.file_pages = size / page_size;
  StartMark();
}

PageStore::~PageStore() {
  if (journal_waits_ && impl_->state == Impl::State::kSound) {
    try {
      if (impl_->file->LockContent(false)) Apply();
    } catch (const std::exception&) {
      // The journal stays, and the next open does it.
    }
  }
  impl_->journal.Discard();
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

// Notes how to undo a page that is about to change. What a statement finds of a page that has not changed
// since the mark is what it was then, too.
void PageStore::Note(PageNo page, Frame* frame, bool changed, bool for_mark, bool for_statement) {
  Impl& impl = *impl_;
  PageEntry& entry = entries_[page];
  internal::PageSlots& images = for_mark ? impl.mark_images : impl.statement_images;
  if (frame->unsaved && images.full()) {
    const Impl::Undo& undo = for_mark ? impl.of_mark : impl.of_statement;
    impl.SpillAsItWas(
        page, undo.pages,
        [&](const PageEntry& other) {
          return for_mark ? other.mark == impl.mark : other.statement == impl.statement;
        },
        entries_);
  }
  const bool in_cache = frame->unsaved;
  const std::uint32_t image = in_cache ? images.Add(frame->data) : 0;
  const auto add = [&](Impl::Undo& undo) {
    if (!changed) {
      undo.clean.push_back(page);
    } else if (in_cache) {
      undo.images.push_back({page, image, &images});
    } else {
      undo.stored.push_back({page, entry.stored, entry.marked});
    }
  };
  if (for_mark) {
    add(impl.of_mark);
    entry.mark = impl.mark;
    entry.marked = changed && !in_cache;
  }
  if (for_statement) {
    add(impl.of_statement);
    entry.statement = impl.statement;
    entry.held = changed && !in_cache;
  }
}

Frame* PageStore::NoteAndWrite(PageNo page) {
  RequireWritable();
  Frame* frame = Load(page);
  PageEntry& entry = entries_[page];
  const bool changed = impl_->IsChanged(entry);
  const bool for_mark = page < impl_->of_mark.pages && entry.mark != impl_->mark;
  const bool for_statement =
      in_statement_ && page < impl_->of_statement.pages && entry.statement != impl_->statement;
  if (for_mark || for_statement) Note(page, frame, changed, for_mark, for_statement);
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
    throw Error(ErrorKind::kIo, fmt::format("The database has reached its largest size of {} bytes.",
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
  impl_->released_before_statement = impl_->released.size();
  impl_->of_statement.pages = page_count_;
  impl_->of_statement.changed = changed_pages_;
  if (++impl_->statement == 0) {  // wrapped: old notes must not look like this statement's
    for (PageEntry& entry : entries_) entry.statement = 0;
    impl_->statement = 1;
  }
}

void PageStore::CommitStatement() {
  ++epoch_;
  in_statement_ = false;
  Impl::Undo& undo = impl_->of_statement;
  for (const Impl::Undo::Stored& item : undo.stored) {
    PageEntry& entry = entries_[item.page];
    if (entry.stored != item.slot && !item.marked) impl_->Release(item.slot);
    entry.held = false;
  }
  undo.Clear();
  impl_->statement_images.Clear();
}

void PageStore::RollbackStatement() noexcept {
  try {
    if (in_statement_) {
      impl_->TakeBack(impl_->of_statement, impl_->released_before_statement, entries_, &page_count_);
      changed_pages_ = impl_->of_statement.changed;
    }
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
  Impl::Undo& undo = impl_->of_mark;
  for (const Impl::Undo::Stored& item : undo.stored) {
    PageEntry& entry = entries_[item.page];
    if (entry.stored != item.slot) impl_->journal.Release(item.slot);
    entry.marked = false;
  }
  undo.Clear();
  undo.pages = page_count_;
  undo.changed = changed_pages_;
  impl_->mark_images.Clear();
  impl_->released.clear();
  constexpr std::uint32_t kLastMark = (1u << 30) - 1;
  if (impl_->mark++ == kLastMark) {
    for (PageEntry& entry : entries_) entry.mark = 0;
    impl_->mark = 1;
  }
}

void PageStore::RevertToMark() {
  if (!writable_) return;
  if (impl_->state == Impl::State::kBroken) RequireWritable();
  // The notes of the mark are those of the statement as well.
  if (in_statement_) CommitStatement();
  impl_->state = Impl::State::kBroken;
  impl_->TakeBack(impl_->of_mark, 0, entries_, &page_count_);
  changed_pages_ = impl_->of_mark.changed;
  impl_->journal.Recycle();
  StartMark();
  impl_->state = Impl::State::kSound;
}

namespace {
constexpr const char* kMoved = "replaced, moved or deleted";
}

void PageStore::CheckUnchanged() {
  Impl& impl = *impl_;
  const char* what = nullptr;
  if (!impl.file->IsInPlace()) {
    what = kMoved;
  } else if (impl.file->Stamp() != impl.stamp) {
    what = "changed";
  }
  if (what != nullptr) ThrowLost(what);
}

void PageStore::ThrowLost(const char* what) {
  impl_->state = Impl::State::kBroken;
  impl_->lost = true;
  impl_->journal.Drop();
  journal_waits_ = false;
  throw Error(ErrorKind::kIo,
              fmt::format("The file {} was {} by another program while it was being worked on. What was done "
                          "here is lost; the file is left as it is now.",
                          impl_->file->path(), what));
}

void PageStore::Commit(bool applying) {
  ++epoch_;
  CheckUnchanged();
  impl_->SaveAll(entries_);
  try {
    impl_->Commit(entries_, page_count_, applying ? Journal::Phase::kApplying : Journal::Phase::kCommitted);
  } catch (...) {
    impl_->state = Impl::State::kBroken;
    impl_->in_doubt = !impl_->journal.Abandon();
    throw;
  }
  changed_pages_ = 0;
  journal_waits_ = true;
  StartMark();
}

void PageStore::Apply() {
  try {
    CheckUnchanged();
    impl_->journal.BeginApplying(Impl::InJournal(entries_));
    impl_->Apply(entries_);
    impl_->stamp = impl_->file->Stamp();
    // It may have happened while pages were written.
    if (!impl_->file->IsInPlace()) ThrowLost(kMoved);
  } catch (const Error& error) {
    impl_->state = Impl::State::kBroken;
    if (impl_->lost) throw;
    throw Error(
        error.kind(),
        fmt::format("{} What was done is kept in the journal {}. It gets to the database the next time "
                    "that is opened for writing.",
                    error.what(), impl_->journal.path()));
  }
  journal_waits_ = false;
  impl_->file_pages = page_count_;
}

Durability PageStore::durability() const {
  if (impl_->lost) return Durability::kLost;
  if (changed_pages_ == 0) return Durability::kAll;
  return impl_->in_doubt ? Durability::kUnknown : Durability::kPersisted;
}

void PageStore::Persist() {
  RequireNoStatement();
  if (changed_pages_ == 0) {
    Mark();
    return;
  }
  RequireWritable();
  if (impl_->journal.bytes() > impl_->options.journal_bytes) {
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
                          impl_->file->path(), impl_->journal.path()));
}

// Brings the file up to date unless somebody is reading it. What was done is durable either way.
bool PageStore::TryCheckpoint(bool patiently) {
  const bool alone = impl_->file->LockContent(patiently);
  try {
    if (changed_pages_ != 0) {
      Commit(alone);
    } else {
      StartMark();
    }
    if (alone) Apply();
  } catch (...) {
    impl_->file->ShareContent();
    throw;
  }
  impl_->file->ShareContent();
  return alone;
}

void PageStore::ReadSaved(PageNo page, MutableBytes out) {
  impl_->file->Read(std::uint64_t{page} * page_size_, out);
}

File& PageStore::file() { return *impl_->file; }

void PageStore::CutOff(PageNo pages) {
  RequireNoStatement();
  RequireWritable();
  if (has_changes())
    throw Error(ErrorKind::kInvalid, "A file cannot be cut off before its changes are saved.");
  if (pages >= page_count_) return;
  CheckUnchanged();
  // Whoever is reading may be about to find the pages useless, and has to find them.
  if (!impl_->file->LockContent(true)) return;
  impl_->file->Truncate(std::uint64_t{pages} * page_size_);
  for (std::size_t page = pages; page < entries_.size(); ++page) impl_->Drop(entries_[page], 0);
  if (entries_.size() > pages) entries_.resize(pages);
  page_count_ = impl_->file_pages = pages;
  StartMark();
  impl_->file->SyncAll();
  impl_->stamp = impl_->file->Stamp();
  impl_->file->ShareContent();
}

}  // namespace jet
