#include "access/base/value.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace jet {
namespace {

using U128 = unsigned __int128;

U128 Magnitude(const Decimal& d) { return (U128{d.high} << 64) | d.low; }

}  // namespace

Decimal Decimal::FromScaledInt64(std::int64_t value, std::uint8_t scale) {
  Decimal d;
  d.negative = value < 0;
  d.low = d.negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  d.scale = scale;
  return d;
}

std::string Decimal::ToText() const {
  std::string digits;
  for (U128 m = Magnitude(*this); m != 0; m /= 10) digits.push_back('0' + m % 10);
  while (digits.size() <= scale) digits.push_back('0');
  if (negative && (low != 0 || high != 0)) digits.push_back('-');
  std::reverse(digits.begin(), digits.end());
  if (scale > 0) digits.insert(digits.size() - scale, 1, '.');
  return digits;
}

bool Decimal::FromText(std::string_view text, Decimal* out) {
  std::size_t i = 0;
  Decimal d;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) d.negative = text[i++] == '-';
  U128 magnitude = 0;
  int digits = 0, scale = 0, seen = 0;
  bool point = false;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '.' && !point) {
      point = true;
      continue;
    }
    if (c < '0' || c > '9') break;
    ++seen;
    if (magnitude != 0 || c != '0') ++digits;
    if (digits > 28) return false;
    magnitude = magnitude * 10 + (c - '0');
    if (point) ++scale;
  }
  if (seen == 0) return false;
  if (i < text.size()) {
    if (text[i] != 'e' && text[i] != 'E') return false;
    ++i;
    bool exponent_negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) exponent_negative = text[i++] == '-';
    if (i == text.size()) return false;
    int exponent = 0;
    for (; i < text.size(); ++i) {
      if (text[i] < '0' || text[i] > '9' || exponent > 1000) return false;
      exponent = exponent * 10 + (text[i] - '0');
    }
    scale += exponent_negative ? exponent : -exponent;
  }
  for (; scale < 0; ++scale) {
    if (magnitude != 0 && ++digits > 28) return false;
    magnitude *= 10;
  }
  for (; scale > 28; --scale) {
    if (magnitude % 10 != 0) return false;
    magnitude /= 10;
  }
  d.low = magnitude;
  d.high = magnitude >> 64;
  d.scale = scale;
  if (magnitude == 0) d.negative = false;
  *out = d;
  return true;
}

double Decimal::ToDouble() const { return std::strtod(ToText().c_str(), nullptr); }

ValueKind KindOf(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kComplex:
    case ColumnType::kBigInt:
      return ValueKind::kInteger;
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      return ValueKind::kReal;
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
      return ValueKind::kDecimal;
    case ColumnType::kText:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
    case ColumnType::kDateTimeExtended:
      return ValueKind::kText;
    default:
      return ValueKind::kBlob;
  }
}

bool Value::operator==(const Value& other) const {
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case ValueKind::kNull:
      return true;
    case ValueKind::kInteger:
      return integer_ == other.integer_;
    case ValueKind::kReal:
      return real_ == other.real_ || (std::isnan(real_) && std::isnan(other.real_));
    case ValueKind::kDecimal:
      return decimal_ == other.decimal_;
    case ValueKind::kText:
    case ValueKind::kBlob:
      return bytes_ == other.bytes_;
  }
  return false;
}

}  // namespace jet
