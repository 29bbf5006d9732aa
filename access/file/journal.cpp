#include "access/file/journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <random>
#include <utility>

namespace jet::internal {
namespace {

constexpr std::size_t kHeaderBytes = 512;
constexpr std::size_t kHashesOffset = 16;
constexpr std::size_t kSector = 512;
constexpr std::size_t kSectorHashes = 8;
constexpr std::size_t kRecordPrefix = kHashesOffset + 4 * kSectorHashes;
// Sectors that a crash may leave with neither their old nor their new content: what was on its way to a disk
// or server that does not write sectors of this size whole.
constexpr std::size_t kMaxTornSectors = 8;
constexpr std::uint32_t kMaxWitnesses = 28;
constexpr char kMagic[8] = {'p', 'g', 'j', 'r', 'n', 'l', '\x1A', '\x02'};

// Not cryptographic: it has to notice torn and stale blocks, not forged ones.
std::uint64_t Hash(std::uint64_t seed, const std::uint8_t* data, std::size_t size) {
  std::uint64_t h = seed ^ (size * 0x9E3779B97F4A7C15u);
  for (std::size_t i = 0; i + 8 <= size; i += 8) {
    h = (h ^ LoadLe<std::uint64_t>(data + i)) * 0xD6E8FEB86659FD93u;
    h ^= h >> 32;
  }
  return h;
}

std::uint64_t NewSalt() {
  std::random_device device;
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return (std::uint64_t{device()} << 32 | device()) ^ static_cast<std::uint64_t>(now);
}

// How many records fit in a buffer of about a megabyte.
std::size_t RecordsAtOnce(std::uint32_t page_size) {
  return (std::size_t{1} << 20) / (page_size + kRecordPrefix);
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
  PageNo old_pages = 0;
  PageNo new_pages = 0;
  std::uint32_t records = 0;
  std::uint64_t salt = 0;
  std::vector<Witness> witnesses;

  // Of a whole record but for the field that holds it.
  std::uint64_t RecordHash(const std::uint8_t* record) const {
    const std::uint64_t start = Hash(salt, record, 8);
    return Hash(start, record + kHashesOffset, page_size + kRecordPrefix - kHashesOffset);
  }
  std::uint32_t SectorHash(PageNo page, const std::uint8_t* sector) const {
    return static_cast<std::uint32_t>(Hash(salt + page, sector, kSector));
  }
  std::uint64_t FileBytes() const {
    return kHeaderBytes + std::uint64_t{records} * (kRecordPrefix + page_size);
  }

  void Encode(std::uint8_t* out) const {
    std::memset(out, 0, kHeaderBytes);
    std::memcpy(out, kMagic, sizeof kMagic);
    StoreLe(out + 8, page_size);
    StoreLe(out + 12, old_pages);
    StoreLe(out + 16, new_pages);
    StoreLe(out + 20, records);
    StoreLe(out + 24, salt);
    StoreLe(out + 32, static_cast<std::uint32_t>(witnesses.size()));
    for (std::size_t i = 0; i < witnesses.size(); ++i) {
      StoreLe(out + 40 + 16 * i, witnesses[i].page);
      StoreLe(out + 48 + 16 * i, witnesses[i].hash);
    }
    StoreLe(out + 504, Hash(0, out, 504));
  }
  static std::optional<JournalHeader> Decode(const std::uint8_t* in) {
    const auto witness_count = LoadLe<std::uint32_t>(in + 32);
    if (std::memcmp(in, kMagic, sizeof kMagic) != 0 || LoadLe<std::uint64_t>(in + 504) != Hash(0, in, 504) ||
        witness_count > kMaxWitnesses) {
      return std::nullopt;
    }
    JournalHeader h;
    h.page_size = LoadLe<std::uint32_t>(in + 8);
    h.old_pages = LoadLe<std::uint32_t>(in + 12);
    h.new_pages = LoadLe<std::uint32_t>(in + 16);
    h.records = LoadLe<std::uint32_t>(in + 20);
    h.salt = LoadLe<std::uint64_t>(in + 24);
    for (std::uint32_t i = 0; i < witness_count; ++i) {
      h.witnesses.push_back(
          {LoadLe<std::uint32_t>(in + 40 + 16 * i), LoadLe<std::uint64_t>(in + 48 + 16 * i)});
    }
    return h;
  }
};

namespace {

std::optional<JournalHeader> ReadHeader(File& journal) {
  if (journal.Size() < kHeaderBytes) return std::nullopt;
  std::uint8_t bytes[kHeaderBytes];
  journal.Read(0, bytes);
  return JournalHeader::Decode(bytes);
}

// Pages spread over the file, none of which is in `touched` (ascending).
std::vector<JournalHeader::Witness> PickWitnesses(File& database, std::uint32_t page_size, PageNo old_pages,
                                                  const std::vector<PageNo>& touched) {
  std::vector<JournalHeader::Witness> witnesses;
  std::vector<std::uint8_t> content(page_size);
  PageNo page = 0;
  for (std::uint32_t i = 0; i < kMaxWitnesses; ++i) {
    page = std::max(page, static_cast<PageNo>(std::uint64_t{old_pages} * i / kMaxWitnesses));
    for (auto it = std::lower_bound(touched.begin(), touched.end(), page); it != touched.end() && *it == page;
         ++it) {
      ++page;
    }
    if (page >= old_pages) break;
    database.Read(std::uint64_t{page} * page_size, content);
    witnesses.push_back({page, Hash(page, content.data(), page_size)});
    ++page;
  }
  return witnesses;
}

// Calls visit(page, content, record) for every record, in order. A record that does not match its checksum is
// Error(kCorrupt): the header vouches for them all.
template <typename Visit>
void ForEachRecord(File& journal, const std::string& path, const JournalHeader& header, Visit visit) {
  const std::size_t record_bytes = kRecordPrefix + header.page_size;
  const std::size_t at_once = RecordsAtOnce(header.page_size);
  std::vector<std::uint8_t> buffer(std::min<std::size_t>(at_once, header.records) * record_bytes);
  for (std::size_t done = 0; done < header.records; done += at_once) {
    const std::size_t n = std::min<std::size_t>(at_once, header.records - done);
    journal.Read(kHeaderBytes + done * record_bytes, MutableBytes(buffer.data(), n * record_bytes));
    for (std::size_t i = 0; i < n; ++i) {
      const std::uint8_t* record = buffer.data() + i * record_bytes;
      const auto page = LoadLe<PageNo>(record);
      if (page >= header.old_pages || LoadLe<std::uint64_t>(record + 8) != header.RecordHash(record)) {
        throw Error(ErrorKind::kCorrupt,
                    fmt::format("The journal {} is damaged: its record {} does not match its checksum.", path,
                                done + i));
      }
      visit(page, record + kRecordPrefix, record);
    }
  }
}

void RestorePages(File& journal, const std::string& path, const JournalHeader& header, File& database) {
  RunWriter writer(database, header.page_size);
  ForEachRecord(journal, path, header, [&](PageNo page, const std::uint8_t* content, const std::uint8_t*) {
    std::memcpy(writer.Add(page), content, header.page_size);
  });
  writer.Flush();
  const std::uint64_t old_size = std::uint64_t{header.old_pages} * header.page_size;
  if (database.Size() != old_size) database.Truncate(old_size);
  database.Sync();
}

void CheckBelongs(const std::string& path, const JournalHeader& header, File& database,
                  std::uint32_t page_size) {
  const std::uint64_t size = database.Size();
  // While a checkpoint runs the file has any size from the old to the new one.
  if (header.page_size != page_size || size < std::uint64_t{header.old_pages} * page_size ||
      size > std::uint64_t{header.new_pages} * page_size) {
    ThrowForeign(path);
  }
  std::vector<std::uint8_t> content(page_size);
  for (const JournalHeader::Witness& witness : header.witnesses) {
    if (witness.page >= header.old_pages) ThrowForeign(path);
    database.Read(std::uint64_t{witness.page} * page_size, content);
    if (Hash(witness.page, content.data(), page_size) != witness.hash) ThrowForeign(path);
  }
}

// Looks at all records before the first page of the database is overwritten.
void CheckRecords(File& journal, const std::string& path, const JournalHeader& header, File& database) {
  if (journal.Size() < header.FileBytes()) {
    throw Error(ErrorKind::kCorrupt, fmt::format("The journal {} is damaged: it ends too early.", path));
  }
  std::vector<std::uint8_t> now(header.page_size);
  std::size_t strange = 0;
  ForEachRecord(
      journal, path, header, [&](PageNo page, const std::uint8_t* content, const std::uint8_t* record) {
        database.Read(std::uint64_t{page} * header.page_size, now);
        for (std::size_t i = 0; i * kSector < header.page_size; ++i) {
          const std::uint8_t* sector = now.data() + i * kSector;
          strange += std::memcmp(sector, content + i * kSector, kSector) != 0 &&
                     LoadLe<std::uint32_t>(record + kHashesOffset + 4 * i) != header.SectorHash(page, sector);
        }
      });
  if (strange > kMaxTornSectors) ThrowForeign(path);
}

}  // namespace

RunWriter::RunWriter(File& file, std::uint32_t page_size) : file_(file), page_size_(page_size) {}

std::uint8_t* RunWriter::Add(PageNo page) {
  if (pages_ == kBufferPages || (pages_ != 0 && page != first_ + pages_)) Flush();
  if (pages_ == 0) first_ = page;
  ++pages_;
  if (buffer_.size() < pages_ * page_size_) buffer_.resize(pages_ * page_size_);
  return buffer_.data() + (pages_ - 1) * page_size_;
}

void RunWriter::Flush() {
  if (pages_ == 0) return;
  const std::size_t bytes = std::exchange(pages_, 0) * page_size_;
  file_.Write(std::uint64_t{first_} * page_size_, Bytes(buffer_.data(), bytes));
}

Journal::Journal(FileSystem& files, std::string path, std::uint32_t page_size)
    : files_(files),
      path_(std::move(path)),
      page_size_(page_size),
      header_(std::make_unique<JournalHeader>()) {}

Journal::~Journal() = default;

void Journal::Begin(File& database, PageNo old_pages, PageNo new_pages, const std::vector<PageNo>& pages,
                    const NewContent& new_content) {
  if (files_.Exists(path_)) {
    // A valid one was rolled back when the database was opened. One that has come since is not ours to
    // remove.
    if (ReadHeader(*files_.Open(path_, OpenMode::kRead))) {
      throw Error(
          ErrorKind::kLocked,
          fmt::format("The journal {} was made by another program meanwhile. It must not be overwritten.",
                      path_));
    }
    files_.Remove(path_);
  }
  state_ = State::kWriting;
  file_ = files_.Open(path_, OpenMode::kCreateNew);
  header_->page_size = page_size_;
  header_->old_pages = old_pages;
  header_->new_pages = new_pages;
  header_->records = static_cast<std::uint32_t>(pages.size());
  header_->salt = NewSalt();
  header_->witnesses = PickWitnesses(database, page_size_, old_pages, pages);
  WriteRecords(database, pages, new_content);
  file_->Sync();
  WriteHeader();
  files_.SyncFolder(path_);
  state_ = State::kActive;
}

void Journal::WriteRecords(File& database, const std::vector<PageNo>& pages, const NewContent& new_content) {
  const std::size_t at_once = std::min(RecordsAtOnce(page_size_), std::max<std::size_t>(pages.size(), 1));
  const std::size_t record_bytes = kRecordPrefix + page_size_;
  std::vector<std::uint8_t> run(at_once * page_size_);
  std::vector<std::uint8_t> records(at_once * record_bytes);
  std::vector<std::uint8_t> fresh(page_size_);
  std::uint64_t offset = kHeaderBytes;
  for (std::size_t next = 0; next < pages.size();) {
    std::size_t filled = 0;
    while (next < pages.size() && filled < at_once) {
      std::size_t n = 1;  // neighbours are read in one go
      while (filled + n < at_once && next + n < pages.size() && pages[next + n] == pages[next] + n) ++n;
      database.Read(std::uint64_t{pages[next]} * page_size_, MutableBytes(run.data(), n * page_size_));
      for (std::size_t i = 0; i < n; ++i) {
        std::uint8_t* record = records.data() + (filled + i) * record_bytes;
        const PageNo page = pages[next + i];
        StoreLe(record, page);
        StoreLe(record + 4, std::uint32_t{0});
        new_content(page, fresh.data());
        for (std::size_t s = 0; s * kSector < page_size_; ++s) {
          StoreLe(record + kHashesOffset + 4 * s, header_->SectorHash(page, fresh.data() + s * kSector));
        }
        std::memcpy(record + kRecordPrefix, run.data() + i * page_size_, page_size_);
        StoreLe(record + 8, header_->RecordHash(record));
      }
      filled += n;
      next += n;
    }
    file_->Write(offset, Bytes(records.data(), filled * record_bytes));
    offset += filled * record_bytes;
  }
}

void Journal::WriteHeader() {
  std::uint8_t bytes[kHeaderBytes];
  header_->Encode(bytes);
  file_->Write(0, bytes);
  file_->Sync();
}

void Journal::Void() {
  const std::uint8_t zeros[kHeaderBytes] = {};
  file_->Write(0, zeros);
  file_->Sync();
}

void Journal::Remove() {
  file_.reset();
  files_.Remove(path_);
}

void Journal::Finish() {
  state_ = State::kEnding;
  Void();
  state_ = State::kNone;
  try {
    Remove();
  } catch (const Error&) {
    // A void journal harms nobody; the next checkpoint or open removes it.
  }
}

void Journal::Abandon(File& database) noexcept {
  if (file_ == nullptr) return;
  try {
    // A header that was being made void must stand again before the file is touched, or a second failure
    // would leave a file half rolled back with nothing to say so. If this fails, the file holds the whole new
    // state and the journal decides at the next open: both outcomes are a checkpoint.
    if (state_ == State::kEnding) WriteHeader();
    if (state_ != State::kWriting) RestorePages(*file_, path_, *header_, database);
    Void();
    Remove();
  } catch (const std::exception&) {
    file_.reset();  // left for the next open
  }
}

void Journal::RollBackAtOpen(FileSystem& files, const std::string& path, File& database, bool writable,
                             std::uint32_t page_size) {
  if (!files.Exists(path)) return;
  Journal journal(files, path, page_size);
  journal.file_ = files.Open(path, writable ? OpenMode::kReadWrite : OpenMode::kRead);
  const std::optional<JournalHeader> header = ReadHeader(*journal.file_);
  if (!header) {
    if (writable) journal.Remove();
    return;
  }
  if (!writable) {
    throw Error(
        ErrorKind::kReadOnly,
        fmt::format("The database has an unfinished change that has to be taken back with the journal {} "
                    "before it can be read. Open it for writing once.",
                    path));
  }
  CheckBelongs(path, *header, database, page_size);
  CheckRecords(*journal.file_, path, *header, database);
  RestorePages(*journal.file_, path, *header, database);
  journal.Void();
  journal.Remove();
}

}  // namespace jet::internal
