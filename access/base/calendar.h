// Dates as Access keeps them: days since 1899-12-30 in a double, the time of day as the fraction. Before that
// day the fraction still counts forward from midnight: -1.25 is 1899-12-29 06:00.
#pragma once

namespace jet {

struct CalendarTime {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// Whether the number is a date: one of the years 100 to 9999.
bool IsDateNumber(double date);
// Whether there is such a day in those years.
bool IsValidDate(int year, int month, int day);

// Days of a calendar day, of any year; months and days out of their range carry over, as DateSerial does.
double DaysOf(int year, int month, int day);
// The date number of a calendar time.
double JoinDate(const CalendarTime& time);
// Rounded to seconds. False, and *out as it was, when the number is no date.
bool ToCalendar(double date, CalendarTime* out);

// Now, local time, whole seconds.
double CurrentDate();

}  // namespace jet
