// The bytes of a journal that say what it holds (see journal.h), and what tells them from damage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "access/base/hash.h"
#include "access/file/file.h"
#include "access/file/journal.h"

namespace jet::internal {

// Where the two headers stand, and the records behind them.
inline constexpr std::uint64_t kHeaderOffsets[] = {0, 4096};
inline constexpr std::uint64_t kRecordsOffset = 8192;
// Within a record.
inline constexpr std::size_t kNumberOffset = 16;
inline constexpr std::size_t kHashesOffset = 32;
inline constexpr std::size_t kSector = 512;

inline constexpr std::uint32_t kMaxWitnesses = 25;

inline std::uint64_t SectorHash(PageNo page, const std::uint8_t* sector) {
  return Hash(page, sector, kSector);
}

struct JournalHeader {
  struct Witness {
    PageNo page = 0;
    std::uint64_t hash = 0;
  };
  std::uint32_t page_size = 0;
  Journal::Phase phase = Journal::Phase::kNothing;
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
  std::uint64_t RecordHash(const std::uint8_t* record) const;
  void Encode(std::uint8_t* out) const;
  static std::optional<JournalHeader> Decode(const std::uint8_t* in);
};

struct JournalHeaders {
  std::optional<JournalHeader> newest;  // none: the journal has no state
  // The second place holds what was before the newest one, a state or nothing: the commit was cut short, if
  // it was not the newest's change of phase.
  bool cut_short = false;
  std::optional<JournalHeader> before;
};

// Error(kCorrupt) when it cannot be told what the journal says, or it is of another version, which may say
// something that would be lost.
JournalHeaders ReadHeaders(File& journal, const std::string& path);

[[noreturn]] void ThrowDamaged(const std::string& path, const char* what);

}  // namespace jet::internal
