// Pages of one file: a cache with a ceiling, statement scopes that can be undone, and checkpoints that are
// atomic.
//
// Changed pages stay in the cache, and spill to a temporary file past the ceiling, until Checkpoint() writes
// them: it writes the old content of every page it will overwrite to a rollback journal beside the file,
// syncs, writes the pages, syncs, removes the journal. A journal that is found when a file is opened is
// rolled back first. So the file is always exactly at its last checkpoint, whenever the process is killed or
// the disk fills up.
//
// Pages are pinned handles. While any handle on a page lives, its bytes stay at the same address, and a
// handle taken for reading sees what is written through another handle on the same page.
//
// Not thread-safe: one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "access/base/bytes.h"
#include "access/file/file.h"

namespace jet {

class PageStore;

namespace internal {
struct Frame;
}

// A pinned page, to be read.
class PageRef {
 public:
  PageRef() = default;
  PageRef(const PageRef& other);
  PageRef(PageRef&& other) noexcept;
  PageRef& operator=(PageRef other) noexcept;
  ~PageRef();

  explicit operator bool() const { return frame_ != nullptr; }
  PageNo page_no() const;
  Bytes bytes() const;
  const std::uint8_t* data() const { return bytes().data(); }

 protected:
  friend class PageStore;
  PageRef(PageStore* store, internal::Frame* frame);
  PageStore* store_ = nullptr;
  internal::Frame* frame_ = nullptr;
};

// A pinned page, to be changed. Taking one marks the page as changed.
class MutablePageRef : public PageRef {
 public:
  MutablePageRef() = default;
  MutableBytes mutable_bytes() const;
  std::uint8_t* mutable_data() const { return mutable_bytes().data(); }

 private:
  friend class PageStore;
  using PageRef::PageRef;
};

struct PageStoreOptions {
  std::size_t cache_bytes = 32u << 20;
  // Largest file in bytes; growing past it is Error(kFull) before anything is written.
  std::uint64_t max_file_bytes = std::uint64_t{1} << 31;
};

class PageStore {
 public:
  // Takes over an open file. `journal_path` names the rollback journal beside it; an existing journal is
  // rolled back (Error(kReadOnly) when the file is open for reading only and a journal waits). `page_size` is
  // 4096 or 2048; a file size that is not a whole number of pages is Error(kCorrupt).
  PageStore(FileSystem& files, std::unique_ptr<File> file, std::string journal_path, bool writable,
            std::uint32_t page_size, const PageStoreOptions& options = {});
  ~PageStore();  // drops everything since the last checkpoint
  PageStore(const PageStore&) = delete;
  PageStore& operator=(const PageStore&) = delete;

  std::uint32_t page_size() const;
  bool writable() const;
  // Number of pages, those appended since the last checkpoint included.
  PageNo page_count() const;

  // Error(kCorrupt) when the page lies past the end.
  PageRef Read(PageNo page);
  // Error(kReadOnly) when the store is not writable. Outside of a statement scope too.
  MutablePageRef Write(PageNo page);
  // Appends a page of zeros and returns it for writing. Error(kFull) past max_file_bytes.
  MutablePageRef Append();

  // Statement scope: RollbackStatement() brings every page back to what it was at BeginStatement(), the page
  // count too. Scopes do not nest. Pinned handles stay valid, except on pages that the rollback cuts off.
  void BeginStatement();
  void CommitStatement();
  void RollbackStatement();
  bool in_statement() const;

  // Makes everything since the last checkpoint durable, atomically. On an error the file is as it was at the
  // last checkpoint (at once, or after the journal is rolled back by the next open) and the store refuses
  // further writes.
  void Checkpoint();
  bool has_changes() const;

 private:
  friend class PageRef;
  friend class MutablePageRef;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace jet
