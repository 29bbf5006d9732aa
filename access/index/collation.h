// Collation tables: what each UTF-16 code unit (each byte in Jet 3) contributes to an index key.
//
// The lists in collation/*.tsv become arrays of ranges when the library is built; on first use a collation is
// spread out to blocks of 256 units, so that a unit costs one lookup. Surrogates are computed, not listed.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "access/index/key.h"

namespace jet::internal {

enum class UnitClass : std::uint8_t {
  kIgnored,
  kNormal,       // inline bytes
  kAccented,     // inline bytes and accent bytes
  kMark,         // combining mark: changes the accent of what stands before it
  kUnprintable,  // only noted, with its position, at the end of the key
  kKana,         // inline bytes, a kana flag, perhaps accent bytes
  kPlaceholder,  // Jet 3: inline bytes, and a place in the list of accents
};

struct Unit {
  UnitClass unit_class = UnitClass::kIgnored;
  std::uint8_t inline_size = 0;
  std::uint8_t extra_size = 0;
  std::uint8_t kana_flag = 0;
  std::array<std::uint8_t, 8> inline_bytes{};
  std::array<std::uint8_t, 4> extra_bytes{};
};

class CollationTable {
 public:
  // Not for kUnsupported.
  static const CollationTable& Get(Collation collation);

  const Unit& operator[](std::uint16_t unit) const { return blocks_[block_of_[unit >> 8] + (unit & 0xFF)]; }

 private:
  explicit CollationTable(Collation collation);
  Unit& At(std::uint16_t unit);

  std::array<std::uint32_t, 256> block_of_{};  // start in blocks_; block 0 holds ignored units only
  std::vector<Unit> blocks_;
};

}  // namespace jet::internal
