#include "access/index/collation.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace jet::internal {
namespace {

constexpr std::uint8_t HexDigit(char c) { return c <= '9' ? c - '0' : c - 'a' + 10; }

constexpr UnitClass ClassOf(char letter) {
  switch (letter) {
    case 'N':
      return UnitClass::kNormal;
    case 'A':
      return UnitClass::kAccented;
    case 'M':
      return UnitClass::kMark;
    case 'U':
      return UnitClass::kUnprintable;
    case 'K':
      return UnitClass::kKana;
    case 'G':
      return UnitClass::kPlaceholder;
    default:
      throw "unknown class";  // stops the compilation of a table that has one
  }
}

constexpr std::uint16_t Number(std::string_view hex) {
  unsigned value = 0;
  for (char c : hex) value = value << 4 | HexDigit(c);
  return value;
}

template <std::size_t N>
constexpr std::uint8_t FromHex(std::string_view hex, std::array<std::uint8_t, N>& out) {
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    out[i / 2] = HexDigit(hex[i]) << 4 | HexDigit(hex[i + 1]);
  }
  return hex.size() / 2;
}

// One line of a list: the columns first, last, step, class, inline, extra, flag.
struct Range {
  std::uint16_t first;
  std::uint16_t last;
  bool counts_up;  // inline bytes count up from unit to unit
  Unit unit;

  constexpr Range(std::string_view first_hex, std::string_view last_hex, std::string_view step, char letter,
                  std::string_view inline_hex, std::string_view extra_hex, std::string_view flag)
      : first(Number(first_hex)),
        last(last_hex.empty() ? first : Number(last_hex)),
        counts_up(step == "+"),
        unit{} {
    unit.unit_class = ClassOf(letter);
    unit.inline_size = FromHex(inline_hex, unit.inline_bytes);
    unit.extra_size = FromHex(extra_hex, unit.extra_bytes);
    unit.kana_flag = flag.empty() ? std::uint8_t{0} : HexDigit(flag[0]);
  }
};

constexpr Range kGeneralLegacyRanges[] = {
#include "tables/general-legacy.inc"
};
constexpr Range kGeneralRanges[] = {
#include "tables/general.inc"
};
constexpr Range kGeneral97Ranges[] = {
#include "tables/general-97.inc"
};

std::span<const Range> RangesOf(Collation collation) {
  switch (collation) {
    case Collation::kGeneralLegacy:
      return kGeneralLegacyRanges;
    case Collation::kGeneral:
      return kGeneralRanges;
    case Collation::kGeneral97:
      return kGeneral97Ranges;
    case Collation::kUnsupported:
      break;
  }
  return {};
}

// Key bytes 00 and 01 separate the parts of a key, so counting up goes from FF to 02.
void CountUp(Unit* unit) {
  for (int i = unit->inline_size - 1; i >= 0; --i) {
    std::uint8_t& byte = unit->inline_bytes[i];
    if (byte != 0xFF) {
      ++byte;
      return;
    }
    byte = 0x02;
  }
}

}  // namespace

CollationTable::CollationTable(Collation collation) : blocks_(256) {
  for (const Range& range : RangesOf(collation)) {
    Unit unit = range.unit;
    for (unsigned u = range.first; u <= range.last; ++u) {
      At(u) = unit;
      if (range.counts_up) CountUp(&unit);
    }
  }
}

Unit& CollationTable::At(std::uint16_t unit) {
  std::uint32_t& block = block_of_[unit >> 8];
  if (block == 0) {
    block = blocks_.size();
    blocks_.resize(blocks_.size() + 256);
  }
  return blocks_[block + (unit & 0xFF)];
}

const CollationTable& CollationTable::Get(Collation collation) {
  switch (collation) {
    case Collation::kGeneral: {
      static const CollationTable general(Collation::kGeneral);
      return general;
    }
    case Collation::kGeneral97: {
      static const CollationTable general97(Collation::kGeneral97);
      return general97;
    }
    case Collation::kGeneralLegacy:
    case Collation::kUnsupported:
      break;
  }
  static const CollationTable legacy(Collation::kGeneralLegacy);
  return legacy;
}

}  // namespace jet::internal
