#include "access/file/journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <utility>

namespace jet::internal {
namespace {

constexpr std::size_t kHeaderBytes = 512;
constexpr std::uint64_t kHeaderOffsets[] = {0, 4096};
constexpr std::uint64_t kRecordsOffset = 8192;

std::uint64_t HeaderOffset(std::uint64_t sequence) {
  return kHeaderOffsets[sequence % std::size(kHeaderOffsets)];
}

constexpr std::size_t kHashesOffset = 16;
constexpr std::size_t kNumberOffset = 48;
constexpr std::size_t kSector = 512;
constexpr std::size_t kSectorHashes = 8;
// Sectors that a crash may leave with neither their old nor their new content: what was on its way to a disk
// or server that does not write sectors of this size whole.
constexpr std::size_t kMaxTornSectors = 8;
constexpr std::size_t kRecycledShare = 16;  // of all slots, that are taken again together
constexpr std::uint32_t kMaxWitnesses = 27;
constexpr char kMagic[8] = {'p', 'g', 'j', 'r', 'n', 'l', '\x1A', '\x03'};
constexpr std::size_t kVersionByte = 7;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0xD6E8FEB86659FD93u;
  return hash ^ (hash >> 32);
}

// Not cryptographic: it has to notice torn and stale blocks, not forged ones. `size` is a multiple of 8. Four
// lanes, since each step waits for the one before it.
std::uint64_t Hash(std::uint64_t seed, const std::uint8_t* data, std::size_t size) {
  std::uint64_t lanes[4] = {seed, seed + 1, seed + 2, seed + 3};
  std::size_t i = 0;
  for (; i + 32 <= size; i += 32) {
    for (std::size_t lane = 0; lane < 4; ++lane) {
      lanes[lane] = Mix(lanes[lane], LoadLe<std::uint64_t>(data + i + 8 * lane));
    }
  }
  std::uint64_t hash = size;
  for (const std::uint64_t lane : lanes) hash = Mix(hash, lane);
  for (; i < size; i += 8) hash = Mix(hash, LoadLe<std::uint64_t>(data + i));
  return hash;
}

std::uint32_t SectorHash(PageNo page, const std::uint8_t* sector) {
  return static_cast<std::uint32_t>(Hash(page, sector, kSector));
}

std::uint64_t NewSalt() {
  std::random_device device;
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return (std::uint64_t{device()} << 32 | device()) ^ static_cast<std::uint64_t>(now);
}

[[noreturn]] void ThrowForeign(const std::string& path) {
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The journal {} does not belong to the database as it is now: the database was "
                          "replaced or changed after the journal was written. Move the journal away to open "
                          "the database as it is.",
                          path));
}

}  // namespace

struct JournalHeader {
  struct Witness {
    PageNo page = 0;
    std::uint64_t hash = 0;
  };
  std::uint32_t page_size = 0;
  Journal::Phase phase = Journal::Phase::kCommitted;
  PageNo file_pages = 0;
  PageNo pages = 0;
  std::uint32_t records = 0;
  std::uint64_t salt = 0;
  std::uint64_t sequence = 0;
  std::uint32_t changed = 0;
  std::uint64_t digest = 0;
  std::uint64_t last_number = 0;
  std::vector<Witness> witnesses;

  // Of a whole record but for the field that holds it.
  std::uint64_t RecordHash(const std::uint8_t* record) const {
    const std::uint64_t start = Hash(salt, record, 8);
    return Hash(start, record + kHashesOffset, Journal::kPrefixBytes - kHashesOffset + page_size);
  }

  void Encode(std::uint8_t* out) const {
    std::memset(out, 0, kHeaderBytes);
    std::memcpy(out, kMagic, sizeof kMagic);
    StoreLe(out + 8, page_size);
    StoreLe(out + 12, static_cast<std::uint32_t>(phase));
    StoreLe(out + 16, file_pages);
    StoreLe(out + 20, pages);
    StoreLe(out + 24, records);
    StoreLe(out + 32, salt);
    StoreLe(out + 40, sequence);
    StoreLe(out + 48, changed);
    StoreLe(out + 52, static_cast<std::uint32_t>(witnesses.size()));
    StoreLe(out + 56, digest);
    StoreLe(out + 64, last_number);
    for (std::size_t i = 0; i < witnesses.size(); ++i) {
      StoreLe(out + 72 + 16 * i, witnesses[i].page);
      StoreLe(out + 80 + 16 * i, witnesses[i].hash);
    }
    StoreLe(out + 504, Hash(0, out, 504));
  }
  static std::optional<JournalHeader> Decode(const std::uint8_t* in) {
    const auto witness_count = LoadLe<std::uint32_t>(in + 52);
    if (std::memcmp(in, kMagic, sizeof kMagic) != 0 || LoadLe<std::uint64_t>(in + 504) != Hash(0, in, 504) ||
        witness_count > kMaxWitnesses) {
      return std::nullopt;
    }
    JournalHeader h;
    h.page_size = LoadLe<std::uint32_t>(in + 8);
    h.phase = static_cast<Journal::Phase>(LoadLe<std::uint32_t>(in + 12));
    h.file_pages = LoadLe<std::uint32_t>(in + 16);
    h.pages = LoadLe<std::uint32_t>(in + 20);
    h.records = LoadLe<std::uint32_t>(in + 24);
    h.salt = LoadLe<std::uint64_t>(in + 32);
    h.sequence = LoadLe<std::uint64_t>(in + 40);
    h.changed = LoadLe<std::uint32_t>(in + 48);
    h.digest = LoadLe<std::uint64_t>(in + 56);
    h.last_number = LoadLe<std::uint64_t>(in + 64);
    for (std::uint32_t i = 0; i < witness_count; ++i) {
      h.witnesses.push_back(
          {LoadLe<std::uint32_t>(in + 72 + 16 * i), LoadLe<std::uint64_t>(in + 80 + 16 * i)});
    }
    return h;
  }
};

namespace {

// The newest valid header. Error(kCorrupt) when the journal is of another version, which may say something
// that would be lost.
std::optional<JournalHeader> ReadHeader(File& journal, const std::string& path) {
  std::optional<JournalHeader> newest;
  for (const std::uint64_t offset : kHeaderOffsets) {
    if (journal.Size() < offset + kHeaderBytes) break;
    std::uint8_t bytes[kHeaderBytes];
    journal.Read(offset, bytes);
    if (std::memcmp(bytes, kMagic, kVersionByte) == 0 && bytes[kVersionByte] != kMagic[kVersionByte]) {
      throw Error(
          ErrorKind::kCorrupt,
          fmt::format("The journal {} was written by another version of this program. Open the database "
                      "with that version first.",
                      path));
    }
    auto header = JournalHeader::Decode(bytes);
    if (header && (!newest || header->sequence > newest->sequence)) newest = std::move(header);
  }
  return newest;
}

// Pages spread over the file, none of which is in `changed` (ascending).
std::vector<JournalHeader::Witness> PickWitnesses(File& database, std::uint32_t page_size, PageNo file_pages,
                                                  const std::vector<JournalPage>& changed) {
  std::vector<JournalHeader::Witness> witnesses;
  std::vector<std::uint8_t> content(page_size);
  PageNo page = 0;
  for (std::uint32_t i = 0; i < kMaxWitnesses; ++i) {
    page = std::max(page, static_cast<PageNo>(std::uint64_t{file_pages} * i / kMaxWitnesses));
    for (auto it = std::lower_bound(changed.begin(), changed.end(), page,
                                    [](const JournalPage&item, PageNo value) { return item.page < value; });
         it != changed.end() && it->page == page; ++it) {
      ++page;
    }
    if (page >= file_pages) break;
    database.Read(std::uint64_t{page} * page_size, content);
    witnesses.push_back({page, Hash(page, content.data(), page_size)});
    ++page;
  }
  return witnesses;
}

void CheckBelongs(const std::string& path, const JournalHeader& header, File& database,
                  std::uint32_t page_size) {
  const std::uint64_t size = database.Size();
  const std::uint64_t old_size = std::uint64_t{header.file_pages} * page_size;
  const bool applying = header.phase == Journal::Phase::kApplying;
  // While the file is brought up to date it has any size from the old to the new one.
  if (header.page_size != page_size || size < old_size ||
      size > (applying ? std::uint64_t{header.pages} * page_size : old_size)) {
    ThrowForeign(path);
  }
  std::vector<std::uint8_t> content(page_size);
  for (const JournalHeader::Witness& witness : header.witnesses) {
    if (witness.page >= header.file_pages) ThrowForeign(path);
    database.Read(std::uint64_t{witness.page} * page_size, content);
    if (Hash(witness.page, content.data(), page_size) != witness.hash) ThrowForeign(path);
  }
}

}  // namespace

RunWriter::RunWriter(File& file, std::uint64_t start, std::size_t block_bytes)
    : file_(file), start_(start), block_bytes_(block_bytes) {}

std::uint8_t* RunWriter::Add(std::uint32_t block) {
  if (blocks_ == kBufferBlocks || (blocks_ != 0 && block != first_ + blocks_)) Flush();
  if (blocks_ == 0) first_ = block;
  ++blocks_;
  if (buffer_.size() < blocks_ * block_bytes_) buffer_.resize(blocks_ * block_bytes_);
  return buffer_.data() + (blocks_ - 1) * block_bytes_;
}

void RunWriter::Flush() {
  if (blocks_ == 0) return;
  const std::size_t bytes = std::exchange(blocks_, 0) * block_bytes_;
  file_.Write(start_ + std::uint64_t{first_} * block_bytes_, Bytes(buffer_.data(), bytes));
}

Journal::Journal(FileSystem& files, std::string path, std::uint32_t page_size)
    : files_(files), path_(std::move(path)), page_size_(page_size) {
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

std::uint64_t Journal::Offset(Slot slot) const {
  return kRecordsOffset + std::uint64_t{slot - 1} * record_bytes();
}

std::uint64_t Journal::bytes() const { return Offset(slots_ + 1); }

void Journal::Make() {
  if (file_ != nullptr) return;
  if (files_.Exists(path_)) {
    // A valid one was dealt with when the database was opened. One that has come since is not ours to remove.
    if (ReadHeader(*files_.Open(path_, OpenMode::kRead), path_)) {
      throw Error(
          ErrorKind::kLocked,
          fmt::format("The journal {} was made by another program meanwhile. It must not be overwritten.",
                      path_));
    }
    files_.Remove(path_);
  }
  file_ = files_.Open(path_, OpenMode::kCreateNew);
}

void Journal::NoteFileContent(PageNo page, std::uint8_t* record, std::uint32_t page_size) {
  std::memset(record, 0, kPrefixBytes);
  for (std::size_t i = 0; i * kSector < page_size; ++i) {
    StoreLe(record + kHashesOffset + 4 * i, SectorHash(page, record + kPrefixBytes + i * kSector));
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

void Journal::Commit(File& database, PageNo file_pages, PageNo pages, const std::vector<JournalPage>& changed,
                     Phase phase) {
  VoidGivenUp();
  header_->file_pages = file_pages;
  header_->pages = pages;
  header_->records = slots_;
  header_->last_number = last_number_;
  header_->changed = static_cast<std::uint32_t>(changed.size());
  header_->digest = 0;
  for (const JournalPage& item : changed) header_->digest += checksums_[item.slot - 1];
  header_->witnesses = PickWitnesses(database, page_size_, file_pages, changed);
  file_->Sync();
  in_doubt_ = true;
  WriteHeader(phase);
  if (!has_state_) files_.SyncFolder(path_);
  in_doubt_ = false;
  has_state_ = true;
}

void Journal::WriteHeader(Phase phase) {
  header_->phase = phase;
  ++header_->sequence;
  std::uint8_t bytes[kHeaderBytes];
  header_->Encode(bytes);
  header_may_stand_ = true;
  file_->Write(HeaderOffset(header_->sequence), bytes);
  file_->Sync();
}

void Journal::BeginApplying() {
  if (header_->phase != Phase::kApplying) WriteHeader(Phase::kApplying);
}

// The older header goes first: it must not be found alone, as if the file had not been touched since.
void Journal::Void() {
  const std::uint8_t zeros[kHeaderBytes] = {};
  for (std::uint64_t sequence = header_->sequence < 2 ? header_->sequence : header_->sequence - 1;
       sequence <= header_->sequence; ++sequence) {
    file_->Write(HeaderOffset(sequence), zeros);
    file_->Sync();
  }
  header_may_stand_ = false;
}

void Journal::Finish() {
  Void();
  Discard();
  Reset();
}

bool Journal::Abandon() noexcept {
  if (file_ == nullptr || !in_doubt_) return true;
  try {
    if (has_state()) {
      const std::uint8_t zeros[kHeaderBytes] = {};
      file_->Write(HeaderOffset(header_->sequence), zeros);
      file_->Sync();
    } else {
      Void();
    }
    in_doubt_ = false;
    return true;
  } catch (const std::exception&) {
    // The next open finds the state of the failed commit, or the one before: the file is sound with either.
    return false;
  }
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

std::optional<Journal::Waiting> Journal::Recover(File& database, bool writable) {
  if (!files_.Exists(path_)) return std::nullopt;
  file_ = files_.Open(path_, writable ? OpenMode::kReadWrite : OpenMode::kRead);
  std::optional<JournalHeader> header = ReadHeader(*file_, path_);
  if (!header) {
    if (writable) {
      file_.reset();
      files_.Remove(path_);
    }
    Reset();
    return std::nullopt;
  }
  CheckBelongs(path_, *header, database, page_size_);
  Waiting waiting = ReadState(*header, database);
  *header_ = std::move(*header);
  header_may_stand_ = true;
  slots_ = header_->records;
  checksums_.resize(slots_);
  has_state_ = true;
  return waiting;
}

// Reads every record and looks at every page of the database that one is for.
Journal::Waiting Journal::ReadState(const JournalHeader& header, File& database) {
  struct Latest {
    std::uint64_t number = 0;
    Slot slot = 0;
    std::uint64_t checksum = 0;
    std::size_t strange_sectors = 0;
  };
  std::vector<Latest> latest(header.pages);
  std::vector<std::uint8_t> record(record_bytes());
  std::vector<std::uint8_t> now(page_size_);
  const bool applying = header.phase == Phase::kApplying;
  for (Slot slot = 1; slot <= header.records && file_->Size() >= Offset(slot + 1); ++slot) {
    Read(slot, record.data());
    const auto page = LoadLe<PageNo>(record.data());
    const auto number = LoadLe<std::uint64_t>(record.data() + kNumberOffset);
    const auto checksum = LoadLe<std::uint64_t>(record.data() + 8);
    // A record that is not part of the state may be torn, or of work that was not committed.
    if (page >= header.pages || number > header.last_number || number <= latest[page].number ||
        checksum != header.RecordHash(record.data())) {
      continue;
    }
    latest[page] = {number, slot, checksum, 0};
    if (page >= header.file_pages) continue;
    database.Read(std::uint64_t{page} * page_size_, now);
    for (std::size_t i = 0; i * kSector < page_size_; ++i) {
      const std::uint8_t* sector = now.data() + i * kSector;
      const bool old =
          LoadLe<std::uint32_t>(record.data() + kHashesOffset + 4 * i) == SectorHash(page, sector);
      const bool fresh =
          applying && std::memcmp(sector, record.data() + kPrefixBytes + i * kSector, kSector) == 0;
      latest[page].strange_sectors += !old && !fresh;
    }
  }
  Waiting waiting{header.file_pages, header.pages, {}};
  std::uint64_t digest = 0;
  std::size_t strange_sectors = 0;
  for (PageNo page = 0; page < header.pages; ++page) {
    if (latest[page].slot == 0) continue;
    waiting.changed.push_back({page, latest[page].slot});
    digest += latest[page].checksum;
    strange_sectors += latest[page].strange_sectors;
  }
  if (waiting.changed.size() != header.changed || digest != header.digest) {
    throw Error(ErrorKind::kCorrupt,
                fmt::format("The journal {} is damaged: its records do not match its header.", path_));
  }
  if (strange_sectors > (applying ? kMaxTornSectors : 0)) ThrowForeign(path_);
  return waiting;
}

}  // namespace jet::internal
