#include "access/file/journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <utility>

#include "access/base/hash.h"

namespace jet::internal {
namespace {

constexpr std::size_t kHeaderBytes = Journal::kHeaderBytes;
constexpr std::uint64_t kHeaderOffsets[] = {0, 4096};
constexpr std::uint64_t kRecordsOffset = 8192;

constexpr std::size_t kNumberOffset = 16;
constexpr std::size_t kHashesOffset = 32;
constexpr std::size_t kSector = 512;
// All other pages are hashed when the journal has at least this share of the file, or the file is that small:
// otherwise reading them would cost more than a short run.
constexpr std::size_t kOthersShare = 8;
constexpr PageNo kSmallFile = 256;
constexpr std::size_t kRecycledShare = 16;  // of all slots, that are taken again together
constexpr std::uint32_t kMaxWitnesses = 25;
constexpr char kMagic[8] = {'p', 'g', 'j', 'r', 'n', 'l', '\x1A', '\x04'};
constexpr std::size_t kVersionByte = 7;

std::uint64_t SectorHash(PageNo page, const std::uint8_t* sector) { return Hash(page, sector, kSector); }

std::uint64_t NewSalt() {
  std::random_device device;
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return (std::uint64_t{device()} << 32 | device()) ^ now;
}

[[noreturn]] void ThrowForeign(const std::string& path) {
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The journal {} does not belong to the database as it is now: the database was "
                          "replaced or changed after the journal was written. Nothing was changed. Move the "
                          "journal away to open the database as it is; what is in the journal is lost then.",
                          path));
}

[[noreturn]] void ThrowDamaged(const std::string& path, const char* what) {
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The journal {} is damaged: {}. Nothing was changed. Restore it together with the "
                          "database from a copy; or move it away, which gives up what it holds, and let the "
                          "database be checked: it may be half written.",
                          path, what));
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
  std::int64_t modified = 0;
  std::uint64_t others = 0;
  bool has_others = false;
  std::vector<Witness> witnesses;

  // Of a whole record but for the field that holds it.
  std::uint64_t RecordHash(const std::uint8_t* record) const {
    const std::uint64_t start = Hash(salt, record, 8);
    return Hash(start, record + kNumberOffset, Journal::kPrefixBytes - kNumberOffset + page_size);
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
    StoreLe<std::uint32_t>(out + 52, witnesses.size());
    StoreLe(out + 56, digest);
    StoreLe(out + 64, last_number);
    StoreLe(out + 72, modified);
    StoreLe(out + 80, others);
    StoreLe(out + 88, std::uint32_t{has_others});
    for (std::size_t i = 0; i < witnesses.size(); ++i) {
      StoreLe(out + 96 + 16 * i, witnesses[i].page);
      StoreLe(out + 104 + 16 * i, witnesses[i].hash);
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
    h.modified = LoadLe<std::int64_t>(in + 72);
    h.others = LoadLe<std::uint64_t>(in + 80);
    h.has_others = LoadLe<std::uint32_t>(in + 88) != 0;
    for (std::uint32_t i = 0; i < witness_count; ++i) {
      h.witnesses.push_back(
          {LoadLe<std::uint32_t>(in + 96 + 16 * i), LoadLe<std::uint64_t>(in + 104 + 16 * i)});
    }
    return h;
  }
};

namespace {

struct Headers {
  std::optional<JournalHeader> newest;  // none: the journal was never committed
  // The second place does not hold the newest one yet: the commit was cut short, if it was not the newest's
  // change of phase. What it holds is the state before, or nothing.
  bool cut_short = false;
  std::optional<JournalHeader> before;
};

// Error(kCorrupt) when it cannot be told what the journal says, or it is of another version, which may say
// something that would be lost.
Headers ReadHeaders(File& journal, const std::string& path) {
  std::optional<JournalHeader> places[std::size(kHeaderOffsets)];
  bool second_written = false, other_version = false;
  const std::uint64_t size = journal.Size();
  for (std::size_t i = 0; i < std::size(kHeaderOffsets); ++i) {
    const std::uint64_t offset = kHeaderOffsets[i];
    std::uint8_t bytes[kHeaderBytes] = {};
    if (size > offset) {
      journal.Read(offset, MutableBytes(bytes, std::min<std::uint64_t>(size - offset, kHeaderBytes)));
    }
    places[i] = JournalHeader::Decode(bytes);
    if (size < kHeaderBytes && std::memcmp(bytes, kMagic, sizeof kMagic) == 0) {
      ThrowDamaged(path, "it ends within its header");
    }
    other_version |= !places[i] && std::memcmp(bytes, kMagic, kVersionByte) == 0 &&
                     bytes[kVersionByte] != kMagic[kVersionByte];
    second_written = std::any_of(bytes, bytes + kHeaderBytes, [](std::uint8_t byte) { return byte != 0; });
  }
  auto& [first, second] = places;
  if (!first && !second) {
    if (other_version) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("The journal {} was written by another version of this program, or is damaged. "
                              "Nothing was changed. Open the database with that version first; or move the "
                              "journal away, which gives up what it holds.",
                              path));
    }
    if (second_written) ThrowDamaged(path, "neither of its headers is whole");
    return {};
  }
  Headers headers;
  if (first && (!second || first->sequence > second->sequence)) {
    headers.cut_short = second || !second_written;
    headers.before = std::move(second);
    headers.newest = std::move(first);
  } else {
    headers.newest = std::move(second);
  }
  return headers;
}

// Calls use(page, content) for all pages of the file that are not in `changed` (ascending).
template <typename Use>
void ForEachOther(File& database, std::uint32_t page_size, PageNo file_pages,
                  const std::vector<JournalPage>& changed, Use use) {
  constexpr PageNo kRun = 256;
  std::vector<std::uint8_t> content(std::size_t{std::min(kRun, file_pages)} * page_size);
  auto next = changed.begin();
  for (PageNo page = 0; page < file_pages;) {
    while (next != changed.end() && next->page < page) ++next;
    if (next != changed.end() && next->page == page) {
      ++page;
      continue;
    }
    PageNo end = std::min(page + kRun, file_pages);
    if (next != changed.end()) end = std::min(end, next->page);
    const std::size_t bytes = std::size_t{end - page} * page_size;
    database.Read(std::uint64_t{page} * page_size, MutableBytes(content.data(), bytes));
    for (const std::uint8_t* at = content.data(); page < end; ++page, at += page_size) use(page, at);
  }
}

std::uint64_t DigestOfOthers(File& database, std::uint32_t page_size, PageNo file_pages,
                             const std::vector<JournalPage>& changed) {
  std::uint64_t digest = 0;
  ForEachOther(database, page_size, file_pages, changed,
               [&](PageNo page, const std::uint8_t* content) { digest += Hash(page, content, page_size); });
  return digest;
}

// Pages spread over the file, none of which is in `changed` (ascending).
std::vector<JournalHeader::Witness> PickWitnesses(File& database, std::uint32_t page_size, PageNo file_pages,
                                                  const std::vector<JournalPage>& changed) {
  std::vector<JournalHeader::Witness> witnesses;
  std::vector<std::uint8_t> content(page_size);
  PageNo page = 0;
  for (std::uint32_t i = 0; i < kMaxWitnesses; ++i) {
    page = std::max<PageNo>(page, std::uint64_t{file_pages} * i / kMaxWitnesses);
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

// Before anything is made of the header's numbers: they are bounded by what there is.
void CheckBelongs(const std::string& path, const JournalHeader& header, File& journal, File& database,
                  std::uint32_t page_size) {
  const std::uint64_t record_bytes = Journal::kPrefixBytes + page_size;
  const std::uint64_t size = database.Size();
  const std::uint64_t old_size = std::uint64_t{header.file_pages} * page_size;
  const bool applying = header.phase == Journal::Phase::kApplying;
  // While the file is brought up to date it has any size from the old to the new one.
  if (header.page_size != page_size || size < old_size ||
      size > (applying ? std::uint64_t{header.pages} * page_size : old_size)) {
    ThrowForeign(path);
  }
  if (journal.Size() < kRecordsOffset + header.records * record_bytes || header.changed > header.records ||
      (header.pages > header.file_pages && header.pages - header.file_pages > header.changed)) {
    ThrowDamaged(path, "it is shorter than its header says");
  }
  if (!applying && header.modified != database.Stamp().modified) ThrowForeign(path);
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

// The second one goes first: without it the first counts only when it is whole.
void Journal::Void() {
  const std::uint8_t zeros[kHeaderBytes] = {};
  for (const std::uint64_t offset : {kHeaderOffsets[1], kHeaderOffsets[0]}) {
    file_->Write(offset, zeros);
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
    Void();
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
      Void();
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
    Void();
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

std::optional<Journal::Waiting> Journal::Recover(bool writable) {
  if (!files_.Exists(path_)) return std::nullopt;
  const bool at_work = !writable && database_.HasWriter();
  file_ = files_.OpenCompanion(path_, writable ? OpenMode::kReadWrite : OpenMode::kRead, database_);
  Headers headers;
  try {
    headers = ReadHeaders(*file_, path_);
  } catch (const Error&) {
    if (!at_work) throw;
  }
  for (std::optional<JournalHeader>* header : {&headers.newest, &headers.before}) {
    if (!*header || (at_work && (*header)->phase == Phase::kCommitted)) break;
    Waiting waiting;
    try {
      CheckBelongs(path_, **header, *file_, database_, page_size_);
      waiting = ReadState(**header);
      *header_ = std::move(**header);
    } catch (const Error& error) {
      // Of a commit that was cut short the records may be missing. It was never said to be durable. But a
      // second header may be lost, too: that the first commit was cut short shows in a file that nobody has
      // touched since.
      if (error.kind() != ErrorKind::kCorrupt || !std::exchange(headers.cut_short, false)) throw;
      if (!headers.before && !IsUntouched(**header)) throw;
      continue;
    }
    header_may_stand_ = true;
    slots_ = header_->records;
    checksums_.resize(slots_);
    has_state_ = true;
    header_->Encode(committed_.data());
    return waiting;
  }
  if (writable) {
    file_.reset();
    files_.Remove(path_);
  }
  Reset();
  return std::nullopt;
}

bool Journal::IsUntouched(const JournalHeader& header) {
  return database_.Stamp().modified == header.modified &&
         database_.Size() == std::uint64_t{header.file_pages} * page_size_;
}

// Reads every record and looks at every page of the database that one is for.
Journal::Waiting Journal::ReadState(const JournalHeader& header) {
  struct Latest {
    std::uint64_t number = 0;
    Slot slot = 0;
    std::uint64_t checksum = 0;
    bool strange = false;  // a sector of the file is neither old nor new
  };
  std::vector<Latest> latest(header.pages);
  std::vector<std::uint8_t> record(record_bytes());
  std::vector<std::uint8_t> now(page_size_);
  const bool applying = header.phase == Phase::kApplying;
  const std::uint64_t size = database_.Size();
  const std::uint8_t zeros[kSector] = {};
  for (Slot slot = 1; slot <= header.records; ++slot) {
    Read(slot, record.data());
    const auto page = LoadLe<PageNo>(record.data());
    const auto number = LoadLe<std::uint64_t>(record.data() + kNumberOffset);
    const auto checksum = LoadLe<std::uint64_t>(record.data() + 8);
    // A record that is not part of the state may be torn, or of work that was not committed.
    if (page >= header.pages || number > header.last_number || number <= latest[page].number ||
        checksum != header.RecordHash(record.data())) {
      continue;
    }
    latest[page] = {number, slot, checksum, false};
    const std::uint64_t start = std::uint64_t{page} * page_size_;
    if (start >= size) continue;
    const std::size_t bytes = std::min<std::uint64_t>(page_size_, size - start);
    database_.Read(start, MutableBytes(now.data(), bytes));
    for (std::size_t at = 0; at < bytes; at += kSector) {
      const std::size_t count = std::min(kSector, bytes - at);
      // A page that the file did not have holds nothing before it holds the new content.
      const bool old = page < header.file_pages
                           ? LoadLe<std::uint64_t>(record.data() + kHashesOffset + at / kSector * 8) ==
                                 SectorHash(page, now.data() + at)
                           : std::memcmp(now.data() + at, zeros, count) == 0;
      const bool fresh =
          applying && std::memcmp(now.data() + at, record.data() + kPrefixBytes + at, count) == 0;
      latest[page].strange |= !old && !fresh;
    }
  }
  Waiting waiting{header.file_pages, header.pages, {}};
  std::uint64_t digest = 0;
  bool strange = false;
  for (PageNo page = 0; page < header.pages; ++page) {
    if (latest[page].slot == 0) continue;
    waiting.changed.push_back({page, latest[page].slot});
    digest += latest[page].checksum;
    strange |= latest[page].strange;
  }
  if (waiting.changed.size() != header.changed || digest != header.digest) {
    ThrowDamaged(path_, "its records do not match its header");
  }
  if (strange || (header.has_others && header.others != DigestOfOthers(database_, page_size_,
                                                                       header.file_pages, waiting.changed))) {
    ThrowForeign(path_);
  }
  return waiting;
}

}  // namespace jet::internal
