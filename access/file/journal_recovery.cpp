// What is found beside a database that is opened: whether a journal belongs to it, and what it holds.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "access/file/journal.h"
#include "access/file/journal_header.h"
#include "access/file/journal_others.h"

namespace jet::internal {
namespace {

[[noreturn]] void ThrowForeign(const std::string& path) {
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The journal {} does not belong to the database as it is now: the database was "
                          "replaced or changed after the journal was written. Nothing was changed. Move the "
                          "journal away to open the database as it is; what is in the journal is lost then.",
                          path));
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

std::optional<Journal::Waiting> Journal::Recover(bool writable) {
  if (!files_.Exists(path_)) return std::nullopt;
  const bool at_work = !writable && database_.HasWriter();
  file_ = files_.OpenCompanion(path_, writable ? OpenMode::kReadWrite : OpenMode::kRead, database_);
  JournalHeaders headers;
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
      // Of a commit that was cut short the records may be missing. It was never said to be durable.
      if (error.kind() != ErrorKind::kCorrupt || !std::exchange(headers.cut_short, false)) throw;
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
