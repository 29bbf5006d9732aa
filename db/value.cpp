// Conversions between the kinds of Value.
#include "db/value.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "access/base/text.h"
#include "db/error.h"

namespace vnt::db {
namespace {

constexpr char kSource[] = "VNTFixdb";
constexpr std::int64_t kCurrencyScale = 10000;

[[noreturn]] void ThrowNull() { throw DbError(kErrInvalidUseOfNull, kSource, "Invalid use of Null"); }
[[noreturn]] void ThrowMismatch() { throw DbError(kErrTypeMismatch, kSource, "Type mismatch"); }
[[noreturn]] void ThrowOverflow() { throw DbError(kErrOverflow, kSource, "Overflow"); }

// A number in text; false when it is none.
bool ParseNumber(std::string_view text, double* out) {
  std::string_view digits = jet::TrimBlanks(text);
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  // from_chars would also take "inf" and "nan".
  const std::size_t first = digits.find_first_not_of("+-");
  if (first == std::string_view::npos ||
      !(digits[first] == '.' || (digits[first] >= '0' && digits[first] <= '9')))
    return false;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), *out);
  if (end != digits.data() + digits.size()) return false;
  if (error == std::errc::result_out_of_range) {
    // Too small is 0, too large is an overflow; from_chars does not say which.
    const std::size_t exponent = digits.find_first_of("eE");
    if (exponent != std::string_view::npos && digits.substr(exponent + 1).starts_with('-')) {
      *out = 0;
      return true;
    }
    ThrowOverflow();
  }
  return error == std::errc();
}

double NumberOf(std::string_view text) {
  double number = 0;
  if (ParseNumber(text, &number)) return number;
  if (jet::EqualWords(text, "true")) return -1;
  if (jet::EqualWords(text, "false")) return 0;
  ThrowMismatch();
}

std::int64_t RoundTo(double number, std::int64_t low, std::int64_t high) {
  const double rounded = std::nearbyint(number);  // halves to even
  if (!(rounded >= static_cast<double>(low) && rounded <= static_cast<double>(high))) ThrowOverflow();
  return static_cast<std::int64_t>(rounded);
}

std::int64_t RoundCurrency(std::int64_t scaled) {
  std::int64_t whole = scaled / kCurrencyScale;
  const std::int64_t rest = std::abs(scaled % kCurrencyScale);
  constexpr std::int64_t kHalf = kCurrencyScale / 2;
  if (rest > kHalf || (rest == kHalf && whole % 2 != 0)) whole += scaled < 0 ? -1 : 1;
  return whole;
}

std::string WithoutTrailingZeros(std::string digits) {
  if (digits.find('.') == std::string::npos || digits.find_first_of("eE") != std::string::npos) return digits;
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits == "-0" ? "0" : digits;
}

std::string CurrencyText(std::int64_t scaled) {
  const unsigned long long magnitude = scaled < 0 ? 0 - static_cast<std::uint64_t>(scaled) : scaled;
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%s%llu.%04llu", scaled < 0 ? "-" : "", magnitude / kCurrencyScale,
                magnitude % kCurrencyScale);
  return WithoutTrailingZeros(buffer);
}

// No regional order here: a date becomes text only where no routine gave it a format of its own, and the
// year-first form is read back the same everywhere.
std::string DateText(double days) {
  const DateParts p = SplitDate(days);
  char buffer[64];
  int length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", p.year, p.month, p.day);
  if (p.hour != 0 || p.minute != 0 || p.second != 0) {
    length +=
        std::snprintf(buffer + length, sizeof buffer - length, " %02d:%02d:%02d", p.hour, p.minute, p.second);
  }
  return std::string(buffer, length);
}

// Reads the digits at the front of *text; -1 when there are none or more than six.
int TakeNumber(std::string_view* text) {
  std::size_t n = 0;
  int number = 0;
  for (; n < text->size() && (*text)[n] >= '0' && (*text)[n] <= '9'; ++n) {
    if (n == 6) return -1;
    number = number * 10 + ((*text)[n] - '0');
  }
  if (n == 0) return -1;
  text->remove_prefix(n);
  return number;
}

bool TakeChar(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// "yyyy-mm-dd", "m/d/yyyy" (day first when that is no date), each with or without " hh:mm[:ss]".
bool ParseDate(std::string_view text, double* out) {
  std::string_view rest = jet::TrimBlanks(text);
  DateParts p;
  const int first = TakeNumber(&rest);
  const char separator = rest.empty() ? '\0' : rest.front();
  if (first < 0 || (separator != '-' && separator != '/')) return false;
  rest.remove_prefix(1);
  const int second = TakeNumber(&rest);
  if (second < 0 || !TakeChar(&rest, separator)) return false;
  const int third = TakeNumber(&rest);
  if (third < 0) return false;
  if (first > 31) {
    p.year = first, p.month = second, p.day = third;
  } else {
    p.year = third, p.month = first, p.day = second;
    if (!IsValidDate(p.year, p.month, p.day)) std::swap(p.month, p.day);
  }
  if (!IsValidDate(p.year, p.month, p.day)) return false;
  if (!rest.empty()) {
    if (!TakeChar(&rest, ' ') && !TakeChar(&rest, 'T')) return false;
    p.hour = TakeNumber(&rest);
    if (!TakeChar(&rest, ':')) return false;
    p.minute = TakeNumber(&rest);
    if (TakeChar(&rest, ':')) p.second = TakeNumber(&rest);
    if (TakeChar(&rest, '.')) TakeNumber(&rest);  // fractions of a second are dropped
    if (!rest.empty() || p.hour < 0 || p.hour > 23 || p.minute < 0 || p.minute > 59 || p.second < 0 ||
        p.second > 59)
      return false;
  }
  *out = JoinDate(p);
  return true;
}

}  // namespace

Value Value::Null() {
  Value v;
  v.type_ = ValueType::kNull;
  return v;
}
Value Value::Int16(std::int16_t value) {
  Value v;
  v.type_ = ValueType::kInt16;
  v.integer_ = value;
  return v;
}
Value Value::Int32(std::int32_t value) {
  Value v;
  v.type_ = ValueType::kInt32;
  v.integer_ = value;
  return v;
}
Value Value::Int64(std::int64_t value) {
  Value v;
  v.type_ = ValueType::kInt64;
  v.integer_ = value;
  return v;
}
Value Value::Single(float value) {
  Value v;
  v.type_ = ValueType::kSingle;
  v.double_ = value;
  return v;
}
Value Value::Double(double value) {
  Value v;
  v.type_ = ValueType::kDouble;
  v.double_ = value;
  return v;
}
Value Value::Currency(std::int64_t scaled) {
  Value v;
  v.type_ = ValueType::kCurrency;
  v.integer_ = scaled;
  return v;
}
Value Value::Decimal(std::string digits) {
  Value v;
  v.type_ = ValueType::kDecimal;
  v.bytes_ = std::move(digits);
  return v;
}
Value Value::Boolean(bool value) {
  Value v;
  v.type_ = ValueType::kBoolean;
  v.integer_ = value ? -1 : 0;
  return v;
}
Value Value::Date(double days) {
  Value v;
  v.type_ = ValueType::kDate;
  v.double_ = days;
  return v;
}
Value Value::Text(std::string utf8) {
  Value v;
  v.type_ = ValueType::kText;
  v.bytes_ = std::move(utf8);
  return v;
}
Value Value::Binary(std::string bytes) {
  Value v;
  v.type_ = ValueType::kBinary;
  v.bytes_ = std::move(bytes);
  return v;
}

namespace {

std::int64_t ToInteger(const Value& v, std::int64_t low, std::int64_t high) {
  std::int64_t number = 0;
  switch (v.type()) {
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
    case ValueType::kBoolean:
      number = v.raw_integer();
      break;
    case ValueType::kCurrency:
      number = RoundCurrency(v.raw_integer());
      break;
    default:
      return RoundTo(v.ToDouble(), low, high);
  }
  if (number < low || number > high) ThrowOverflow();
  return number;
}

}  // namespace

std::int16_t Value::ToInt16() const {
  using Limits = std::numeric_limits<std::int16_t>;
  return ToInteger(*this, Limits::min(), Limits::max());
}

std::int32_t Value::ToInt32() const {
  using Limits = std::numeric_limits<std::int32_t>;
  return ToInteger(*this, Limits::min(), Limits::max());
}

double Value::ToDouble() const {
  switch (type_) {
    case ValueType::kEmpty:
      return 0;
    case ValueType::kNull:
      ThrowNull();
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
    case ValueType::kBoolean:
      return static_cast<double>(integer_);
    case ValueType::kCurrency:
      return static_cast<double>(integer_) / static_cast<double>(kCurrencyScale);
    case ValueType::kSingle:
    case ValueType::kDouble:
    case ValueType::kDate:
      return double_;
    case ValueType::kDecimal:
    case ValueType::kText:
      return NumberOf(bytes_);
    case ValueType::kBinary:
      ThrowMismatch();
  }
  ThrowMismatch();
}

double Value::ToDate() const {
  double days = 0;
  if (type_ != ValueType::kText || !ParseDate(bytes_, &days)) days = ToDouble();
  if (!jet::IsDateNumber(days)) ThrowOverflow();
  return days;
}

bool Value::ToBoolean() const { return ToDouble() != 0; }

std::string Value::ToText() const {
  switch (type_) {
    case ValueType::kEmpty:
      return {};
    case ValueType::kNull:
      ThrowNull();
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
      return std::to_string(integer_);
    case ValueType::kSingle:
      return jet::ShortestText(static_cast<float>(double_));
    case ValueType::kDouble:
      return jet::ShortestText(double_);
    case ValueType::kCurrency:
      return CurrencyText(integer_);
    case ValueType::kDecimal:
      return WithoutTrailingZeros(bytes_);
    case ValueType::kBoolean:
      return integer_ != 0 ? "True" : "False";
    case ValueType::kDate:
      return DateText(double_);
    case ValueType::kText:
      return bytes_;
    case ValueType::kBinary:
      ThrowMismatch();
  }
  ThrowMismatch();
}

bool Value::operator==(const Value& other) const {
  if (type_ != other.type_) return false;
  switch (type_) {
    case ValueType::kEmpty:
    case ValueType::kNull:
      return true;
    case ValueType::kSingle:
    case ValueType::kDouble:
    case ValueType::kDate:
      return double_ == other.double_;
    case ValueType::kDecimal:
    case ValueType::kText:
    case ValueType::kBinary:
      return bytes_ == other.bytes_;
    default:
      return integer_ == other.integer_;
  }
}

DateParts SplitDate(double days) {
  DateParts parts;
  if (!jet::ToCalendar(days, &parts)) ThrowOverflow();
  return parts;
}

std::string Trim(std::string_view text) { return std::string(jet::TrimBlanks(text)); }

}  // namespace vnt::db
