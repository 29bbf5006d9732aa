#include "access/file/journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <utility>

#include "access/file/journal_header.h"
#include "access/file/journal_others.h"
#include "access/file/run_writer.h"

namespace jet::internal {
namespace {

// All other pages are hashed when the journal has at least this share of the file, or the file is that small:
// otherwise reading them would cost more than a short run.
constexpr std::size_t kOthersShare = 8;
constexpr PageNo kSmallFile = 256;
constexpr std::size_t kRecycledShare = 16;  // of all slots, that are taken again together

std::uint64_t NewSalt() {
  std::random_device device;
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return (std::uint64_t{device()} << 32 | device()) ^ now;
}

}  // namespace

Journal::Journal(FileSystem& files, File& database, std::string path, std::uint32_t page_size)
    : files_(files), database_(database), path_(std::move(path)), page_size_(page_size) {
  Reset();
}

Journal::~Journal() = default;

void Journal::Reset() {
  file_.reset();
  header_ = std::make_unique<JournalHeader>();
  header_->page_size = page_size_;
  header_->salt = NewSalt();
  header_may_stand_ = false;
  has_state_ = in_doubt_ = false;
  last_number_ = 0;
  slots_ = 0;
  checksums_.clear();
  free_.clear();
  released_.clear();
  given_up_.clear();
}

std::uint64_t Journal::HeaderChecksum(const std::uint8_t* header) {
  return Hash(0, header, kHeaderBytes - sizeof(std::uint64_t));
}

std::uint64_t Journal::Offset(Slot slot) const {
  return kRecordsOffset + std::uint64_t{slot - 1} * record_bytes();
}

std::uint64_t Journal::bytes() const { return Offset(slots_ + 1); }

// Whatever keeps the journal from being made keeps everything from being saved: a failure of the
// surroundings, also where it looks like a file that may not be written.
void Journal::Make() {
  if (file_ != nullptr) return;
  try {
    MakeFile();
  } catch (const Error& error) {
    if (error.is_environment()) throw;
    throw Error(ErrorKind::kIo, error.what());
  }
}

void Journal::MakeFile() {
  if (files_.Exists(path_)) {
    // A valid one was dealt with when the database was opened. One that has come since is not ours to remove.
    if (ReadHeaders(*files_.OpenCompanion(path_, OpenMode::kRead, database_), path_).newest) {
      throw Error(
          ErrorKind::kLocked,
          fmt::format("The journal {} was made by another program meanwhile. It must not be overwritten.",
                      path_));
    }
    files_.Remove(path_);
  }
  file_ = files_.OpenCompanion(path_, OpenMode::kCreateNew, database_);
  try {
    // Before there is a record: headers that are lost later are not taken for those of a journal without a
    // state.
    SayNothing();
  } catch (...) {
    Discard();
    throw;
  }
}

void Journal::NoteFileContent(PageNo page, std::uint8_t* record, std::uint32_t page_size) {
  std::memset(record, 0, kPrefixBytes);
  for (std::size_t i = 0; i * kSector < page_size; ++i) {
    StoreLe(record + kHashesOffset + 8 * i, SectorHash(page, record + kPrefixBytes + i * kSector));
  }
}

// Released slots are taken again many at a time, in the order in which they stand: what is written together
// is then more often one piece of the file.
void Journal::Recycle() {
  free_.insert(free_.end(), released_.begin(), released_.end());
  released_.clear();
  std::sort(free_.begin(), free_.end(), std::greater<>());
}

Slot Journal::TakeSlot() {
  if (free_.empty() && released_.size() * kRecycledShare > slots_) Recycle();
  if (free_.empty()) {
    checksums_.push_back(0);
    return ++slots_;
  }
  const Slot slot = free_.back();
  free_.pop_back();
  return slot;
}

void Journal::Seal(Slot slot, PageNo page, std::uint8_t* record) {
  StoreLe(record, page);
  StoreLe(record + 4, std::uint32_t{0});
  StoreLe(record + kNumberOffset, ++last_number_);
  const std::uint64_t checksum = header_->RecordHash(record);
  StoreLe(record + 8, checksum);
  checksums_[slot - 1] = checksum;
}

void Journal::Write(std::vector<Unsaved>& pages) {
  Make();
  const Slot before = slots_;
  std::vector<Slot> slots(pages.size());
  try {
    for (Slot& slot : slots) slot = TakeSlot();
    // Ascending slots are neighbours more often, and ascending pages are often read again in this order.
    std::sort(slots.begin(), slots.end());
    std::sort(pages.begin(), pages.end(), [](const Unsaved& a, const Unsaved& b) { return a.page < b.page; });
    RunWriter writer(*file_, kRecordsOffset, record_bytes());
    for (std::size_t i = 0; i < pages.size(); ++i) {
      pages[i].slot = slots[i];
      Seal(slots[i], pages[i].page, pages[i].record);
      std::memcpy(writer.Add(slots[i] - 1), pages[i].record, record_bytes());
    }
    writer.Flush();
  } catch (...) {
    // The journal has not grown: every slot that counts stands in the file, though the disk may be full.
    for (const Slot slot : slots) {
      if (slot == 0 || slot > before) continue;
      GiveUp(slot);
      Release(slot);
    }
    slots_ = before;
    checksums_.resize(before);
    throw;
  }
}

void Journal::Rewrite(Slot slot, PageNo page, std::uint8_t* record) {
  Seal(slot, page, record);
  file_->Write(Offset(slot), {record, record_bytes()});
}

void Journal::Read(Slot slot, std::uint8_t* record) { file_->Read(Offset(slot), {record, record_bytes()}); }

// A record that was given up must not be found as the newest one of its page.
void Journal::VoidGivenUp() {
  const std::vector<std::uint8_t> zeros(kPrefixBytes);
  Recycle();
  std::sort(given_up_.begin(), given_up_.end());
  given_up_.erase(std::unique(given_up_.begin(), given_up_.end()), given_up_.end());
  for (const Slot slot : given_up_) {
    if (std::binary_search(free_.begin(), free_.end(), slot, std::greater<>())) {
      file_->Write(Offset(slot), zeros);
    }
  }
  given_up_.clear();
}

void Journal::Commit(PageNo file_pages, PageNo pages, const std::vector<JournalPage>& changed, Phase phase) {
  VoidGivenUp();
  header_->file_pages = file_pages;
  header_->pages = pages;
  header_->records = slots_;
  header_->last_number = last_number_;
  header_->changed = changed.size();
  header_->digest = 0;
  for (const JournalPage& item : changed) header_->digest += checksums_[item.slot - 1];
  header_->modified = database_.Stamp().modified;
  header_->witnesses = PickWitnesses(database_, page_size_, file_pages, changed);
  header_->has_others = false;
  if (phase == Phase::kApplying) NoteOthers(changed);
  // The time of the file's last change is to be found again after a power loss.
  if (!has_state_) database_.SyncAll();
  in_doubt_ = true;
  WriteHeader(phase);
  if (!has_state_) files_.SyncFolder(path_);
  in_doubt_ = false;
  has_state_ = true;
  header_->Encode(committed_.data());
}

void Journal::NoteOthers(const std::vector<JournalPage>& changed) {
  const PageNo pages = header_->file_pages;
  header_->has_others = pages <= kSmallFile || changed.size() * kOthersShare >= pages;
  header_->others = header_->has_others ? DigestOfOthers(database_, page_size_, pages, changed) : 0;
}

void Journal::WriteHeader(Phase phase) {
  header_->phase = phase;
  ++header_->sequence;
  std::uint8_t bytes[kHeaderBytes];
  header_->Encode(bytes);
  header_may_stand_ = true;
  // The first one is on the disk with all records before the second one is written.
  for (const std::uint64_t offset : kHeaderOffsets) {
    file_->Write(offset, bytes);
    file_->Sync();
  }
}

void Journal::BeginApplying(const std::vector<JournalPage>& changed) {
  if (header_->phase == Phase::kApplying) return;
  NoteOthers(changed);
  WriteHeader(Phase::kApplying);
}

// The second one goes first: beside it the first counts only when it is whole.
void Journal::SayNothing() {
  std::uint8_t bytes[kHeaderBytes];
  JournalHeader().Encode(bytes);
  for (const std::uint64_t offset : {kHeaderOffsets[1], kHeaderOffsets[0]}) {
    file_->Write(offset, bytes);
    file_->Sync();
  }
  header_may_stand_ = false;
}

void Journal::Finish() {
  try {
    file_.reset();
    files_.Remove(path_);
  } catch (const Error&) {
    file_ = files_.OpenCompanion(path_, OpenMode::kReadWrite, database_);
    SayNothing();
  }
  Reset();
  try {
    files_.SyncFolder(path_);
  } catch (const Error&) {
    // Should the journal come back, it is found to have been applied.
  }
}

// The second place first: as long as it holds what the commit wrote, the first one is whole and does too.
bool Journal::Abandon() noexcept {
  if (file_ == nullptr || !in_doubt_) return true;
  try {
    if (has_state()) {
      for (const std::uint64_t offset : {kHeaderOffsets[1], kHeaderOffsets[0]}) {
        file_->Write(offset, committed_);
        file_->Sync();
      }
    } else {
      SayNothing();
    }
    in_doubt_ = false;
    return true;
  } catch (const std::exception&) {
    // The next open finds the state of the failed commit, or the one before: the file is sound with either.
    return false;
  }
}

void Journal::Drop() noexcept {
  if (file_ == nullptr) return;
  try {
    SayNothing();
  } catch (const std::exception&) {
    // It says when the file was changed last, so it will be refused.
  }
  Discard();
}

void Journal::Discard() noexcept {
  if (file_ == nullptr || header_may_stand_) return;
  try {
    file_.reset();
    files_.Remove(path_);
  } catch (const std::exception&) {
    // A void journal harms nobody; the next checkpoint or open removes it.
  }
}

}  // namespace jet::internal
