// Conversions between the kinds of Value, and date arithmetic.
//
// A date number counts days from 30 December 1899; its fraction is the time of day and counts away from zero,
// so that -1.25 is 29 December 1899, 6 o'clock.
#include "db/value.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>

#include "db/error.h"

namespace vnt::db {
namespace {

constexpr char kSource[] = "VNTFixdb";
// 1 January 100 and the day after 31 December 9999.
constexpr double kFirstDate = -657434, kDateEnd = 2958466;
constexpr std::int64_t kCurrencyScale = 10000;

[[noreturn]] void ThrowNull() { throw DbError(kErrInvalidUseOfNull, kSource, "Invalid use of Null"); }
[[noreturn]] void ThrowMismatch() { throw DbError(kErrTypeMismatch, kSource, "Type mismatch"); }
[[noreturn]] void ThrowOverflow() { throw DbError(kErrOverflow, kSource, "Overflow"); }

bool SameWord(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    if (c != lower[i]) return false;
  }
  return true;
}

// A number in text; false when it is none.
bool ParseNumber(std::string_view text, double* out) {
  std::string trimmed = Trim(text);
  std::string_view digits = trimmed;
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
  if (SameWord(text, "true")) return -1;
  if (SameWord(text, "false")) return 0;
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

// Plain digits from 0.0001 up to 15 places before the point, else with exponent "E+20": the run-time's forms.
template <typename T>
std::string ShortestText(T number) {
  if (number == 0) return "0";
  char buffer[64];
  const double magnitude = std::fabs(static_cast<double>(number));
  if (magnitude >= 1e-4 && magnitude < 1e15) {
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed);
    return std::string(buffer, result.ptr);
  }
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  std::string text(buffer, result.ptr);
  for (char& c : text) {
    if (c == 'e') c = 'E';
  }
  return text;
}

std::string WithoutTrailingZeros(std::string digits) {
  if (digits.find('.') == std::string::npos || digits.find_first_of("eE") != std::string::npos) return digits;
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits == "-0" ? "0" : digits;
}

std::string CurrencyText(std::int64_t scaled) {
  const std::uint64_t magnitude =
      scaled < 0 ? 0 - static_cast<std::uint64_t>(scaled) : static_cast<std::uint64_t>(scaled);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%s%llu.%04llu", scaled < 0 ? "-" : "",
                static_cast<unsigned long long>(magnitude / kCurrencyScale),
                static_cast<unsigned long long>(magnitude % kCurrencyScale));
  return WithoutTrailingZeros(buffer);
}

// No regional order here: a date becomes text only where no routine gave it a format of its own, and the
// year-first form is read back the same everywhere.
std::string DateText(double days) {
  const DateParts p = SplitDate(days);
  char buffer[64];
  int length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", p.year, p.month, p.day);
  if (p.hour != 0 || p.minute != 0 || p.second != 0) {
    length += std::snprintf(buffer + length, sizeof buffer - static_cast<std::size_t>(length),
                            " %02d:%02d:%02d", p.hour, p.minute, p.second);
  }
  return std::string(buffer, static_cast<std::size_t>(length));
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
  const std::string trimmed = Trim(text);
  std::string_view rest = trimmed;
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
  return static_cast<std::int16_t>(ToInteger(*this, Limits::min(), Limits::max()));
}

std::int32_t Value::ToInt32() const {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(ToInteger(*this, Limits::min(), Limits::max()));
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
  if (!(days > kFirstDate - 1 && days < kDateEnd)) ThrowOverflow();
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
      return ShortestText(static_cast<float>(double_));
    case ValueType::kDouble:
      return ShortestText(double_);
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

namespace {

// Days from 30 December 1899 to a date of the Gregorian calendar carried on in both directions. Years are
// counted from March, so that the leap day ends one.
std::int64_t DaysOf(int year, int month, int day) {
  const std::int64_t y = month > 2 ? year : year - 1;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t year_of_era = y - era * 400;
  const std::int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 693899;
}

void SplitDays(std::int64_t days, DateParts* p) {
  const std::int64_t z = days + 693899;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t day_of_era = z - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t month = (5 * day_of_year + 2) / 153;
  p->day = static_cast<int>(day_of_year - (153 * month + 2) / 5 + 1);
  p->month = static_cast<int>(month < 10 ? month + 3 : month - 9);
  p->year = static_cast<int>(year_of_era + era * 400 + (p->month <= 2 ? 1 : 0));
}

}  // namespace

DateParts SplitDate(double days) {
  double whole = 0;
  const double fraction = std::fabs(std::modf(days, &whole));
  int seconds = static_cast<int>(std::lround(fraction * 86400));
  if (seconds == 86400) {
    seconds = 0;
    whole += 1;
  }
  DateParts p;
  SplitDays(static_cast<std::int64_t>(whole), &p);
  p.hour = seconds / 3600;
  p.minute = seconds / 60 % 60;
  p.second = seconds % 60;
  return p;
}

double JoinDate(const DateParts& p) {
  const double days = static_cast<double>(DaysOf(p.year, p.month, p.day));
  const double time = (p.hour * 3600 + p.minute * 60 + p.second) / 86400.0;
  return days < 0 ? days - time : days + time;
}

bool IsValidDate(int year, int month, int day) {
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) return false;
  DateParts p;
  SplitDays(DaysOf(year, month, day), &p);
  return p.year == year && p.month == month && p.day == day;
}

double CurrentDate() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  DateParts p;
  p.year = local->tm_year + 1900;
  p.month = local->tm_mon + 1;
  p.day = local->tm_mday;
  p.hour = local->tm_hour;
  p.minute = local->tm_min;
  p.second = local->tm_sec == 60 ? 59 : local->tm_sec;
  return JoinDate(p);
}

std::string Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

}  // namespace vnt::db
