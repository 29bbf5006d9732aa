// One value as the engine stores and returns it, free of column types.
//
//   column type                      kind
//   Yes/No                           kInteger, -1 (true) or 0
//   Byte, Integer, Long, Large       kInteger
//   Single, Double, Date/Time        kReal (a date is the number of days since 1899-12-30)
//   Currency, Decimal                kDecimal
//   Text, Memo, GUID, Date/Time Ext. kText, UTF-8 (GUID as "{...}" in capitals); an unpaired surrogate is
//                                    kept as its own three bytes so that no text changes by being read and
//                                    written
//   Binary, OLE, unknown types       kBlob
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "access/base/types.h"

namespace jet {

// A decimal number: (negative ? -1 : 1) * magnitude / 10^scale, magnitude below 2^96.
struct Decimal {
  std::uint64_t low = 0;
  std::uint32_t high = 0;  // bits 64..95
  std::uint8_t scale = 0;
  bool negative = false;

  bool operator==(const Decimal&) const = default;

  static Decimal FromScaledInt64(std::int64_t value, std::uint8_t scale);
  // Exact text such as "-12.3400"; trailing zeros of the scale are kept.
  std::string ToText() const;
  // Parses digits with optional sign, point and exponent; false when it is no number or has more than 28
  // digits.
  static bool FromText(std::string_view text, Decimal* out);
  double ToDouble() const;
};

enum class ValueKind : std::uint8_t { kNull, kInteger, kReal, kDecimal, kText, kBlob };
// What columns of a type hold, as above.
ValueKind KindOf(ColumnType type);

class Value {
 public:
  Value() = default;
  static Value Null() { return {}; }
  static Value Integer(std::int64_t v) {
    Value r(ValueKind::kInteger);
    r.integer_ = v;
    return r;
  }
  static Value Real(double v) {
    Value r(ValueKind::kReal);
    r.real_ = v;
    return r;
  }
  static Value Dec(const Decimal& v) {
    Value r(ValueKind::kDecimal);
    r.decimal_ = v;
    return r;
  }
  static Value Text(std::string utf8) {
    Value r(ValueKind::kText);
    r.bytes_ = std::move(utf8);
    return r;
  }
  static Value Blob(std::string bytes) {
    Value r(ValueKind::kBlob);
    r.bytes_ = std::move(bytes);
    return r;
  }

  ValueKind kind() const { return kind_; }
  bool is_null() const { return kind_ == ValueKind::kNull; }
  std::int64_t integer() const { return integer_; }
  double real() const { return real_; }
  const Decimal& decimal() const { return decimal_; }
  // UTF-8 of kText, raw bytes of kBlob.
  const std::string& bytes() const { return bytes_; }

  bool operator==(const Value&) const;

 private:
  explicit Value(ValueKind kind) : kind_(kind) {}

  ValueKind kind_ = ValueKind::kNull;
  std::int64_t integer_ = 0;
  double real_ = 0;
  Decimal decimal_;
  std::string bytes_;
};

}  // namespace jet
