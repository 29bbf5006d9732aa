// A value as recordsets and commands pass it: a variant with the conversions of the run-time that the fixes
// rely on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "access/base/calendar.h"

namespace vnt::db {

enum class ValueType : std::uint8_t {
  kEmpty,  // never assigned; not the same as Null
  kNull,
  kInt16,
  kInt32,
  kInt64,
  kSingle,
  kDouble,
  kCurrency,  // 64-bit integer, value x 10,000
  kDecimal,   // exact decimal text
  kBoolean,
  kDate,  // days since 30 December 1899
  kText,  // UTF-8
  kBinary,
};

class Value {
 public:
  Value() = default;  // Empty
  static Value Null();
  static Value Int16(std::int16_t v);
  static Value Int32(std::int32_t v);
  static Value Int64(std::int64_t v);
  static Value Single(float v);
  static Value Double(double v);
  static Value Currency(std::int64_t scaled);
  static Value Decimal(std::string digits);
  static Value Boolean(bool v);
  static Value Date(double days);
  static Value Text(std::string utf8);
  static Value Binary(std::string bytes);

  ValueType type() const { return type_; }
  bool is_empty() const { return type_ == ValueType::kEmpty; }
  bool is_null() const { return type_ == ValueType::kNull; }
  bool is_empty_or_null() const { return is_empty() || is_null(); }

  // Raw access; only for the type named.
  std::int64_t raw_integer() const {
    return integer_;
  }                                              // kInt16, kInt32, kInt64, kCurrency, kBoolean (-1, 0)
  double raw_double() const { return double_; }  // kSingle, kDouble, kDate
  const std::string& raw_bytes() const { return bytes_; }  // kText, kBinary, kDecimal

  // Conversions as the run-time does them. Null raises 94 "Invalid use of Null", text that is no number 13
  // "Type mismatch", a value out of range 6 "Overflow". Halves round to even. Empty is 0, or the empty text.
  std::int16_t ToInt16() const;
  std::int32_t ToInt32() const;
  double ToDouble() const;
  double ToDate() const;
  bool ToBoolean() const;
  // Numbers in the shortest form that reads back as the same value, "." as decimal point, no trailing zeros.
  std::string ToText() const;

  // The same, with another value in place of Null.
  std::int16_t Int16Or(std::int16_t other) const { return is_null() ? other : ToInt16(); }
  std::int32_t Int32Or(std::int32_t other) const { return is_null() ? other : ToInt32(); }
  double DoubleOr(double other) const { return is_null() ? other : ToDouble(); }
  double DateOr(double other) const { return is_null() ? other : ToDate(); }
  std::string TextOr(std::string_view other) const { return is_null() ? std::string(other) : ToText(); }

  bool operator==(const Value&) const;

 private:
  ValueType type_ = ValueType::kEmpty;
  std::int64_t integer_ = 0;
  double double_ = 0;
  std::string bytes_;
};

// A calendar date and time of day, and the date number (days since 30 December 1899) it stands for.
using DateParts = jet::CalendarTime;
using jet::CurrentDate;
using jet::IsValidDate;
using jet::JoinDate;
// Raises 6 "Overflow" when it is no date number.
DateParts SplitDate(double days);

// Removes leading and trailing blanks (only U+0020).
std::string Trim(std::string_view text);

}  // namespace vnt::db
