// Column types, row identifiers and format versions: the words that every layer of the engine shares.
#pragma once

#include <compare>
#include <cstdint>

#include "access/base/bytes.h"

namespace jet {

// Type codes as they stand in a column descriptor.
enum class ColumnType : std::uint8_t {
  kBoolean = 0x01,
  kByte = 0x02,
  kInteger = 0x03,  // 16 bits
  kLong = 0x04,     // 32 bits
  kCurrency = 0x05,
  kSingle = 0x06,
  kDouble = 0x07,
  kDateTime = 0x08,
  kBinary = 0x09,
  kText = 0x0A,
  kOle = 0x0B,
  kMemo = 0x0C,
  kGuid = 0x0F,
  kDecimal = 0x10,
  kComplex = 0x12,
  kBigInt = 0x13,           // ACE 16
  kDateTimeExtended = 0x14  // ACE 17
};

enum class Format { kJet3, kJet4, kAce12, kAce14, kAce16, kAce17 };

// A row's address: page and slot of its header slot. It never changes while the row lives.
struct RowId {
  std::uint32_t packed = 0;  // page << 8 | slot

  RowId() = default;
  RowId(PageNo page, std::uint8_t slot) : packed(page << 8 | slot) {}
  static RowId FromPacked(std::uint32_t packed) {
    RowId r;
    r.packed = packed;
    return r;
  }
  PageNo page() const { return packed >> 8; }
  std::uint8_t slot() const { return packed; }
  auto operator<=>(const RowId&) const = default;
};

}  // namespace jet
