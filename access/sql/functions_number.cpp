// Arithmetic, conversions and aggregates that SQLite has not, or has with other rules.

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "access/base/text.h"
#include "access/sql/dates.h"
#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

// Scales by the power of ten in double, rounds half to even, scales back: 5.05 to one decimal is 5 (as a
// double it lies below the half), 12.35 is 12.4.
double RoundDecimal(double v, int digits) {
  static constexpr double kPowers[] = {1,    1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                       1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  const double scale = digits <= 22 ? kPowers[digits] : std::pow(10.0, digits);
  const double scaled = v * scale;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 4503599627370496.0) return v;
  return std::nearbyint(scaled) / scale;
}

void Round(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const long long digits = n > 1 ? WholeNumberOf(v[1]) : 0;
    if (digits < 0 || digits > 300)
      throw Error(ErrorKind::kFailed, "Round cannot round to that number of decimals.");
    if (sqlite3_value_type(v[0]) == SQLITE_INTEGER) {
      sqlite3_result_value(c, v[0]);
    } else {
      sqlite3_result_double(c, RoundDecimal(NumberOf(v[0]), digits));
    }
  });
}

void Number(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    if (sqlite3_value_type(v[0]) == SQLITE_INTEGER) {
      sqlite3_result_value(c, v[0]);
    } else {
      sqlite3_result_double(c, NumberOf(v[0]));
    }
  });
}

// "+" when the types are not known beforehand: two texts are joined.
void Add(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    const int a = sqlite3_value_type(v[0]), b = sqlite3_value_type(v[1]);
    if (a == SQLITE_TEXT && b == SQLITE_TEXT) {
      std::string s1, s2;
      std::string joined(TextOf(v[0], &s1));
      joined += TextOf(v[1], &s2);
      ResultText(c, joined);
    } else if (a == SQLITE_INTEGER && b == SQLITE_INTEGER) {
      long long sum = 0;
      if (__builtin_add_overflow(sqlite3_value_int64(v[0]), sqlite3_value_int64(v[1]), &sum)) {
        sqlite3_result_double(c, sqlite3_value_double(v[0]) + sqlite3_value_double(v[1]));
      } else {
        sqlite3_result_int64(c, sum);
      }
    } else {
      sqlite3_result_double(c, NumberOf(v[0]) + NumberOf(v[1]));
    }
  });
}

[[noreturn]] void DivisionByZero() { throw Error(ErrorKind::kFailed, "Division by zero."); }

void Divide(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    const double b = NumberOf(v[1]);
    if (b == 0) DivisionByZero();
    sqlite3_result_double(c, NumberOf(v[0]) / b);
  });
}

template <bool kRemainder>
void DivideWhole(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    const long long a = WholeNumberOf(v[0]), b = WholeNumberOf(v[1]);
    if (b == 0) DivisionByZero();
    if (b == -1) {
      sqlite3_result_int64(c,
                           kRemainder ? 0 : static_cast<long long>(0 - static_cast<unsigned long long>(a)));
    } else {
      sqlite3_result_int64(c, kRemainder ? a % b : a / b);
    }
  });
}

// Functions of one number. `Whole`: what it does to integers.
template <double (*kReal)(double), bool kKeepsIntegers>
void OfNumber(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    if (kKeepsIntegers && sqlite3_value_type(v[0]) == SQLITE_INTEGER) {
      sqlite3_result_value(c, v[0]);
      return;
    }
    const double r = kReal(NumberOf(v[0]));
    if (std::isnan(r) || std::isinf(r))
      throw Error(ErrorKind::kTooLarge, "A function was given a number outside its range.");
    sqlite3_result_double(c, r);
  });
}

void Abs(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    if (sqlite3_value_type(v[0]) == SQLITE_INTEGER && sqlite3_value_int64(v[0]) > INT64_MIN) {
      sqlite3_result_int64(c, std::llabs(sqlite3_value_int64(v[0])));
    } else {
      sqlite3_result_double(c, std::fabs(NumberOf(v[0])));
    }
  });
}

void Sgn(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    const double d = NumberOf(v[0]);
    sqlite3_result_int(c, d > 0 ? 1 : d < 0 ? -1 : 0);
  });
}

double Floor(double v) { return std::floor(v); }
double Truncate(double v) { return std::trunc(v); }
double Root(double v) { return std::sqrt(v); }
double Exp(double v) { return std::exp(v); }
double Log(double v) { return std::log(v); }
double Sin(double v) { return std::sin(v); }
double Cos(double v) { return std::cos(v); }
double Tan(double v) { return std::tan(v); }
double Atn(double v) { return std::atan(v); }
double Single(double v) { return static_cast<double>(static_cast<float>(v)); }

void Power(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    const double r = std::pow(NumberOf(v[0]), NumberOf(v[1]));
    if (!std::isfinite(r)) throw Error(ErrorKind::kTooLarge, "The result of ^ is out of range.");
    sqlite3_result_double(c, r);
  });
}

template <long long kLeast, long long kMost>
void ToWhole(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    const long long n = WholeNumberOf(v[0]);
    if (n < kLeast || n > kMost)
      throw Error(ErrorKind::kTooLarge, fmt::format("Overflow: {} is out of range.", n));
    sqlite3_result_int64(c, n);
  });
}

void ToBoolean(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage;
    const bool is_text = sqlite3_value_type(v[0]) == SQLITE_TEXT;
    const std::string_view text = is_text ? TextOf(v[0], &storage) : std::string_view();
    const bool is_word = EqualNames(text, "true") || EqualNames(text, "false");
    sqlite3_result_int(c, (is_word ? EqualNames(text, "true") : NumberOf(v[0]) != 0) ? -1 : 0);
  });
}

// "HFF" or "O17", behind the "&": as Access reads such constants, two bytes when the digits fit into two,
// else four; with "&" at the end always four.
double BasedNumber(std::string_view text) {
  const bool hex = !text.empty() && (text[0] == 'H' || text[0] == 'h');
  const bool octal = !text.empty() && (text[0] == 'O' || text[0] == 'o');
  if (hex || octal) text.remove_prefix(1);
  std::uint64_t n = 0;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    const char lower = c | 32;
    const int digit = c >= '0' && c <= '9'                  ? c - '0'
                      : hex && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10
                                                            : 99;
    if (digit >= (hex ? 16 : 8) || n >> 32 != 0) break;
    n = n * (hex ? 16 : 8) + digit;
  }
  const bool wide = n > 0xFFFF || (i < text.size() && text[i] == '&');
  return wide ? static_cast<std::int32_t>(n) : static_cast<std::int16_t>(n);
}

// The number at the beginning of a text, blanks left out; 0 when there is none.
void Val(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage, digits;
    const std::string_view text = TextOf(v[0], &storage);
    for (const char ch : text) {
      if (ch == ' ' || ch == '\t' || ch == '\n') continue;
      if (digits.empty() && ch == '&') {
        std::string rest(text.substr(text.find('&') + 1));
        std::erase_if(rest, [](char r) { return r == ' ' || r == '\t' || r == '\n'; });
        sqlite3_result_double(c, BasedNumber(rest));
        return;
      }
      if (std::strchr("0123456789.+-eEdD", ch) == nullptr) break;
      digits.push_back(ch == 'd' || ch == 'D' ? 'e' : ch);
    }
    sqlite3_result_double(c, std::strtod(digits.c_str(), nullptr));
  });
}

// Negative numbers as their four bytes.
template <bool kHex>
void InBase(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    const long long n = WholeNumberOf(v[0]);
    if (n < INT32_MIN || n > INT32_MAX)
      throw Error(ErrorKind::kTooLarge, fmt::format("Overflow: {} is out of range.", n));
    const std::uint32_t bits = n;
    ResultText(c, kHex ? fmt::format("{:X}", bits) : fmt::format("{:o}", bits));
  });
}

// x_typename(value, name): the name by the column or expression; where that is not known, by the value.
void TypeName(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    std::string storage;
    const std::string_view known = TextOf(v[1], &storage);
    if (IsNullValue(v[0])) {
      ResultText(c, "Null");
    } else if (!known.empty()) {
      ResultText(c, known);
    } else {
      const int type = sqlite3_value_type(v[0]);
      ResultText(c, type == SQLITE_INTEGER ? "Long"
                    : type == SQLITE_FLOAT ? "Double"
                    : type == SQLITE_TEXT  ? "String"
                                           : "Byte()");
    }
  });
}

void IsNumeric(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    bool numeric = !IsNullValue(v[0]);
    try {
      if (numeric) NumberOf(v[0]);
    } catch (const Error&) {
      numeric = false;
    }
    sqlite3_result_int(c, numeric ? -1 : 0);
  });
}

// ---- aggregates

struct Moments {
  long long count = 0;
  double mean = 0, squares = 0;
};

void AddMoment(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    auto* m = static_cast<Moments*>(sqlite3_aggregate_context(c, sizeof(Moments)));
    if (m == nullptr) throw std::bad_alloc();
    if (IsNullValue(v[0])) return;
    const double x = NumberOf(v[0]), delta = x - m->mean;
    ++m->count;
    m->mean += delta / m->count;
    m->squares += delta * (x - m->mean);
  });
}

template <bool kRoot, int kLess>
void EndMoments(sqlite3_context* c) {
  const auto* m = static_cast<Moments*>(sqlite3_aggregate_context(c, 0));
  if (m == nullptr || m->count <= kLess) return;
  const double variance = m->squares / (m->count - kLess);
  sqlite3_result_double(c, kRoot ? std::sqrt(variance) : variance);
}

// The value of the row that stands first or last: value, then the row identifiers of the tables in their
// order.
struct Kept {
  sqlite3_value* value = nullptr;
  std::vector<sqlite3_int64>* place = nullptr;
};

template <bool kLast>
void Keep(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    auto* k = static_cast<Kept*>(sqlite3_aggregate_context(c, sizeof(Kept)));
    if (k == nullptr) throw std::bad_alloc();
    // Null, of the side of an outer join that has no row, is 0.
    std::vector<sqlite3_int64> place;
    for (int i = 1; i < n; ++i) place.push_back(sqlite3_value_int64(v[i]));
    if (k->place == nullptr) {
      k->place = new std::vector<sqlite3_int64>(std::move(place));
    } else if (kLast ? place < *k->place : place >= *k->place) {
      return;
    } else {
      *k->place = std::move(place);
    }
    sqlite3_value_free(k->value);
    k->value = sqlite3_value_dup(v[0]);
    if (k->value == nullptr) throw std::bad_alloc();
  });
}

void EndKept(sqlite3_context* c) {
  auto* k = static_cast<Kept*>(sqlite3_aggregate_context(c, 0));
  if (k == nullptr) return;
  if (k->value != nullptr) sqlite3_result_value(c, k->value);
  sqlite3_value_free(k->value);
  delete k->place;
  *k = {};
}

// The value of a subquery, which may have one row.
struct Only {
  sqlite3_value* value = nullptr;
};

void TakeOnly(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    auto* only = static_cast<Only*>(sqlite3_aggregate_context(c, sizeof(Only)));
    if (only == nullptr) throw Error(ErrorKind::kIo, "There is not enough memory.");
    if (only->value != nullptr)
      throw Error(ErrorKind::kInvalid, "A subquery that stands for one value has given more than one row.");
    only->value = sqlite3_value_dup(v[0]);
  });
}

void EndOnly(sqlite3_context* c) {
  auto* only = static_cast<Only*>(sqlite3_aggregate_context(c, 0));
  if (only == nullptr || only->value == nullptr) return;
  sqlite3_result_value(c, only->value);
  sqlite3_value_free(only->value);
  only->value = nullptr;
}

constexpr int kAnyNumber = 127;  // SQLite takes no more

constexpr Function kFunctions[] = {
    {"round", 1, 2, Type::kUnknown, Round, kHasExact},
    {"number", 1, 1, Type::kReal, Number, kInternal},
    {"cdbl", 1, 1, Type::kReal, Number},
    {"add", 2, 2, Type::kUnknown, Add, kInternal},
    {"divide", 2, 2, Type::kReal, Divide, kInternal},
    {"int_divide", 2, 2, Type::kInteger, DivideWhole<false>, kInternal},
    {"mod", 2, 2, Type::kInteger, DivideWhole<true>, kInternal},
    {"power", 2, 2, Type::kReal, Power, kInternal},
    {"abs", 1, 1, Type::kUnknown, Abs, kHasExact},
    {"sgn", 1, 1, Type::kInteger, Sgn},
    {"int", 1, 1, Type::kUnknown, OfNumber<Floor, true>, kKeepsDates | kHasExact},
    {"fix", 1, 1, Type::kUnknown, OfNumber<Truncate, true>, kKeepsDates | kHasExact},
    {"sqr", 1, 1, Type::kReal, OfNumber<Root, false>},
    {"exp", 1, 1, Type::kReal, OfNumber<Exp, false>},
    {"log", 1, 1, Type::kReal, OfNumber<Log, false>},
    {"sin", 1, 1, Type::kReal, OfNumber<Sin, false>},
    {"cos", 1, 1, Type::kReal, OfNumber<Cos, false>},
    {"tan", 1, 1, Type::kReal, OfNumber<Tan, false>},
    {"atn", 1, 1, Type::kReal, OfNumber<Atn, false>},
    {"csng", 1, 1, Type::kReal, OfNumber<Single, false>},
    {"cint", 1, 1, Type::kInteger, ToWhole<-32768, 32767>},
    {"clng", 1, 1, Type::kInteger, ToWhole<-2147483648LL, 2147483647LL>},
    {"cbyte", 1, 1, Type::kInteger, ToWhole<0, 255>},
    {"cbool", 1, 1, Type::kBoolean, ToBoolean},
    {"val", 1, 1, Type::kReal, Val},
    {"isnumeric", 1, 1, Type::kBoolean, IsNumeric},
    {"stdev", 1, 1, Type::kReal, AddMoment, kInternal, EndMoments<true, 1>},
    {"stdevp", 1, 1, Type::kReal, AddMoment, kInternal, EndMoments<true, 0>},
    {"var", 1, 1, Type::kReal, AddMoment, kInternal, EndMoments<false, 1>},
    {"varp", 1, 1, Type::kReal, AddMoment, kInternal, EndMoments<false, 0>},
    {"hex", 1, 1, Type::kText, InBase<true>},
    {"oct", 1, 1, Type::kText, InBase<false>},
    {"typename", 2, 2, Type::kText, TypeName, kInternal},
    {"single", 1, 1, Type::kUnknown, TakeOnly, kInternal, EndOnly},
    {"first", 1, kAnyNumber, Type::kUnknown, Keep<false>, kInternal, EndKept},
    {"last", 1, kAnyNumber, Type::kUnknown, Keep<true>, kInternal, EndKept},
};

}  // namespace

std::span<const Function> NumberFunctions() { return kFunctions; }

}  // namespace jet::sql
