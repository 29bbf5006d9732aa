// Exact decimal numbers in expressions.
//
// SQLite has no such type: an exact number travels as its text, and these functions of the connection compute
// with it: x_dadd, x_dsub, x_dmul, x_dneg, x_dround(x, places), x_dabs, x_dint, x_dfix, x_ccur; x_dsum and
// x_davg as aggregates; x_dreal gives the nearest double, x_dtext the text without needless zeros, x_dkey a
// text that sorts as the number does and x_unkey the number back from that. They take whole numbers and
// doubles, too; a double counts as the decimal of its 15 digits, as Access shows it.
//
// Results have at most 28 digits, as Access's Decimal: what is behind is rounded, half to even; what is too
// large is kTooLarge.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

constexpr int kMaxDigits = 28;

// digits / 10^scale. No zeros in front of the digits nor, behind the point, at their end; zero has no digits.
struct Number {
  std::string digits;
  int scale = 0;
  bool negative = false;
};

Number Normalized(Number n) {
  n.digits.erase(0, n.digits.find_first_not_of('0'));
  while (n.scale > 0 && !n.digits.empty() && n.digits.back() == '0') {
    n.digits.pop_back();
    --n.scale;
  }
  if (n.digits.empty()) return {};
  return n;
}

// Text such as "-12.50" or "1.5e+20"; false when it is none.
bool Parse(std::string_view text, Number* out) {
  Number n;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    n.negative = text[0] == '-';
    text.remove_prefix(1);
  }
  bool point = false;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    if (text[i] == '.' && !point) {
      point = true;
    } else if (text[i] >= '0' && text[i] <= '9') {
      n.digits.push_back(text[i]);
      n.scale += point ? 1 : 0;
    } else {
      break;
    }
  }
  if (n.digits.empty()) return false;
  if (i < text.size()) {
    if (text[i] != 'e' && text[i] != 'E') return false;
    n.scale -= std::atoi(std::string(text.substr(i + 1)).c_str());
  }
  if (n.scale < 0) {
    n.digits.append(-n.scale, '0');
    n.scale = 0;
  }
  *out = Normalized(std::move(n));
  return true;
}

Number NumberIn(sqlite3_value* v) {
  std::string text;
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
      text = fmt::format("{}", sqlite3_value_int64(v));
      break;
    case SQLITE_FLOAT:
      text = fmt::format("{:.15g}", sqlite3_value_double(v));
      break;
    default: {
      std::string storage;
      text = TextOf(v, &storage);
    }
  }
  Number n;
  if (Parse(text, &n)) return n;
  // Blanks around it are allowed, other text is not.
  Parse(fmt::format("{:.15g}", NumberOf(v)), &n);
  return n;
}

std::string TextOf(const Number& n) {
  std::string text = n.digits;
  const std::size_t scale = n.scale;
  if (text.size() <= scale) text.insert(0, scale + 1 - text.size(), '0');
  if (scale > 0) text.insert(text.size() - scale, 1, '.');
  return n.negative ? "-" + text : text;
}

int CompareDigits(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

std::string AddDigits(std::string a, std::string b) {
  if (a.size() < b.size()) std::swap(a, b);
  int carry = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char& digit = a[a.size() - 1 - i];
    const int sum = digit - '0' + (i < b.size() ? b[b.size() - 1 - i] - '0' : 0) + carry;
    digit = '0' + sum % 10;
    carry = sum / 10;
  }
  if (carry > 0) a.insert(0, 1, '1');
  return a;
}

// a >= b.
std::string SubtractDigits(std::string a, const std::string& b) {
  int borrow = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char& digit = a[a.size() - 1 - i];
    int rest = digit - '0' - (i < b.size() ? b[b.size() - 1 - i] - '0' : 0) - borrow;
    borrow = rest < 0 ? 1 : 0;
    digit = '0' + rest + 10 * borrow;
  }
  return a;
}

Number Add(Number a, Number b) {
  const int scale = std::max(a.scale, b.scale);
  for (Number* n : {&a, &b}) {
    n->digits.append(scale - n->scale, '0');
    n->digits.erase(0, n->digits.find_first_not_of('0'));
  }
  Number sum;
  sum.scale = scale;
  if (a.negative == b.negative) {
    sum.negative = a.negative;
    sum.digits = AddDigits(std::move(a.digits), std::move(b.digits));
  } else {
    const bool first = CompareDigits(a.digits, b.digits) >= 0;
    sum.negative = first ? a.negative : b.negative;
    sum.digits = first ? SubtractDigits(a.digits, b.digits) : SubtractDigits(b.digits, a.digits);
  }
  return Normalized(std::move(sum));
}

Number Multiply(const Number& a, const Number& b) {
  Number product;
  product.scale = a.scale + b.scale;
  product.negative = a.negative != b.negative;
  std::string digits(a.digits.size() + b.digits.size(), '\0');
  for (std::size_t i = a.digits.size(); i-- > 0;) {
    int carry = 0;
    for (std::size_t k = b.digits.size(); k-- > 0;) {
      char& place = digits[i + k + 1];
      const int sum = place + (a.digits[i] - '0') * (b.digits[k] - '0') + carry;
      place = sum % 10;
      carry = sum / 10;
    }
    digits[i] += carry;
  }
  for (char& digit : digits) digit += '0';
  product.digits = std::move(digits);
  return Normalized(std::move(product));
}

enum class Rounding : std::uint8_t { kHalfEven, kDown, kTowardZero };

Number Rounded(Number n, int places, Rounding rounding = Rounding::kHalfEven) {
  if (n.scale <= places) return n;
  const std::size_t cut = n.scale - places;
  if (n.digits.size() <= cut) n.digits.insert(0, cut + 1 - n.digits.size(), '0');
  const std::string rest = n.digits.substr(n.digits.size() - cut);
  n.digits.resize(n.digits.size() - cut);
  n.scale = places;
  const std::string half = "5" + std::string(cut - 1, '0');
  const bool odd = (n.digits.back() - '0') % 2 != 0;
  const bool up = rounding == Rounding::kHalfEven ? rest > half || (rest == half && odd)
                                                  : rounding == Rounding::kDown && n.negative;
  if (up) n.digits = AddDigits(n.digits, "1");
  return Normalized(std::move(n));
}

Number Divide(const Number& n, unsigned long long divisor) {
  Number quotient = n;
  quotient.digits.clear();
  unsigned long long rest = 0;
  const auto bring_down = [&](char digit) {
    rest = rest * 10 + (digit - '0');
    quotient.digits.push_back('0' + rest / divisor);
    rest %= divisor;
  };
  for (const char digit : n.digits) bring_down(digit);
  // Two places more than are kept, so that the rounding sees what follows.
  for (; rest != 0 && quotient.scale < kMaxDigits + 2; ++quotient.scale) bring_down('0');
  return Normalized(std::move(quotient));
}

Number Fitted(Number n) {
  const int whole = n.digits.size() - n.scale;
  if (whole > kMaxDigits)
    throw Error(ErrorKind::kTooLarge, fmt::format("Overflow: {} has more than 28 digits.", TextOf(n)));
  return Rounded(std::move(n), kMaxDigits - std::max(whole, 0));
}

void Result(sqlite3_context* c, const Number& n) { ResultText(c, TextOf(Fitted(n))); }

// A number that does not begin with zeros is 0.d1d2d3... * 10^exponent. The key: "1" for zero; "2", exponent,
// digits; for negative numbers "0", exponent and digits subtracted from nines, and a mark behind the nine.
constexpr int kExponentBias = 5000;

std::string KeyOf(const Number& n) {
  if (n.digits.empty()) return "1";
  std::string digits = n.digits;
  digits.erase(digits.find_last_not_of('0') + 1);
  std::string key = fmt::format("{:04}", std::ssize(n.digits) - n.scale + kExponentBias) + digits;
  if (!n.negative) return "2" + key;
  for (char& digit : key) digit = '9' - (digit - '0');
  return "0" + key + ":";
}

Number FromKey(std::string key) {
  Number n;
  if (key.size() < 6) return n;
  n.negative = key[0] == '0';
  if (n.negative) {
    key.pop_back();
    for (std::size_t i = 1; i < key.size(); ++i) key[i] = '9' - (key[i] - '0');
  }
  n.digits = key.substr(5);
  n.scale = n.digits.size() - (std::atoi(key.substr(1, 4).c_str()) - kExponentBias);
  if (n.scale < 0) {
    n.digits.append(-n.scale, '0');
    n.scale = 0;
  }
  return n;
}

// ---- functions

// A double that no decimal can stand for makes the whole computation one of doubles, as in Access.
bool IsBeyondDecimals(sqlite3_value* v) {
  return sqlite3_value_type(v) == SQLITE_FLOAT && !(std::fabs(sqlite3_value_double(v)) < 7.9e28);
}

template <Op kOp>
void Compute(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    if (IsBeyondDecimals(v[0]) || IsBeyondDecimals(v[1])) {
      const double a = NumberOf(v[0]), b = NumberOf(v[1]);
      sqlite3_result_double(c, kOp == Op::kPlus ? a + b : kOp == Op::kMinus ? a - b : a * b);
      return;
    }
    Number a = NumberIn(v[0]), b = NumberIn(v[1]);
    if (kOp == Op::kTimes) {
      Result(c, Multiply(a, b));
      return;
    }
    if (kOp == Op::kMinus) b.negative = !b.negative && !b.digits.empty();
    Result(c, Add(std::move(a), std::move(b)));
  });
}

template <Number (*kMap)(Number)>
void Mapped(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (!IsNullValue(v[0])) Result(c, kMap(NumberIn(v[0])));
  });
}

Number Negated(Number n) {
  n.negative = !n.negative && !n.digits.empty();
  return n;
}
Number Absolute(Number n) {
  n.negative = false;
  return n;
}
Number Floor(Number n) { return Rounded(std::move(n), 0, Rounding::kDown); }
Number Truncated(Number n) { return Rounded(std::move(n), 0, Rounding::kTowardZero); }
Number Same(Number n) { return n; }

Number ToCurrency(Number n) {
  n = Rounded(std::move(n), 4);
  const std::string limit = n.negative ? "9223372036854775808" : "9223372036854775807";
  std::string scaled = n.digits;
  scaled.append(4 - n.scale, '0');
  if (CompareDigits(scaled, limit) > 0)
    throw Error(ErrorKind::kTooLarge,
                fmt::format("Overflow: {} is out of the range of Currency.", TextOf(n)));
  return n;
}

void Round(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const long long places = n > 1 ? WholeNumberOf(v[1]) : 0;
    if (places < 0 || places > 300)
      throw Error(ErrorKind::kFailed, "Round cannot round to that number of decimals.");
    Result(c, Rounded(NumberIn(v[0]), places));
  });
}

void Real(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    if (sqlite3_value_type(v[0]) == SQLITE_TEXT) {
      sqlite3_result_double(c, std::strtod(TextOf(NumberIn(v[0])).c_str(), nullptr));
    } else {
      sqlite3_result_double(c, sqlite3_value_double(v[0]));
    }
  });
}

void Key(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (!IsNullValue(v[0])) ResultText(c, KeyOf(NumberIn(v[0])));
  });
}

void Unkey(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    std::string storage;
    if (!IsNullValue(v[0])) Result(c, FromKey(std::string(jet::sql::TextOf(v[0], &storage))));
  });
}

// ---- aggregates

struct Total {
  Number* sum = nullptr;
  unsigned long long count = 0;
};

void AddToTotal(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    auto* t = static_cast<Total*>(sqlite3_aggregate_context(c, sizeof(Total)));
    if (t == nullptr) throw Error(ErrorKind::kIo, "There is not enough memory.");
    if (IsNullValue(v[0])) return;
    if (t->sum == nullptr) t->sum = new Number();
    *t->sum = Add(std::move(*t->sum), NumberIn(v[0]));
    ++t->count;
  });
}

template <bool kAverage>
void EndTotal(sqlite3_context* c) {
  auto* t = static_cast<Total*>(sqlite3_aggregate_context(c, 0));
  if (t == nullptr || t->sum == nullptr) return;
  Guard(c, [&] { Result(c, kAverage ? Divide(*t->sum, t->count) : *t->sum); });
  delete t->sum;
  t->sum = nullptr;
}

constexpr Function kFunctions[] = {
    {"dadd", 2, 2, Type::kDecimal, Compute<Op::kPlus>, kInternal},
    {"dsub", 2, 2, Type::kDecimal, Compute<Op::kMinus>, kInternal},
    {"dmul", 2, 2, Type::kDecimal, Compute<Op::kTimes>, kInternal},
    {"dneg", 1, 1, Type::kDecimal, Mapped<Negated>, kInternal},
    {"dabs", 1, 1, Type::kDecimal, Mapped<Absolute>, kInternal},
    {"dint", 1, 1, Type::kDecimal, Mapped<Floor>, kInternal},
    {"dfix", 1, 1, Type::kDecimal, Mapped<Truncated>, kInternal},
    {"dtext", 1, 1, Type::kText, Mapped<Same>, kInternal},
    {"ccur", 1, 1, Type::kDecimal, Mapped<ToCurrency>},
    {"dround", 1, 2, Type::kDecimal, Round, kInternal},
    {"dreal", 1, 1, Type::kReal, Real, kInternal},
    {"dkey", 1, 1, Type::kText, Key, kInternal},
    {"unkey", 1, 1, Type::kDecimal, Unkey, kInternal},
    {"dsum", 1, 1, Type::kDecimal, AddToTotal, kInternal, EndTotal<false>},
    {"davg", 1, 1, Type::kDecimal, AddToTotal, kInternal, EndTotal<true>},
};

}  // namespace

std::span<const Function> DecimalFunctions() { return kFunctions; }

}  // namespace jet::sql
