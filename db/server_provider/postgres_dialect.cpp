// What PostgreSQL says in words of its own: literals, casts, functions, errors, locks.
#include <fmt/format.h>
#include <utf8.h>

#include <array>
#include <cmath>
#include <cstring>

#include "access/base/calendar.h"
#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/printer.h"
#include "db/server_provider/postgres_tables.h"

namespace vnt::db {
namespace {

using jet::ColumnType;
using jet::Error;
using jet::ErrorKind;
using jet::ValueKind;
using jet::sql::NumberIn;

// Of the locks on notices: so that they meet no other program's.
constexpr int kLockClass = 0x564E54;

std::string Quoted(std::string_view text, char quote) {
  std::string out(1, quote);
  for (const char c : text) {
    out += c;
    if (c == quote) out += c;
  }
  return out + quote;
}

// Days count from 1899-12-30; before it the time of day still counts forward from midnight.
std::string Timestamp(double date) {
  if (!jet::IsDateNumber(date))
    throw Error(ErrorKind::kTooLarge, fmt::format("The number {} is no date.", jet::NumberText(date)));
  double days = std::trunc(date);
  auto microseconds = static_cast<std::int64_t>(std::llround(std::fabs(date - days) * 86400e6));
  if (microseconds == 86400000000) {
    days += 1;
    microseconds = 0;
  }
  jet::CalendarTime day;
  jet::ToCalendar(days, &day);
  const std::int64_t seconds = microseconds / 1000000;
  std::string text = fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", day.year, day.month, day.day,
                                 seconds / 3600, seconds / 60 % 60, seconds % 60);
  if (microseconds % 1000000 != 0) text += fmt::format(".{:06}", microseconds % 1000000);
  return text;
}

class Postgres final : public PostgresTables {
 public:
  std::string_view server_name() const override { return "PostgreSQL"; }

  std::string_view driver_settings() const override {
    // Protocol 7.4-2: a statement that fails takes back itself, not the transaction.
    return "Protocol=7.4-2;BoolsAsChar=0;LFConversion=0;UseServerSidePrepare=0;ByteaAsLongVarBinary=1;"
           // The driver would send the timeout anew with many statements; SessionSetup() sends it once.
           "UpdatableCursors=0;IgnoreTimeout=1;";
  }

  std::vector<std::string> SessionSetup(int seconds) const override {
    return {
        "SET client_min_messages = error; SET datestyle = 'ISO, YMD'; SET bytea_output = 'hex'; "
        "SET standard_conforming_strings = on; SET jit = off; SET plan_cache_mode = force_generic_plan; SET "
        "extra_float_digits = 1; SET statement_timeout = " +
        std::to_string(seconds * 1000)};
  }

  std::string Name(std::string_view name) const override { return Quoted(name, '"'); }

  std::string TextConstant(std::string_view text) const override {
    if (text.find('\0') != std::string_view::npos)
      throw Error(ErrorKind::kFailed, "A text holds the character 0, which the server cannot store.");
    if (!utf8::is_valid(text.begin(), text.end()))
      throw Error(ErrorKind::kFailed, "A text holds half a character, which the server cannot store.");
    return Quoted(text, '\'');
  }
  std::string RealConstant(double value) const override { return fmt::format("'{}'::float8", value); }
  std::string DateConstant(double days) const override { return "'" + Timestamp(days) + "'::timestamp"; }

  std::string Literal(const jet::Value& value, ColumnType type) const override {
    if (value.is_null()) return type == ColumnType::kBoolean ? "FALSE" : "NULL";
    switch (type) {
      case ColumnType::kBoolean:
        return NumberIn(value) != 0 ? "TRUE" : "FALSE";
      case ColumnType::kSingle: {
        const auto single = static_cast<float>(NumberIn(value));
        // One that is too large for it is the server's to refuse.
        return std::isfinite(single) ? fmt::format("'{}'", single) : fmt::format("'{}'", NumberIn(value));
      }
      case ColumnType::kDouble:
        return fmt::format("'{}'", NumberIn(value));
      case ColumnType::kDateTime:
        return "'" + Timestamp(NumberIn(value)) + "'";
      default:
        break;
    }
    switch (value.kind()) {
      case ValueKind::kInteger:
        return fmt::format("'{}'", value.integer());
      case ValueKind::kDecimal:
        return "'" + value.decimal().ToText() + "'";
      case ValueKind::kReal:
        return fmt::format("'{}'", value.real());
      case ValueKind::kText:
        return TextConstant(value.bytes());
      default:
        break;
    }
    std::string hex = "'\\x";
    for (const char c : value.bytes()) hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
    return hex + "'";
  }

  std::string Placeholder(int number) const override { return fmt::format("${}", number + 1); }
  std::string Prepare(const std::string& name, const std::string& sql, std::size_t numbers) const override {
    std::string types;
    for (std::size_t i = 0; i < numbers; ++i) types += i == 0 ? "int4" : ", int4";
    return "PREPARE " + name + "(" + types + ") AS " + sql;
  }
  std::string ExecutePrepared(const std::string& name,
                              const std::vector<std::int64_t>& numbers) const override {
    return fmt::format("EXECUTE {}({})", name, fmt::join(numbers, ", "));
  }

  std::string ToReal(const std::string& sql) const override { return sql + "::float8"; }
  std::string ToWhole(const std::string& sql) const override { return sql + "::int8"; }
  std::string ToExact(const std::string& sql) const override { return sql + "::numeric"; }
  std::string TruthToNumber(const std::string& sql) const override { return "(-" + sql + "::int4)"; }

  std::string DateToDays(const std::string& sql) const override {
    const std::string days = "(extract(epoch FROM (" + sql + " - timestamp '1899-12-30'))::float8 / 86400)";
    return fmt::format("(CASE WHEN {0} >= 0 THEN {0} ELSE 2 * floor({0}) - {0} END)", days);
  }
  std::string DaysToDate(const std::string& sql) const override {
    return fmt::format(
        "(timestamp '1899-12-30' + trunc({0}) * interval '1 day' + abs({0} - trunc({0})) * interval '1 day')",
        sql);
  }

  std::string Cast(const std::string& sql, const ServerColumn& column) const override {
    switch (column.type) {
      case ColumnType::kText:
      case ColumnType::kMemo:
      case ColumnType::kDateTimeExtended:
        // Not to the length of the column: a cast to that would cut.
        return sql + "::text";
      case ColumnType::kCurrency:
      case ColumnType::kDecimal:
        return sql + "::numeric";
      default:
        return sql + "::" + PostgresType(column);
    }
  }

  std::string Read(const std::string& sql, ColumnType type) const override {
    return type == ColumnType::kGuid ? "('{' || upper(" + sql + "::text) || '}')" : sql;
  }

  std::string Differs(const std::string& column_sql, const std::string& sql,
                      const ServerColumn& column) const override {
    // -0 is not 0.
    const char* bits = column.type == ColumnType::kDouble   ? "float8send"
                       : column.type == ColumnType::kSingle ? "float4send"
                                                            : "";
    return fmt::format("{0}({1}) IS DISTINCT FROM {0}({2})", bits, column_sql, sql);
  }

  std::string Between(const std::string& value, const std::string& a, const std::string& b,
                      bool negated) const override {
    return "(" + value + (negated ? " NOT" : "") + " BETWEEN SYMMETRIC " + a + " AND " + b + ")";
  }

  std::string Order(const std::string& sql, bool descending) const override {
    return sql + (descending ? " DESC NULLS LAST" : " NULLS FIRST");
  }

  std::string Limit(std::int64_t rows) const override { return fmt::format(" LIMIT {}", rows); }

  std::string Round(const std::string& real, int digits) const override {
    const std::string scale = fmt::format("'1e{}'::float8", digits);
    // round() of a double takes halves to the even number. Past 2^52 there is nothing to round.
    return fmt::format(
        "(CASE WHEN abs({0}) >= 4503599627370496 / {1} THEN {0} ELSE round({0} * {1}) / {1} END)", real,
        scale);
  }

  std::string Like(const std::string& text, std::string_view pattern) const override {
    std::string regex = "^";
    for (std::size_t i = 0; i < pattern.size(); ++i) {
      const char c = pattern[i];
      const std::size_t end = c == '[' ? pattern.find(']', i + 1) : 0;
      if (c == '*') {
        regex += ".*";
      } else if (c == '?') {
        regex += '.';
      } else if (c == '#') {
        regex += "[0-9]";
      } else if (c == '[') {
        if (end == std::string_view::npos)
          throw Error(ErrorKind::kFailed, "The pattern of LIKE has a [ without ].");
        regex += Set(pattern.substr(i + 1, end - i - 1));
        i = end;
      } else {
        if (std::strchr("\\^$.|()+{}]", c) != nullptr) regex += '\\';
        regex += c;
      }
    }
    return "(" + text + " ~ " + TextConstant(regex + "$") + ")";
  }

  std::optional<std::string> Function(std::string_view name, const std::vector<std::string>& a,
                                      std::vector<std::string>* helpers) const override;

  std::string FirstOf(const std::string& sql, const std::vector<std::string>& order,
                      bool last) const override {
    std::string terms;
    for (const std::string& term : order) terms += (terms.empty() ? "" : ", ") + Order(term, last);
    return "(array_agg(" + sql + (terms.empty() ? "" : " ORDER BY " + terms) + "))[1]";
  }

  std::string_view place_column() const override { return "ctid"; }
  std::string PlaceConstant(const std::string& literal) const override { return literal + "::tid"; }

  DbError ErrorOf(std::string_view state, const std::string& text) const override;

  std::string TryLock(std::int32_t number, bool shared) const override {
    return fmt::format("SELECT pg_try_advisory_lock{}({}, {})::int", shared ? "_shared" : "", kLockClass,
                       number);
  }
  std::string Unlock(std::int32_t number, bool shared) const override {
    return fmt::format("SELECT pg_advisory_unlock{}({}, {})", shared ? "_shared" : "", kLockClass, number);
  }

 private:
  static std::string Set(std::string_view members) {
    std::string set = "[";
    if (members.starts_with('!')) {
      set += '^';
      members.remove_prefix(1);
    }
    for (const char c : members) {
      if (c == '\\' || c == '[' || c == '^') set += '\\';
      set += c;
    }
    return set + "]";
  }
};

// ---- functions

// upper() and lower() of the server know the letters of a locale, or of ICU, which makes two of one; these
// are the pairs that the engine for files knows.
std::string CaseFunction(const std::string& name, const char* of_ascii, char32_t (*map)(char32_t)) {
  std::string from, to;
  const auto add = [](char32_t c, std::string* text) { utf8::append(c, std::back_inserter(*text)); };
  for (char32_t c = 'A'; c < 0x20000; ++c) {
    if ((c >= 0xD800 && c < 0xE000) || map(c) == c) continue;
    add(c, &from);
    add(map(c), &to);
  }
  return "CREATE OR REPLACE FUNCTION " + name +
         "(t text) RETURNS text LANGUAGE sql IMMUTABLE STRICT AS $f$ SELECT CASE WHEN octet_length(t) = "
         "char_length(t) THEN " +
         of_ascii + "(t COLLATE \"C\") ELSE translate(t, '" + from + "', '" + to + "') END $f$";
}

struct Pattern {
  std::string_view name;
  const char* sql;
};
// {0}, {1}, {2}: the arguments.
constexpr Pattern kPatterns[] = {
    {"left", "left({0}, {1}::int4)"},
    {"right", "right({0}, {1}::int4)"},
    {"len", "char_length({0})"},
    {"trim", "btrim({0}, ' ')"},
    {"ltrim", "ltrim({0}, ' ')"},
    {"rtrim", "rtrim({0}, ' ')"},
    {"chr", "chr({0}::int4)"},
    {"chrw", "chr({0}::int4)"},
    {"asc", "ascii({0})"},
    {"ascw", "ascii({0})"},
    {"string", "repeat(left({1}, 1), {0}::int4)"},
    {"space", "repeat(' ', {0}::int4)"},
    {"replace", "replace({0}, {1}, {2})"},
    {"strreverse", "reverse({0})"},
    {"cstr", "{0}"},
    {"abs", "abs({0})"},
    {"int", "floor({0})"},
    {"fix", "trunc({0})"},
    {"sgn", "sign({0})::int8"},
    {"sqr", "sqrt({0})"},
    {"exp", "exp({0})"},
    {"log", "ln({0})"},
    {"sin", "sin({0})"},
    {"cos", "cos({0})"},
    {"tan", "tan({0})"},
    {"atn", "atan({0})"},
    {"power", "power({0}, {1})"},
    {"cdbl", "{0}"},
    {"csng", "{0}::float4::float8"},
    {"cint", "{0}::int2::int8"},
    {"clng", "{0}::int4::int8"},
    {"now", "date_trunc('second', localtimestamp)"},
    {"date", "current_date::timestamp"},
    {"time", "(timestamp '1899-12-30' + date_trunc('second', localtime))"},
    {"year", "extract(year FROM {0})::int8"},
    {"month", "extract(month FROM {0})::int8"},
    {"day", "extract(day FROM {0})::int8"},
    {"hour", "extract(hour FROM {0})::int8"},
    {"minute", "extract(minute FROM {0})::int8"},
    {"second", "trunc(extract(second FROM {0}))::int8"},
    {"weekday", "(extract(dow FROM {0})::int8 + 1)"},
    {"dateserial",
     "(make_timestamp({0}::int4, 1, 1, 0, 0, 0) + make_interval(months => {1}::int4 - 1, days => {2}::int4 "
     "- "
     "1))"},
    {"stdev", "stddev_samp({0})"},
    {"stdevp", "stddev_pop({0})"},
    {"var", "var_samp({0})"},
    {"varp", "var_pop({0})"}};

std::optional<std::string> Postgres::Function(std::string_view name, const std::vector<std::string>& a,
                                              std::vector<std::string>* helpers) const {
  if (name == "ucase" || name == "lcase") {
    static const std::array<std::string, 2> kDefinitions = {
        CaseFunction("pg_temp.vnt_ucase", "upper", jet::ToUpper),
        CaseFunction("pg_temp.vnt_lcase", "lower", jet::ToLower)};
    helpers->push_back(kDefinitions[name == "ucase" ? 0 : 1]);
    return "pg_temp.vnt_" + std::string(name) + "(" + a[0] + ")";
  }
  if (name == "mid") {
    return "substr(" + a[0] + ", " + a[1] + "::int4" + (a.size() > 2 ? ", " + a[2] + "::int4)" : ")");
  }
  if (name == "instr") {
    // Letter case does not count.
    const std::string text = *Function("ucase", {a[0]}, helpers),
                      wanted = *Function("ucase", {a[1]}, helpers);
    return "(CASE WHEN " + a[0] + " = '' THEN 0 ELSE strpos(" + text + ", " + wanted + ") END)";
  }
  for (const Pattern& pattern : kPatterns) {
    if (pattern.name != name) continue;
    const std::string none;
    return fmt::format(fmt::runtime(pattern.sql), a.empty() ? none : a[0], a.size() > 1 ? a[1] : none,
                       a.size() > 2 ? a[2] : none);
  }
  return {};
}

// ---- errors

DbError Postgres::ErrorOf(std::string_view state, const std::string& text) const {
  constexpr char kSource[] = "VNTFixdb server";
  const auto request = [&](std::int32_t number) { return DbError(number, kSource, text); };
  if (state == "23505") return request(kErrFailed);
  if (state.starts_with("23")) return request(kErrIntegrity);
  if (state == "22001" || state == "22003") return request(kErrTruncated);
  if (state == "22P02" || state == "42804" || state == "22007" || state == "22008")
    return request(kErrDataType);
  if (state == "42P01") return request(kErrMissingTable);
  if (state.starts_with("42501") || state == "25006") return request(kErrReadOnly);
  if (state.starts_with("42")) return request(kErrSyntax);
  // Resources, limits, operators, the system, the server itself; conflicts between transactions.
  for (const char* of_surroundings : {"08", "40", "53", "54", "55", "57", "58", "XX", "HY", "F0", "25"}) {
    if (state.starts_with(of_surroundings)) return {kErrFailed, kSource, text, true};
  }
  return request(kErrFailed);
}

}  // namespace

const SqlDialect& PostgresDialect() {
  static const Postgres dialect;
  return dialect;
}

}  // namespace vnt::db
