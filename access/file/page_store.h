// Pages of one file: a cache with a ceiling, statement scopes that can be undone, and checkpoints that are
// atomic.
//
// Changed pages stay in the cache, and go to a write-ahead journal beside the file past the ceiling.
// Persist() writes the others there too and makes them durable; the file itself is not touched before
// Checkpoint(), which brings it up to date from a journal that is complete and synced, and removes the
// journal. Whenever the process is killed or the disk fills up, the file and its journal together hold what
// was persisted last: the next open for writing brings the file up to date, one for reading reads through the
// journal.
//
// Pages are pinned handles. While any handle on a page lives, its bytes stay at the same address, and a
// handle taken for reading sees what is written through another handle on the same page. No handle may
// outlive the store.
//
// Read() of a page in the cache is the most frequent call of the whole program: it is an array lookup and a
// counter, all in this header.
//
// Not thread-safe: one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "access/base/bytes.h"
#include "access/file/file.h"
#include "access/file/page_frame.h"

namespace jet {

class PageStore;

// A pinned page, to be read.
class PageRef {
 public:
  PageRef() = default;
  PageRef(const PageRef& other) : frame_(other.frame_) {
    if (frame_ != nullptr) ++frame_->pins;
  }
  PageRef(PageRef&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  PageRef& operator=(PageRef other) noexcept {  // NOLINT(performance-unnecessary-value-param)
    std::swap(frame_, other.frame_);
    return *this;
  }
  ~PageRef() {
    if (frame_ != nullptr) --frame_->pins;
  }

  explicit operator bool() const { return frame_ != nullptr; }
  PageNo page_no() const { return frame_->page; }
  Bytes bytes() const { return {frame_->data, frame_->size}; }
  const std::uint8_t* data() const { return frame_->data; }

 protected:
  friend class PageStore;
  explicit PageRef(internal::Frame* frame) : frame_(frame) { ++frame_->pins; }
  internal::Frame* frame_ = nullptr;
};

// A pinned page, to be changed. Taking one marks the page as changed. Changes may be made through it until
// the statement scope (or, outside of one, the time up to the next scope or checkpoint) ends; after that it
// is a handle for reading, and Write() has to be called again.
class MutablePageRef : public PageRef {
 public:
  MutablePageRef() = default;
  MutableBytes mutable_bytes() const { return {frame_->data, frame_->size}; }
  std::uint8_t* mutable_data() const { return frame_->data; }

 private:
  friend class PageStore;
  explicit MutablePageRef(internal::Frame* frame) : PageRef(frame) {}
};

struct PageStoreOptions {
  std::size_t cache_bytes = 32u << 20;
  // Largest file in bytes; growing past it is Error(kIo) before anything is written.
  std::uint64_t max_file_bytes = std::uint64_t{1} << 31;
  // Before-images of a statement that are held in memory; the pages of more go to the journal first.
  std::size_t undo_bytes = 8u << 20;
  // Once the journal has grown past this, Persist() brings the file up to date.
  std::uint64_t journal_bytes = std::uint64_t{1} << 30;
};

enum class Durability {
  kAll,        // everything so far
  kPersisted,  // what was persisted last
  kUnknown,    // one or the other: persisting has failed, and could not be taken back
  kLost,       // nothing: the file was replaced, moved, deleted or changed by somebody else
};

class PageStore {
 public:
  // Takes over an open file. `journal_path` names the journal beside it; when one waits there, a writable
  // file is brought up to date (Error(kCorrupt) when the journal is damaged or does not belong to the file as
  // it is). `page_size` is 4096 or 2048; a file size that is not a whole number of pages is Error(kCorrupt).
  PageStore(FileSystem& files, std::unique_ptr<File> file, std::string journal_path, bool writable,
            std::uint32_t page_size, const PageStoreOptions& options = {});
  // Drops everything since the last Persist() or Checkpoint(). What was persisted before is tried to be
  // brought to the file; the next open does it otherwise.
  ~PageStore();
  PageStore(const PageStore&) = delete;
  PageStore& operator=(const PageStore&) = delete;

  std::uint32_t page_size() const { return page_size_; }
  bool writable() const { return writable_; }
  // Number of pages, those included that the file does not hold yet.
  PageNo page_count() const { return counts_.pages; }

  // Error(kCorrupt) when the page lies past the end.
  PageRef Read(PageNo page) {
    if (page < entries_.size()) {
      if (internal::Frame* frame = entries_[page].frame) {
        frame->use |= 1;
        return PageRef(frame);
      }
    }
    return PageRef(Load(page));
  }
  // Error(kReadOnly) when the store is not writable. Outside of a statement scope too.
  MutablePageRef Write(PageNo page) {
    if (page < entries_.size()) {
      internal::Frame* frame = entries_[page].frame;
      if (frame != nullptr && frame->write_epoch == epoch_) return MutablePageRef(frame);
    }
    return MutablePageRef(NoteAndWrite(page));
  }
  // Appends a page of zeros and returns it for writing. Error(kIo) past max_file_bytes.
  MutablePageRef Append();

  // Statement scope: RollbackStatement() brings every page back to what it was at BeginStatement(), the page
  // count too. Scopes do not nest. Pinned handles stay valid, except on pages that the rollback cuts off:
  // those keep some bytes, but no longer stand for a page.
  //
  // RollbackStatement() does not throw. When it cannot bring a page back, the store refuses further writes
  // and checkpoints until RevertToMark() has brought back what was before the statement.
  void BeginStatement();
  void CommitStatement();
  void RollbackStatement() noexcept;
  bool in_statement() const { return in_statement_; }

  // A border that work can go back to, without anything being made durable: RevertToMark() brings every page,
  // and the page count, back to what they were at the last Mark(), Persist() or Checkpoint() (at first: at
  // the opening), and ends a statement scope that is open. Handles are treated as by RollbackStatement().
  // Mark() is Error(kInvalid) within a statement scope.
  //
  // Going back needs no disk space as a rule. When it fails all the same, or the store has failed to persist
  // before, that is Error(kIo), the store refuses further writes, and what was persisted last holds.
  void Mark();
  void RevertToMark();

  // Changes when pages may have become something else without being written for it: they were brought back to
  // what they were, or given to another owner, who calls BeginEra(). What somebody remembers of a page holds
  // within an era.
  std::uint64_t era() const { return era_; }
  void BeginEra() { ++era_; }

  // The pages that are not what they were at that border, ascending, those that came since among them.
  std::vector<PageNo> ChangedSinceMark() const;
  // The file as it was at that border, to be read until a page changes.
  std::unique_ptr<File> FileAtMark();

  // Makes everything so far durable, atomically, in the journal. Error(kInvalid) within a statement scope.
  // After any other error the next open finds what was persisted before, or all of it. When it was that pages
  // did not get to the journal (such as a full disk), nothing is lost but time: work can go on, be reverted
  // and be persisted again, if there is room. After other errors the store refuses further writes with
  // Error(kIo).
  void Persist();
  // As Persist(), and brings the file itself up to date; waits some seconds for those who are reading it.
  // After an error the next open finds what was persisted before, or all of it. Error(kLocked) when they read
  // on: all of it is durable then, and Checkpoint() may be called again.
  //
  // Persist() and Checkpoint() look first whether the file is still the one that was opened, and as it was.
  // When it was replaced, deleted, moved or changed, that is Error(kIo): the work is lost, its journal
  // is removed, and whatever has that name now stays as it is.
  void Checkpoint();
  // The page as the database file itself holds it, whatever was changed since the last Checkpoint().
  void ReadSaved(PageNo page, MutableBytes out);
  // The database file itself, as it stands.
  File& file();
  // Cuts the file off behind its first `pages` pages, of which the others must be of no use to anybody: a
  // crash may leave them, and so does this while somebody else reads the file. Error(kInvalid) while there
  // are changes.
  void CutOff(PageNo pages);
  // Whether Checkpoint() has anything to do.
  bool has_changes() const { return counts_.changed != 0 || journal_waits_; }
  // What of it is durable, though perhaps in the journal alone.
  Durability durability() const;

 private:
  struct Impl;

  internal::Frame* Load(PageNo page);
  internal::Frame* NoteAndWrite(PageNo page);
  void RequireWritable() const;
  void RequireNoStatement() const;
  void CheckUnchanged();
  [[noreturn]] void ThrowLost(const char* what);
  void Commit(bool applying);
  void Apply();
  bool TryCheckpoint(bool patiently);
  void StartMark();

  internal::PageTable entries_;
  std::uint64_t era_ = 1;
  std::uint64_t epoch_ = 1;  // changes whenever Write() has to look at a page anew
  internal::PageCounts counts_;
  bool journal_waits_ = false;  // for the file to be brought up to date
  std::uint32_t page_size_;
  bool writable_;
  bool in_statement_ = false;
  std::unique_ptr<Impl> impl_;
};

}  // namespace jet
