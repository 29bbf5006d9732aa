// The rollback journal of a checkpoint: the old content of every page that the checkpoint overwrites.
//
//   byte 0    magic, 8 bytes                 byte 24   salt, u64
//   byte 8    page size, u32                 byte 32   number of witnesses, u32 (u32 of zeros follows)
//   byte 12   pages before the checkpoint    byte 40   28 witnesses: page u32, zeros u32, hash u64
//   byte 16   pages after it                 byte 504  checksum of bytes 0..503, u64
//   byte 20   number of records, u32         byte 512  records: page u32, zeros u32, checksum u64,
//                                                       8 hashes u32 of the new content, old content
//
// Life of a journal: records are written and synced, then the header, then header and folder entry are
// synced; only now the database file is touched. When the database file is complete and synced, the header is
// overwritten with zeros and synced, which ends the checkpoint; removing the file is tidiness. So a journal
// without a valid header says that the file needs nothing, and one with a valid header has all its records.
//
// Witnesses are hashes of pages that the checkpoint does not touch. They, and the size, tell whether the
// file that is found beside a journal is the one that the journal was made for: a file that was replaced or
// changed in between must not get another file's pages. The pages that it does touch are looked at too: each
// of their sectors holds its old or its new content, as far as the crash tore none; an older copy of the
// same file, put in place of it since, has neither.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "access/file/file.h"

namespace jet::internal {

// Collects pages in ascending order and writes neighbours in one go.
class RunWriter {
 public:
  RunWriter(File& file, std::uint32_t page_size);
  // Place for the content of `page`, to be filled before the next call.
  std::uint8_t* Add(PageNo page);
  void Flush();

 private:
  static constexpr std::size_t kBufferPages = 256;

  File& file_;
  std::uint32_t page_size_;
  PageNo first_ = 0;
  std::size_t pages_ = 0;
  std::vector<std::uint8_t> buffer_;
};

struct JournalHeader;

class Journal {
 public:
  Journal(FileSystem& files, std::string path, std::uint32_t page_size);
  ~Journal();

  // Copies what the checkpoint will write to a page.
  using NewContent = std::function<void(PageNo page, std::uint8_t* out)>;

  // Saves `pages` (ascending, all below `old_pages`) as they stand in `database`. Durable on return.
  void Begin(File& database, PageNo old_pages, PageNo new_pages, const std::vector<PageNo>& pages,
             const NewContent& new_content);
  // The checkpoint is complete: makes the journal void. Removing it is tried, no more.
  void Finish();
  // The checkpoint failed: brings `database` back to what it was before and makes the journal void. When that
  // fails too, the journal stays for the next open.
  void Abandon(File& database) noexcept;

  // Rolls back the journal that may lie beside a database that is being opened. Error(kReadOnly) when there
  // is one and the database is not writable, Error(kCorrupt) when it does not belong to the database.
  static void RollBackAtOpen(FileSystem& files, const std::string& path, File& database, bool writable,
                             std::uint32_t page_size);

 private:
  enum class State { kNone, kWriting, kActive, kEnding };

  void WriteRecords(File& database, const std::vector<PageNo>& pages, const NewContent& new_content);
  void WriteHeader();
  void Void();
  void Remove();

  FileSystem& files_;
  std::string path_;
  std::uint32_t page_size_;
  State state_ = State::kNone;
  std::unique_ptr<JournalHeader> header_;
  std::unique_ptr<File> file_;
};

}  // namespace jet::internal
