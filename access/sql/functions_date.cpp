// Functions on dates. "Now" is the local time of the machine.

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <ctime>

#include "access/sql/dates.h"
#include "access/sql/function_support.h"
#include "access/sql/names.h"

namespace jet::sql {
namespace {

double DateArgument(sqlite3_value* v) {
  if (sqlite3_value_type(v) != SQLITE_TEXT) return NumberOf(v);
  std::string storage;
  const std::string_view text = TextOf(v, &storage);
  double date = 0;
  if (!ParseDate(text, &date))
    throw Error(ErrorKind::kType, fmt::format("Data type mismatch: '{}' is no date.", text));
  return date;
}

CalendarTime CalendarArgument(sqlite3_value* v) {
  CalendarTime t;
  const double date = DateArgument(v);
  if (!ToCalendar(date, &t))
    throw Error(ErrorKind::kOverflow, fmt::format("The number {} is no date.", date));
  return t;
}

CalendarTime LocalNow() {
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
#ifdef _WIN32
  localtime_s(&tm, &now);
#else
  localtime_r(&now, &tm);
#endif
  return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, std::min(tm.tm_sec, 59)};
}

void Now(sqlite3_context* c, int, sqlite3_value**) { sqlite3_result_double(c, DateOf(LocalNow())); }
void Today(sqlite3_context* c, int, sqlite3_value**) {
  sqlite3_result_double(c, std::trunc(DateOf(LocalNow())));
}
void TimeNow(sqlite3_context* c, int, sqlite3_value**) {
  CalendarTime t = LocalNow();
  t.year = 1899, t.month = 12, t.day = 30;
  sqlite3_result_double(c, DateOf(t));
}

void ToDate(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (!IsNullValue(v[0])) sqlite3_result_double(c, DateArgument(v[0]));
  });
}

void DateValue(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (!IsNullValue(v[0])) sqlite3_result_double(c, std::trunc(DateArgument(v[0])));
  });
}

void TimeValue(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    CalendarTime t = CalendarArgument(v[0]);
    t.year = 1899, t.month = 12, t.day = 30;
    sqlite3_result_double(c, DateOf(t));
  });
}

void IsDate(sqlite3_context* c, int, sqlite3_value** v) {
  std::string storage;
  double date = 0;
  const bool is = sqlite3_value_type(v[0]) == SQLITE_TEXT ? ParseDate(TextOf(v[0], &storage), &date)
                                                          : sqlite3_value_type(v[0]) == SQLITE_FLOAT;
  sqlite3_result_int(c, is ? -1 : 0);
}

int SmallArgument(sqlite3_value* v) {
  const long long n = WholeNumberOf(v);
  if (n < -100000 || n > 100000)
    throw Error(ErrorKind::kOverflow, fmt::format("Overflow: {} is no part of a date.", n));
  return static_cast<int>(n);
}

void DateSerial(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    int year = SmallArgument(v[0]);
    if (year >= 0 && year < 100) year += year < 30 ? 2000 : 1900;
    sqlite3_result_double(c, DaysOf(year, SmallArgument(v[1]), SmallArgument(v[2])));
  });
}

void TimeSerial(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    sqlite3_result_double(
        c, (SmallArgument(v[0]) * 3600.0 + SmallArgument(v[1]) * 60.0 + SmallArgument(v[2])) / 86400.0);
  });
}

template <int CalendarTime::*kPart>
void Part(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (!IsNullValue(v[0])) sqlite3_result_int(c, CalendarArgument(v[0]).*kPart);
  });
}

void WeekdayOf(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const int first = n > 1 ? SmallArgument(v[1]) : 1;
    sqlite3_result_int(c, (Weekday(DateArgument(v[0])) - (first < 1 ? 1 : first) + 7) % 7 + 1);
  });
}

double Seconds(std::string_view unit) {
  if (unit == "h") return 3600;
  if (unit == "n") return 60;
  if (unit == "s") return 1;
  if (unit == "d" || unit == "y" || unit == "w") return 86400;
  if (unit == "ww") return 604800;
  return 0;
}

int Months(std::string_view unit) { return unit == "yyyy" ? 12 : unit == "q" ? 3 : unit == "m" ? 1 : 0; }

[[noreturn]] void UnknownUnit(std::string_view unit) {
  throw Error(ErrorKind::kSql, fmt::format("'{}' is no unit of time.", unit));
}

void DateAdd(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string storage;
    const std::string unit = LowerText(TextOf(v[0], &storage));
    const double count = static_cast<double>(WholeNumberOf(v[1]));
    const double date = DateArgument(v[2]);
    if (const int months = Months(unit)) {
      CalendarTime t = CalendarArgument(v[2]);
      const double moved = t.month - 1 + months * count;
      if (std::fabs(moved) > 120000) throw Error(ErrorKind::kOverflow, "The date is out of range.");
      const int last = static_cast<int>(DaysOf(t.year, static_cast<int>(moved) + 2, 1) -
                                        DaysOf(t.year, static_cast<int>(moved) + 1, 1));
      t.month = static_cast<int>(moved) + 1;
      t.day = std::min(t.day, last);
      sqlite3_result_double(c, DateOf(t));
    } else if (const double seconds = Seconds(unit)) {
      sqlite3_result_double(c, date + count * seconds / 86400.0);
    } else {
      UnknownUnit(unit);
    }
  });
}

void DateDiff(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string storage;
    const std::string unit = LowerText(TextOf(v[0], &storage));
    const CalendarTime a = CalendarArgument(v[1]), b = CalendarArgument(v[2]);
    if (const int months = Months(unit)) {
      const auto count = [&](const CalendarTime& t) { return (t.year * 12 + t.month - 1) / months; };
      sqlite3_result_int64(c, count(b) - count(a));
      return;
    }
    const double seconds = Seconds(unit);
    if (seconds == 0) UnknownUnit(unit);
    const auto count = [&](const CalendarTime& t) {
      const double all =
          DaysOf(t.year, t.month, t.day) * 86400 + t.hour * 3600.0 + t.minute * 60.0 + t.second;
      return std::floor(all / seconds + (unit == "ww" ? 6.0 / 7.0 : 0));  // weeks begin on Sunday
    };
    sqlite3_result_int64(c, static_cast<long long>(count(b) - count(a)));
  });
}

}  // namespace

void RegisterDateFunctions(sqlite3* db, FailureSlot* slot) {
  AddFunction(db, "x_now", Now, slot, false);
  AddFunction(db, "x_date", Today, slot, false);
  AddFunction(db, "x_time", TimeNow, slot, false);
  AddFunction(db, "x_cdate", ToDate, slot);
  AddFunction(db, "x_datevalue", DateValue, slot);
  AddFunction(db, "x_timevalue", TimeValue, slot);
  AddFunction(db, "x_isdate", IsDate, slot);
  AddFunction(db, "x_dateserial", DateSerial, slot);
  AddFunction(db, "x_timeserial", TimeSerial, slot);
  AddFunction(db, "x_year", Part<&CalendarTime::year>, slot);
  AddFunction(db, "x_month", Part<&CalendarTime::month>, slot);
  AddFunction(db, "x_day", Part<&CalendarTime::day>, slot);
  AddFunction(db, "x_hour", Part<&CalendarTime::hour>, slot);
  AddFunction(db, "x_minute", Part<&CalendarTime::minute>, slot);
  AddFunction(db, "x_second", Part<&CalendarTime::second>, slot);
  AddFunction(db, "x_weekday", WeekdayOf, slot);
  AddFunction(db, "x_dateadd", DateAdd, slot);
  AddFunction(db, "x_datediff", DateDiff, slot);
}

}  // namespace jet::sql
