// Dates in SQL: their texts, and weeks. What a date number is stands in access/base/calendar.h.
#pragma once

#include <string>
#include <string_view>

#include "access/base/calendar.h"

namespace jet::sql {

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
