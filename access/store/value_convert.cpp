#include "access/store/value_convert.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "access/base/calendar.h"
#include "access/base/text.h"

namespace jet {
namespace {

using U128 = unsigned __int128;

struct Target {
  const TableDef& table;
  const ColumnDef& column;

  std::string Name() const { return fmt::format("column \"{}\" of table \"{}\"", column.name, table.name); }
  [[noreturn]] void Overflow(const Value& value) const {
    throw Error(ErrorKind::kTooLarge,
                fmt::format("The value {} is out of the range of {}.", DescribeValue(value), Name()));
  }
  [[noreturn]] void BadType(const Value& value) const {
    throw Error(ErrorKind::kType,
                fmt::format("The value {} does not fit the type of {}.", DescribeValue(value), Name()));
  }
};

U128 Magnitude(const Decimal& d) { return U128{d.high} << 64 | d.low; }

// Rounds half to even to `scale` digits after the point. False when the result needs more than 96 bits.
bool Rescale(const Decimal& d, std::uint8_t scale, Decimal* out) {
  U128 m = Magnitude(d);
  int from = d.scale;
  const U128 limit = U128{1} << 96;
  for (; from < scale; ++from) {
    m *= 10;
    if (m >= limit) return false;
  }
  if (from > scale) {
    U128 divisor = 1;
    for (; from > scale; --from) divisor *= 10;
    const U128 rest = m % divisor;
    m /= divisor;
    const U128 twice = rest * 2;
    if (twice > divisor || (twice == divisor && (m & 1) != 0)) ++m;
  }
  if (m >= limit) return false;
  out->low = m;
  out->high = m >> 64;
  out->scale = scale;
  out->negative = d.negative && m != 0;
  return true;
}

bool IntegerOf(const Decimal& d, std::int64_t* out) {
  Decimal whole;
  if (!Rescale(d, 0, &whole) || whole.high != 0) return false;
  const std::uint64_t most = std::uint64_t{1} << 63;
  if (whole.low > most || (whole.low == most && !whole.negative)) return false;
  *out = whole.negative ? 0 - whole.low : whole.low;
  return true;
}

// The decimal with the 15 digits that a double is good for.
bool DecimalOf(double v, Decimal* out) {
  if (!std::isfinite(v)) return false;
  if (std::fabs(v) < 1e-28) {
    *out = Decimal{};
    return true;
  }
  std::string text = fmt::format("{:.15g}", v);
  if (Decimal::FromText(text, out)) return true;
  // More digits after the point than a decimal has: cut to 28, which is past every column's scale.
  if (std::fabs(v) < 1) return Decimal::FromText(fmt::format("{:.28f}", v), out);
  return false;
}

bool RealOf(std::string_view text, double* out) {
  text = TrimBlanks(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return false;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), *out);
  return code == std::errc() && end == text.data() + text.size();
}

std::string DecimalText(const Decimal& d) {
  std::string text = d.ToText();
  if (d.scale > 0) {
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
  }
  return text;
}

const Value* ToInteger(const Target& target, const Value& value, std::int64_t low, std::int64_t high,
                       Value* storage) {
  std::int64_t v = 0;
  double real = 0;
  bool is_real = false;
  switch (value.kind()) {
    case ValueKind::kInteger:
      if (value.integer() < low || value.integer() > high) target.Overflow(value);
      return &value;
    case ValueKind::kReal:
      real = value.real();
      is_real = true;
      break;
    case ValueKind::kDecimal:
      if (!IntegerOf(value.decimal(), &v)) target.Overflow(value);
      break;
    case ValueKind::kText: {
      const std::string_view text = TrimBlanks(value.bytes());
      const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), v);
      if (code != std::errc() || end != text.data() + text.size()) {
        if (!RealOf(text, &real)) target.BadType(value);
        is_real = true;
      }
      break;
    }
    default:
      target.BadType(value);
  }
  if (is_real) {
    real = std::nearbyint(real);  // half to even
    // 2^63 as a double is one past the largest.
    if (!(real >= -9223372036854775808.0 && real < 9223372036854775808.0)) target.Overflow(value);
    v = static_cast<std::int64_t>(real);
  }
  if (v < low || v > high) target.Overflow(value);
  *storage = Value::Integer(v);
  return storage;
}

double NumberOf(const Target& target, const Value& value) {
  double v = 0;
  switch (value.kind()) {
    case ValueKind::kInteger:
      return static_cast<double>(value.integer());
    case ValueKind::kReal:
      return value.real();
    case ValueKind::kDecimal:
      return value.decimal().ToDouble();
    case ValueKind::kText:
      if (RealOf(value.bytes(), &v)) return v;
      [[fallthrough]];
    default:
      target.BadType(value);
  }
}

const Value* ToReal(const Target& target, const Value& value, Value* storage) {
  const double v = NumberOf(target, value);
  if (!std::isfinite(v)) target.Overflow(value);
  const ColumnType type = target.column.type;
  if (type == ColumnType::kSingle) {
    const auto single = static_cast<float>(v);
    if (!std::isfinite(single)) target.Overflow(value);
    if (value.kind() == ValueKind::kReal && static_cast<double>(single) == v) return &value;
    *storage = Value::Real(single);
    return storage;
  }
  if (type == ColumnType::kDateTime && !IsDateNumber(v)) target.Overflow(value);
  if (value.kind() == ValueKind::kReal) return &value;
  *storage = Value::Real(v);
  return storage;
}

const Value* ToDecimal(const Target& target, const Value& value, Value* storage) {
  const bool currency = target.column.type == ColumnType::kCurrency;
  const std::uint8_t scale = currency ? 4 : target.column.scale;
  Decimal d;
  switch (value.kind()) {
    case ValueKind::kInteger:
      d = Decimal::FromScaledInt64(value.integer(), 0);
      break;
    case ValueKind::kReal:
      if (!DecimalOf(value.real(), &d)) target.Overflow(value);
      break;
    case ValueKind::kDecimal:
      d = value.decimal();
      break;
    case ValueKind::kText: {
      double real = 0;
      if (!Decimal::FromText(TrimBlanks(value.bytes()), &d)) {
        if (!RealOf(value.bytes(), &real)) target.BadType(value);
        if (!DecimalOf(real, &d)) target.Overflow(value);
      }
      break;
    }
    default:
      target.BadType(value);
  }
  Decimal r;
  if (!Rescale(d, scale, &r)) target.Overflow(value);
  if (currency) {
    const std::uint64_t most = std::uint64_t{1} << 63;
    if (r.high != 0 || r.low > most || (r.low == most && !r.negative)) target.Overflow(value);
  } else {
    U128 bound = 1;
    for (int i = 0; i < target.column.precision && i < 28; ++i) bound *= 10;
    if (Magnitude(r) >= bound) target.Overflow(value);
  }
  if (value.kind() == ValueKind::kDecimal && r == value.decimal()) return &value;
  *storage = Value::Dec(r);
  return storage;
}

const Value* ToText(const Target& target, const Value& value, Value* storage) {
  const Value* text = &value;
  switch (value.kind()) {
    case ValueKind::kText:
      break;
    case ValueKind::kInteger:
      *storage = Value::Text(std::to_string(value.integer()));
      text = storage;
      break;
    case ValueKind::kReal:
      *storage = Value::Text(NumberText(value.real()));
      text = storage;
      break;
    case ValueKind::kDecimal:
      *storage = Value::Text(DecimalText(value.decimal()));
      text = storage;
      break;
    default:
      target.BadType(value);
  }
  const std::string& bytes = text->bytes();
  if (bytes.empty() && !target.column.allow_zero_length) {
    throw Error(ErrorKind::kConstraint,
                fmt::format("A zero-length text is not allowed in {}.", target.Name()));
  }
  if (target.column.type == ColumnType::kText && bytes.size() > target.column.max_characters()) {
    const std::size_t units = Utf16Length(bytes);
    if (units > target.column.max_characters()) {
      throw Error(ErrorKind::kTooLarge,
                  fmt::format("The text is too long for {} ({} characters, at most {}).", target.Name(),
                              units, target.column.max_characters()));
    }
  }
  return text;
}

const Value* ToBlob(const Target& target, const Value& value) {
  if (value.kind() != ValueKind::kBlob) target.BadType(value);
  if (target.column.type == ColumnType::kBinary && value.bytes().size() > target.column.length) {
    throw Error(ErrorKind::kTooLarge, fmt::format("The value is too long for {} ({} bytes, at most {}).",
                                                  target.Name(), value.bytes().size(), target.column.length));
  }
  return &value;
}

const Value* ToBoolean(const Target& target, const Value& value, Value* storage) {
  if (value.kind() == ValueKind::kInteger && (value.integer() == 0 || value.integer() == -1)) return &value;
  *storage = Value::Integer(!value.is_null() && NumberOf(target, value) != 0 ? -1 : 0);
  return storage;
}

}  // namespace

const Value* ConvertToColumn(const TableDef& table, const ColumnDef& column, const Value& value,
                             Value* storage) {
  const Target target{table, column};
  if (column.type == ColumnType::kBoolean) return ToBoolean(target, value, storage);
  if (value.is_null()) return &value;
  switch (column.type) {
    case ColumnType::kByte:
      return ToInteger(target, value, 0, 255, storage);
    case ColumnType::kInteger:
      return ToInteger(target, value, -32768, 32767, storage);
    case ColumnType::kLong:
      return ToInteger(target, value, std::numeric_limits<std::int32_t>::min(),
                       std::numeric_limits<std::int32_t>::max(), storage);
    case ColumnType::kBigInt:
      return ToInteger(target, value, std::numeric_limits<std::int64_t>::min(),
                       std::numeric_limits<std::int64_t>::max(), storage);
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      return ToReal(target, value, storage);
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
      return ToDecimal(target, value, storage);
    case ColumnType::kText:
    case ColumnType::kMemo:
      return ToText(target, value, storage);
    case ColumnType::kGuid: {
      std::string raw;
      if (value.kind() != ValueKind::kText || !ParseGuid(value.bytes(), &raw)) target.BadType(value);
      return &value;
    }
    case ColumnType::kDateTimeExtended: {
      std::string raw;
      if (value.kind() != ValueKind::kText || !ParseExtendedDate(value.bytes(), &raw)) target.BadType(value);
      return &value;
    }
    case ColumnType::kBinary:
    case ColumnType::kOle:
      return ToBlob(target, value);
    default:
      throw Error(ErrorKind::kNotSupported, fmt::format("The type of {} cannot be written.", target.Name()));
  }
}

std::string DescribeValue(const Value& value) {
  switch (value.kind()) {
    case ValueKind::kNull:
      return "Null";
    case ValueKind::kInteger:
      return std::to_string(value.integer());
    case ValueKind::kReal:
      return NumberText(value.real());
    case ValueKind::kDecimal:
      return DecimalText(value.decimal());
    case ValueKind::kText:
      return value.bytes().size() <= 60 ? "'" + value.bytes() + "'"
                                        : "'" + value.bytes().substr(0, 60) + "...'";
    case ValueKind::kBlob:
      return fmt::format("of {} bytes", value.bytes().size());
  }
  return {};
}

}  // namespace jet
