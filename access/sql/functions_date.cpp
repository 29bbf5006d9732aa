// Functions on dates. "Now" is the local time of the machine.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "access/base/text.h"
#include "access/sql/dates.h"
#include "access/sql/function_support.h"

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
    throw Error(ErrorKind::kTooLarge, fmt::format("The number {} is no date.", date));
  return t;
}

void Now(sqlite3_context* c, int, sqlite3_value**) { sqlite3_result_double(c, CurrentDate()); }
void Today(sqlite3_context* c, int, sqlite3_value**) { sqlite3_result_double(c, std::trunc(CurrentDate())); }
void TimeNow(sqlite3_context* c, int, sqlite3_value**) {
  const double now = CurrentDate();
  sqlite3_result_double(c, now - std::trunc(now));
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
    sqlite3_result_double(c, JoinDate(t));
  });
}

// x_isdate(is_date, value): a number is none, unless it is known to be one.
void IsDate(sqlite3_context* c, int, sqlite3_value** v) {
  std::string storage;
  double date = 0;
  const bool is_date = sqlite3_value_int(v[0]) != 0;
  const bool is = sqlite3_value_type(v[1]) == SQLITE_TEXT ? ParseDate(TextOf(v[1], &storage), &date)
                                                          : is_date && !IsNullValue(v[1]);
  sqlite3_result_int(c, is ? -1 : 0);
}

int SmallArgument(sqlite3_value* v) {
  const long long n = WholeNumberOf(v);
  if (n < -100000 || n > 100000)
    throw Error(ErrorKind::kTooLarge, fmt::format("Overflow: {} is no part of a date.", n));
  return n;
}

// First day of the week, 1 Sunday to 7 Saturday; 0 stands for the system's, which is Sunday here.
int DayArgument(sqlite3_value* v) {
  const int day = SmallArgument(v);
  if (day < 0 || day > 7) throw Error(ErrorKind::kFailed, "A day of the week is a number from 1 to 7.");
  return day == 0 ? 1 : day;
}

int WeekArgument(sqlite3_value* v) {
  const int week = SmallArgument(v);
  if (week < 0 || week > 3)
    throw Error(ErrorKind::kFailed, "The first week of the year is told by 1, 2 or 3.");
  return week == 0 ? 1 : week;
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
    sqlite3_result_int(c, Weekday(DateArgument(v[0]), n > 1 ? DayArgument(v[1]) : 1));
  });
}

void WeekdayNameOf(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const int number = SmallArgument(v[0]), first = n > 2 ? DayArgument(v[2]) : 1;
    if (number < 1 || number > 7) throw Error(ErrorKind::kFailed, "WeekdayName takes a number from 1 to 7.");
    const std::string name = WeekdayName((number + first - 2) % 7 + 1);
    ResultText(c, n > 1 && WholeNumberOf(v[1]) != 0 ? name.substr(0, 3) : name);
  });
}

void MonthNameOf(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const int number = SmallArgument(v[0]);
    if (number < 1 || number > 12) throw Error(ErrorKind::kFailed, "MonthName takes a number from 1 to 12.");
    const std::string name = MonthName(number);
    ResultText(c, n > 1 && WholeNumberOf(v[1]) != 0 ? name.substr(0, 3) : name);
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
  throw Error(ErrorKind::kFailed, fmt::format("'{}' is no unit of time.", unit));
}

// Days with the time of day counting forward always, which a date before 1899-12-30 does not.
double Linear(double date) {
  const double day = std::trunc(date);
  return day + std::fabs(date - day);
}
double FromLinear(double linear) {
  const double day = std::floor(linear);
  return day >= 0 ? linear : day - (linear - day);
}

double RequireDate(double date) {
  if (!IsDateNumber(date)) throw Error(ErrorKind::kTooLarge, "The date is out of range.");
  return date;
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
      if (std::fabs(moved) > 120000) throw Error(ErrorKind::kTooLarge, "The date is out of range.");
      const int month = static_cast<int>(moved) + 1;
      const int last = static_cast<int>(DaysOf(t.year, month + 1, 1) - DaysOf(t.year, month, 1));
      t.month = month;
      t.day = std::min(t.day, last);
      sqlite3_result_double(c, RequireDate(JoinDate(t)));
    } else if (const double seconds = Seconds(unit)) {
      sqlite3_result_double(c, RequireDate(FromLinear(Linear(date) + count * seconds / 86400.0)));
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
    const int first_day = n > 3 ? DayArgument(v[3]) : 1;
    const auto day = [](const CalendarTime& t) { return DaysOf(t.year, t.month, t.day); };
    if (unit == "w") {  // whole weeks
      sqlite3_result_int64(c, static_cast<long long>((day(b) - day(a)) / 7));
      return;
    }
    const auto count = [&](const CalendarTime& t) {
      if (unit == "ww") return std::floor((day(t) - first_day) / 7);  // beginnings of weeks
      return std::floor((day(t) * 86400 + t.hour * 3600.0 + t.minute * 60.0 + t.second) / seconds);
    };
    sqlite3_result_int64(c, static_cast<long long>(count(b) - count(a)));
  });
}

void DatePart(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string storage;
    const std::string unit = LowerText(TextOf(v[0], &storage));
    const CalendarTime t = CalendarArgument(v[1]);
    const double date = DaysOf(t.year, t.month, t.day);
    const int first_day = n > 2 ? DayArgument(v[2]) : 1, first_week = n > 3 ? WeekArgument(v[3]) : 1;
    const int part = unit == "yyyy" ? t.year
                     : unit == "q"  ? (t.month + 2) / 3
                     : unit == "m"  ? t.month
                     : unit == "y"  ? DayOfYear(t)
                     : unit == "d"  ? t.day
                     : unit == "w"  ? Weekday(date, first_day)
                     : unit == "ww" ? WeekOfYear(date, first_day, first_week)
                     : unit == "h"  ? t.hour
                     : unit == "n"  ? t.minute
                     : unit == "s"  ? t.second
                                    : -1;
    if (part < 0) UnknownUnit(unit);
    sqlite3_result_int(c, part);
  });
}

constexpr Function kFunctions[] = {
    {"now", 0, 0, Type::kDate, Now, kVaries},
    {"date", 0, 0, Type::kDate, Today, kVaries},
    {"time", 0, 0, Type::kDate, TimeNow, kVaries},
    {"cdate", 1, 1, Type::kDate, ToDate},
    {"cvdate", 1, 1, Type::kDate, ToDate},
    {"datevalue", 1, 1, Type::kDate, DateValue},
    {"timevalue", 1, 1, Type::kDate, TimeValue},
    {"isdate", 1, 1, Type::kBoolean, IsDate, kTellsDates},
    {"dateserial", 3, 3, Type::kDate, DateSerial},
    {"timeserial", 3, 3, Type::kDate, TimeSerial},
    {"year", 1, 1, Type::kInteger, Part<&CalendarTime::year>},
    {"month", 1, 1, Type::kInteger, Part<&CalendarTime::month>},
    {"day", 1, 1, Type::kInteger, Part<&CalendarTime::day>},
    {"hour", 1, 1, Type::kInteger, Part<&CalendarTime::hour>},
    {"minute", 1, 1, Type::kInteger, Part<&CalendarTime::minute>},
    {"second", 1, 1, Type::kInteger, Part<&CalendarTime::second>},
    {"weekday", 1, 2, Type::kInteger, WeekdayOf},
    {"weekdayname", 1, 3, Type::kText, WeekdayNameOf, kTakesTexts},
    {"monthname", 1, 2, Type::kText, MonthNameOf, kTakesTexts},
    {"datepart", 2, 4, Type::kInteger, DatePart},
    {"dateadd", 3, 3, Type::kDate, DateAdd},
    {"datediff", 3, 5, Type::kInteger, DateDiff},
};

}  // namespace

std::span<const Function> DateFunctions() { return kFunctions; }

}  // namespace jet::sql
