// Dates as Access keeps them: days since 1899-12-30 in a double, the time of day as the fraction. Before that
// day the fraction still counts forward from midnight: -1.25 is 1899-12-29 06:00.
#pragma once

#include <string>
#include <string_view>

namespace jet::sql {

struct CalendarTime {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// Days of a calendar day; months and days out of their range carry over, as DateSerial does.
double DaysOf(int year, int month, int day);
// The date number of a calendar time.
double DateOf(const CalendarTime& time);
// Rounded to seconds. False when it is outside the years 100 to 9999.
bool ToCalendar(double date, CalendarTime* out);

// Reads "m/d/yyyy", day first when that is no valid date, "yyyy-mm-dd", with "-" "." or "/" between, names of
// months ("12 Apr 2005", "April 12, 2005"), and times "h:mm[:ss] [AM|PM]", alone or behind. Years of two
// digits: 00-29 are 2000 to 2029, the others 1930 to 1999.
bool ParseDate(std::string_view text, double* date);

// "m/d/yyyy h:mm:ss AM/PM"; without the time at midnight, without the date on day 0.
std::string DateText(double date);

// Weekday, 1 is Sunday.
int Weekday(double date);
// With `first_day` (1 Sunday ... 7 Saturday) as 1.
int Weekday(double date, int first_day);
int DayOfYear(const CalendarTime& t);
// Number of the week in its year. `first_week`: 1 the one that holds January 1, 2 the first with at least
// four days in the year, 3 the first whole week; with 2 and 3 days before it belong to the last week of the
// year before.
int WeekOfYear(double date, int first_day, int first_week);

const char* MonthName(int month);      // 1..12, English
const char* WeekdayName(int weekday);  // 1..7, English

}  // namespace jet::sql
