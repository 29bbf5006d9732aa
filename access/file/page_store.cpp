#include "access/file/page_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "access/file/journal.h"
#include "access/file/page_slots.h"

namespace jet {

using internal::Frame;
using internal::PageEntry;

struct PageStore::Impl {
  // Frames come in blocks, so that a big cache is not a million allocations.
  static constexpr std::size_t kBlockFrames = 64;
  struct Block {
    std::unique_ptr<std::uint8_t[]> data;
    std::unique_ptr<Frame[]> frames;
  };
  struct UndoImage {
    PageNo page;
    std::uint32_t slot;
  };

  Impl(FileSystem& file_system, std::unique_ptr<File> database, std::string journal, std::uint32_t page_bytes,
       const PageStoreOptions& opts)
      : files(file_system),
        file(std::move(database)),
        journal_path(std::move(journal)),
        options(opts),
        page_size(page_bytes),
        frame_limit(std::max<std::size_t>(opts.cache_bytes / page_bytes, 8)),
        spill(file_system, page_bytes, 0),
        undo(file_system, page_bytes, opts.undo_bytes) {}

  FileSystem& files;
  std::unique_ptr<File> file;
  std::string journal_path;
  PageStoreOptions options;
  std::uint32_t page_size;
  PageNo file_pages = 0;  // at the last checkpoint
  bool broken = false;

  std::size_t frame_limit;
  std::vector<Block> blocks;
  std::vector<Frame*> frames;  // all of them, in the order of the clock
  std::vector<Frame*> free_frames;
  std::size_t hand = 0;
  internal::PageSlots spill;

  // The statement scope: what the pages were at its begin.
  std::uint32_t statement = 0;
  PageNo statement_pages = 0;
  std::vector<PageNo> undo_clean;  // equalled the file
  std::vector<UndoImage> undo_images;
  internal::PageSlots undo;

  void AddBlock(std::size_t count) {
    Block block{std::make_unique_for_overwrite<std::uint8_t[]>(count * page_size),
                std::make_unique<Frame[]>(count)};
    for (std::size_t i = count; i-- > 0;) {
      Frame* frame = &block.frames[i];
      frame->data = block.data.get() + i * page_size;
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
        AddBlock(std::min(kBlockFrames, frame_limit - frames.size()));
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
    PageEntry& entry = entries[frame->page];
    if (frame->unsaved) {
      if (entry.spill != 0) {
        spill.Overwrite(entry.spill - 1, frame->data);
      } else {
        entry.spill = spill.Add(frame->data) + 1;
      }
    }
    Detach(frame, entry);
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

  // The page is no more, or is to be read from the file again.
  void Drop(PageEntry& entry) {
    if (entry.spill != 0) spill.Free(entry.spill - 1);
    entry.spill = 0;
    if (Frame* frame = entry.frame) {
      Detach(frame, entry);
      // A frame that is still held is found by the clock once it is let go.
      if (frame->pins == 0) free_frames.push_back(frame);
    }
  }

  void ReadFromFile(PageNo page, std::uint8_t* out) {
    file->Read(std::uint64_t{page} * page_size, {out, page_size});
  }

  bool IsChanged(const PageEntry& entry) const {
    return entry.spill != 0 || (entry.frame != nullptr && entry.frame->unsaved);
  }

  void CopyChanged(const PageEntry& entry, std::uint8_t* out) {
    if (entry.frame != nullptr) {
      std::memcpy(out, entry.frame->data, page_size);
    } else {
      spill.Read(entry.spill - 1, out);
    }
  }

  void WritePages(const std::vector<PageEntry>& entries, const std::vector<PageNo>& pages) {
    internal::RunWriter writer(*file, page_size);
    for (const PageNo page : pages) CopyChanged(entries[page], writer.Add(page));
    writer.Flush();
  }

  void WriteCheckpoint(const std::vector<PageEntry>& entries, PageNo page_count) {
    std::vector<PageNo> overwritten;
    std::vector<PageNo> appended;
    for (PageNo page = 0; page < entries.size(); ++page) {
      if (IsChanged(entries[page])) (page < file_pages ? overwritten : appended).push_back(page);
    }
    internal::Journal journal(files, journal_path, page_size);
    try {
      journal.Begin(*file, file_pages, page_count, overwritten,
                    [&](PageNo page, std::uint8_t* out) { CopyChanged(entries[page], out); });
      // First the new pages: a full disk shows before anything old is overwritten.
      WritePages(entries, appended);
      WritePages(entries, overwritten);
      file->Sync();
      journal.Finish();
    } catch (...) {
      broken = true;
      journal.Abandon(*file);
      throw;
    }
  }
};

PageStore::PageStore(FileSystem& files, std::unique_ptr<File> file, std::string journal_path, bool writable,
                     std::uint32_t page_size, const PageStoreOptions& options)
    : page_size_(page_size),
      writable_(writable),
      impl_(std::make_unique<Impl>(files, std::move(file), std::move(journal_path), page_size, options)) {
  internal::Journal::RollBackAtOpen(files, impl_->journal_path, *impl_->file, writable, page_size);
  const std::uint64_t size = impl_->file->Size();
  if (size % page_size != 0 || size / page_size > 0xFFFFFFFFu) {
    throw Error(
        ErrorKind::kCorrupt,
        fmt::format("The file is damaged: its size of {} bytes is not a whole number of pages of {} bytes.",
                    size, page_size));
  }
  page_count_ = impl_->file_pages = static_cast<PageNo>(size / page_size);
}

PageStore::~PageStore() = default;

void PageStore::RequireWritable() const {
  if (!writable_) throw Error(ErrorKind::kReadOnly, "The database is open for reading only.");
  if (impl_->broken) {
    throw Error(
        ErrorKind::kIo,
        "Nothing more can be written to the database because an earlier write failed; the file is as it "
        "was at the last checkpoint.");
  }
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
    if (entry.spill != 0) {
      impl_->spill.Read(entry.spill - 1, frame->data);
    } else {
      impl_->ReadFromFile(page, frame->data);
    }
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
    if (changed) {
      impl_->undo_images.push_back({page, impl_->undo.Add(frame->data)});
    } else {
      impl_->undo_clean.push_back(page);
    }
    entry.statement = impl_->statement;
  }
  if (!changed) ++changed_pages_;
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
  std::memset(frame->data, 0, page_size_);
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
  // First what frees frames and slots, so that what follows needs no new ones.
  for (PageNo page = impl_->statement_pages; page < page_count_; ++page) {
    impl_->Drop(entries_[page]);
    --changed_pages_;
  }
  page_count_ = impl_->statement_pages;
  if (entries_.size() > page_count_) entries_.resize(page_count_);
  for (const PageNo page : impl_->undo_clean) {
    PageEntry& entry = entries_[page];
    if (Frame* frame = entry.frame; frame != nullptr && frame->pins != 0) {
      impl_->ReadFromFile(page, frame->data);
      frame->unsaved = false;
      frame->write_epoch = 0;
      if (entry.spill != 0) impl_->spill.Free(entry.spill - 1);
      entry.spill = 0;
    } else {
      impl_->Drop(entry);
    }
    --changed_pages_;
  }
  std::vector<std::uint8_t> image(page_size_);
  for (const Impl::UndoImage& undo : impl_->undo_images) {
    PageEntry& entry = entries_[undo.page];
    if (Frame* frame = entry.frame) {
      impl_->undo.Read(undo.slot, frame->data);
      frame->unsaved = true;
    } else {
      impl_->undo.Read(undo.slot, image.data());
      impl_->spill.Overwrite(entry.spill - 1, image.data());
    }
  }
}

void PageStore::Checkpoint() {
  if (in_statement_)
    throw Error(ErrorKind::kInvalid, "A checkpoint is not possible while a statement is under way.");
  if (changed_pages_ == 0) return;
  RequireWritable();
  ++epoch_;
  impl_->WriteCheckpoint(entries_, page_count_);
  for (PageEntry& entry : entries_) {
    entry.spill = 0;
    if (entry.frame != nullptr) entry.frame->unsaved = false;
  }
  impl_->spill.Clear();
  impl_->file_pages = page_count_;
  changed_pages_ = 0;
}

}  // namespace jet
