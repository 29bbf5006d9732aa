// The write-ahead journal of a page store: changed pages on their way to the database file.
//
//   byte 0      header                      header, 512 bytes:
//   byte 4096   the same header again         0 magic, 8 bytes          64 last number of a record, u64
//   byte 8192   records                       8 page size, u32          72 time of the file's last change,
//   i64
//                                            12 phase, u32              80 digest of the other pages, u64
//   record, 128 bytes and a page:            16 pages of the file, u32  88 whether there is one, u32
//     0 page, u32                            20 pages of the state, u32 92 zeros
//     4 zeros                                24 records, u32            96 25 witnesses:
//     8 checksum, u64                        28 zeros                      page u32, zeros u32, hash u64
//    16 number, u64                          32 salt, u64              504 checksum of bytes 0..503, u64
//    24 zeros                                40 sequence, u64
//    32 8 hashes u64, one per sector, of     48 pages in the journal, u32
//       what the database file held          52 number of witnesses, u32
//    96 zeros                                56 digest, u64
//   128 content of the page
//
// Life of a journal: it begins with both headers saying that it holds nothing (the phase kNothing), synced.
// Pages that do not fit in the cache are written to it as they come, each with the next number. When all
// changed pages are there, Commit() writes the header in one place and syncs, and then writes it in the other
// and syncs: from then on the state is durable, though the database file has not been touched. Records of a
// committed state are never overwritten before the next state is committed; a page that changes again gets
// another record. When the database file is to be brought up to date, both headers say so first (the phase
// kApplying); when the file is complete and synced, the journal is removed. Should it come back after a power
// loss, every sector of the file is found to be new, and it is applied again.
//
// Where the second header is older than the first, the commit was cut short and records may be missing: then
// what the second one says holds, be it nothing.
//
// So one header may be torn by a crash, or be damaged, and the other one tells the state that was committed
// last: of each page the record with the highest number up to the header's. How many they are, and the
// digest, the sum of their checksums, vouch for all of them. A journal has no state, and may be removed, only
// when a header says that there is nothing and no other one says more, or when it was cut short before its
// headers were there: nothing but zeros, and no room for a record. Everything else that cannot be read is
// damage, and refused.
//
// A journal must not be applied to a file that was replaced or changed since it was written. While the phase
// is kCommitted the file was last changed when the header says so, and every sector of the pages in the
// journal holds what it held when the record was made; once it is kApplying, each holds that or the new
// content. Of the other pages some are witnesses; when the journal has a good part of the file, or that is
// small, all of them are in a digest.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/file/file.h"

namespace jet::internal {

// Where the content of a page stands in the journal, counted from 1; 0 is nowhere.
using Slot = std::uint32_t;

struct JournalPage {
  PageNo page = 0;
  Slot slot = 0;
};

struct JournalHeader;

class Journal {
 public:
  // Bytes that a record has before the page. Callers keep a page in memory with that much room before it,
  // which belongs to the journal, so that a record is read and written without being copied.
  static constexpr std::size_t kPrefixBytes = 128;
  static constexpr std::size_t kHeaderBytes = 512;

  Journal(FileSystem& files, File& database, std::string path, std::uint32_t page_size);
  ~Journal();

  // A committed state that did not get to the database file.
  struct Waiting {
    PageNo file_pages = 0;  // of the database file before
    PageNo pages = 0;
    std::vector<JournalPage> changed;  // ascending
  };
  // Looks for the journal beside a database that is being opened. What it returns can be read with Read(); a
  // journal that says nothing is removed, unless the database is not `writable`. Error(kCorrupt) when the
  // journal is damaged or does not belong to the database. Who only reads does not look into the journal of a
  // program at work: until the file is brought up to date, which readers hold off, it is the last saved
  // state.
  std::optional<Waiting> Recover(bool writable);

  // For tests: the checksum that a header of these bytes has.
  static std::uint64_t HeaderChecksum(const std::uint8_t* header);

  // Notes in the record of a page, about to be changed for the first time, that the database file holds the
  // page as it stands in the record.
  static void NoteFileContent(PageNo page, std::uint8_t* record, std::uint32_t page_size);

  struct Unsaved {
    PageNo page = 0;
    std::uint8_t* record = nullptr;
    Slot slot = 0;  // set by Write()
  };
  // Writes records, in slots of their own. A failure leaves no slot behind. Makes the journal when there is
  // none: Error(kLocked) when another program has made one meanwhile.
  void Write(std::vector<Unsaved>& pages);
  // Overwrites a record that is not part of a committed state.
  void Rewrite(Slot slot, PageNo page, std::uint8_t* record);
  void Read(Slot slot, std::uint8_t* record);
  // The record is not needed (any more) and may be overwritten.
  void Release(Slot slot) { released_.push_back(slot); }
  // Released slots are taken before the journal grows.
  void Recycle();
  // What holds is an older record of the page than this one, or none. The slot is, or gets, released.
  void GiveUp(Slot slot) { given_up_.push_back(slot); }

  enum class Phase : std::uint32_t { kNothing = 0, kCommitted = 1, kApplying = 2 };
  // Makes the state durable in which the pages `changed` (ascending) differ from the database file of
  // `file_pages` pages, and `pages` is the number of all.
  void Commit(PageNo file_pages, PageNo pages, const std::vector<JournalPage>& changed, Phase phase);
  // The committed state, which differs in these pages, is about to be written to the database file.
  void BeginApplying(const std::vector<JournalPage>& changed);
  // The database file holds the committed state, durably: makes the journal void. Removing it is tried, no
  // more.
  void Finish();
  // Commit() failed: sees to it that the state before it is found, or none. False when that cannot be said.
  // Records can still be read.
  bool Abandon() noexcept;
  // Removes the journal if it says nothing.
  void Discard() noexcept;
  // The database is no longer the one that the journal is for: makes it void and removes it.
  void Drop() noexcept;

  const std::string& path() const { return path_; }
  bool has_state() const { return has_state_; }
  std::uint64_t bytes() const;

 private:
  std::size_t record_bytes() const { return kPrefixBytes + page_size_; }
  std::uint64_t Offset(Slot slot) const;
  void Make();
  void MakeFile();
  Slot TakeSlot();
  void Seal(Slot slot, PageNo page, std::uint8_t* record);
  void VoidGivenUp();
  void WriteHeader(Phase phase);
  void SayNothing();
  void NoteOthers(const std::vector<JournalPage>& changed);
  Waiting ReadState(const JournalHeader& header);
  void Reset();

  FileSystem& files_;
  File& database_;
  std::string path_;
  std::uint32_t page_size_;
  std::unique_ptr<File> file_;
  std::unique_ptr<JournalHeader> header_;  // the last one written, or to be written next
  bool header_may_stand_ = false;          // in the file, with a state
  bool has_state_ = false;
  bool in_doubt_ = false;                               // a header was written that may, or may not, be found
  std::array<std::uint8_t, kHeaderBytes> committed_{};  // the header of that state
  std::uint64_t last_number_ = 0;                       // of a record
  std::uint32_t slots_ = 0;
  std::vector<std::uint64_t> checksums_;  // by slot - 1
  std::vector<Slot> free_;                // descending; the last one is taken next
  std::vector<Slot> released_;            // not yet among them
  std::vector<Slot> given_up_;            // since the last Commit(); some are free no more
};

}  // namespace jet::internal
