#include "access/sql/functions.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "access/base/text.h"
#include "access/sql/decimals.h"
#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

constexpr FunctionInfo kFunctions[] = {
    {"left", "x_left", 2, 2, Type::kText},
    {"right", "x_right", 2, 2, Type::kText},
    {"mid", "x_mid", 2, 3, Type::kText},
    {"len", "x_len", 1, 1, Type::kInteger},
    {"ucase", "x_ucase", 1, 1, Type::kText},
    {"lcase", "x_lcase", 1, 1, Type::kText},
    {"trim", "x_trim", 1, 1, Type::kText},
    {"ltrim", "x_ltrim", 1, 1, Type::kText},
    {"rtrim", "x_rtrim", 1, 1, Type::kText},
    {"instr", "x_instr", 2, 4, Type::kInteger},
    {"instrrev", "x_instrrev", 2, 4, Type::kInteger},
    {"chr", "x_chr", 1, 1, Type::kText},
    {"chrw", "x_chr", 1, 1, Type::kText},
    {"asc", "x_asc", 1, 1, Type::kInteger},
    {"ascw", "x_asc", 1, 1, Type::kInteger},
    {"string", "x_string", 2, 2, Type::kText},
    {"space", "x_space", 1, 1, Type::kText},
    {"replace", "x_replace", 3, 3, Type::kText},
    {"strcomp", "x_strcomp", 2, 3, Type::kInteger},
    {"strreverse", "x_strreverse", 1, 1, Type::kText},
    {"str", "x_str", 1, 1, Type::kText},
    {"cstr", "x_cstr", 1, 1, Type::kText},
    {"format", "x_format", 1, 4, Type::kText},
    {"strconv", "x_strconv", 2, 3, Type::kText},
    {"hex", "x_hex", 1, 1, Type::kText},
    {"oct", "x_oct", 1, 1, Type::kText},
    {"val", "x_val", 1, 1, Type::kReal},
    {"abs", "x_abs", 1, 1, Type::kUnknown},
    {"int", "x_int", 1, 1, Type::kUnknown},
    {"fix", "x_fix", 1, 1, Type::kUnknown},
    {"sgn", "x_sgn", 1, 1, Type::kInteger},
    {"sqr", "x_sqr", 1, 1, Type::kReal},
    {"exp", "x_exp", 1, 1, Type::kReal},
    {"log", "x_log", 1, 1, Type::kReal},
    {"sin", "x_sin", 1, 1, Type::kReal},
    {"cos", "x_cos", 1, 1, Type::kReal},
    {"tan", "x_tan", 1, 1, Type::kReal},
    {"atn", "x_atn", 1, 1, Type::kReal},
    {"round", "x_round", 1, 2, Type::kUnknown},
    {"cint", "x_cint", 1, 1, Type::kInteger},
    {"clng", "x_clng", 1, 1, Type::kInteger},
    {"cbyte", "x_cbyte", 1, 1, Type::kInteger},
    {"cdbl", "x_number", 1, 1, Type::kReal},
    {"csng", "x_csng", 1, 1, Type::kReal},
    {"ccur", "x_ccur", 1, 1, Type::kDecimal},
    {"cbool", "x_cbool", 1, 1, Type::kBoolean},
    {"isnumeric", "x_isnumeric", 1, 1, Type::kBoolean},
    {"isdate", "x_isdate", 1, 1, Type::kBoolean},
    {"now", "x_now", 0, 0, Type::kDate},
    {"date", "x_date", 0, 0, Type::kDate},
    {"time", "x_time", 0, 0, Type::kDate},
    {"cdate", "x_cdate", 1, 1, Type::kDate},
    {"cvdate", "x_cdate", 1, 1, Type::kDate},
    {"datevalue", "x_datevalue", 1, 1, Type::kDate},
    {"timevalue", "x_timevalue", 1, 1, Type::kDate},
    {"dateserial", "x_dateserial", 3, 3, Type::kDate},
    {"timeserial", "x_timeserial", 3, 3, Type::kDate},
    {"year", "x_year", 1, 1, Type::kInteger},
    {"month", "x_month", 1, 1, Type::kInteger},
    {"day", "x_day", 1, 1, Type::kInteger},
    {"hour", "x_hour", 1, 1, Type::kInteger},
    {"minute", "x_minute", 1, 1, Type::kInteger},
    {"second", "x_second", 1, 1, Type::kInteger},
    {"weekday", "x_weekday", 1, 2, Type::kInteger},
    {"weekdayname", "x_weekdayname", 1, 3, Type::kText},
    {"monthname", "x_monthname", 1, 2, Type::kText},
    {"dateadd", "x_dateadd", 3, 3, Type::kDate},
    {"datediff", "x_datediff", 3, 5, Type::kInteger},
    {"datepart", "x_datepart", 2, 4, Type::kInteger},
};

}  // namespace

const FunctionInfo* FindFunction(std::string_view name) {
  if (!name.empty() && name.back() == '$') name.remove_suffix(1);
  for (const FunctionInfo& f : kFunctions) {
    if (EqualNames(f.name, name)) return &f;
  }
  return nullptr;
}

void RegisterFunctions(sqlite3* db, FailureSlot* failures) {
  RegisterTextFunctions(db, failures);
  RegisterNumberFunctions(db, failures);
  RegisterDateFunctions(db, failures);
  RegisterDecimalFunctions(db, failures);
}

std::string_view TextOf(sqlite3_value* v, std::string* storage) {
  if (sqlite3_value_type(v) == SQLITE_FLOAT) {
    *storage = NumberText(sqlite3_value_double(v));
    return *storage;
  }
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(v));
  if (text == nullptr) {
    const int type = sqlite3_value_type(v);
    if (type == SQLITE_TEXT || type == SQLITE_INTEGER) throw std::bad_alloc();
    return {};
  }
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(v))};
}

double NumberOf(sqlite3_value* v) {
  const int type = sqlite3_value_type(v);
  if (type == SQLITE_FLOAT || type == SQLITE_INTEGER) return sqlite3_value_double(v);
  if (type == SQLITE_TEXT) {
    std::string storage;
    std::string_view t = TrimBlanks(TextOf(v, &storage));
    if (!t.empty() && t.front() == '+') t.remove_prefix(1);
    double d = 0;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), d);
    if (!t.empty() && r.ec == std::errc() && r.ptr == t.data() + t.size()) return d;
    throw Error(ErrorKind::kType, fmt::format("Data type mismatch: '{}' is no number.", t));
  }
  throw Error(ErrorKind::kType, "Data type mismatch: binary data is no number.");
}

long long WholeNumberOf(sqlite3_value* v) {
  if (sqlite3_value_type(v) == SQLITE_INTEGER) return sqlite3_value_int64(v);
  const double d = std::nearbyint(NumberOf(v));
  if (!(std::fabs(d) < 9.2e18))
    throw Error(ErrorKind::kOverflow, fmt::format("The number {} is too large.", d));
  return static_cast<long long>(d);
}

}  // namespace jet::sql
