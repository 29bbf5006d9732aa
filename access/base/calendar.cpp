#include "access/base/calendar.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>

namespace jet {
namespace {

namespace chrono = std::chrono;

constexpr chrono::sys_days kDayZero = chrono::year(1899) / 12 / 30;
constexpr double kFirstDay = (chrono::sys_days(chrono::year(100) / 1 / 1) - kDayZero).count();
constexpr double kLastDay = (chrono::sys_days(chrono::year(9999) / 12 / 31) - kDayZero).count();
constexpr int kSecondsOfDay = 86400;
constexpr int kDaysOf400Years = 146097;

}  // namespace

bool IsDateNumber(double date) { return date > kFirstDay - 1 && date < kLastDay + 1; }

bool IsValidDate(int year, int month, int day) {
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) return false;
  return (chrono::year(year) / month / day).ok();
}

double DaysOf(int year, int month, int day) {
  const std::int64_t months = std::int64_t{year} * 12 + (month - 1);
  // The calendar repeats after 400 years; the years of chrono end at 32767.
  constexpr int kMonthsOf400Years = 400 * 12;
  std::int64_t cycle = months / kMonthsOf400Years, in_cycle = months % kMonthsOf400Years;
  if (in_cycle < 0) {
    in_cycle += kMonthsOf400Years;
    --cycle;
  }
  const chrono::sys_days first =
      chrono::year(in_cycle / 12) / chrono::month(static_cast<unsigned>(in_cycle % 12) + 1) / 1;
  return static_cast<double>((first - kDayZero).count() + cycle * kDaysOf400Years + day - 1);
}

double JoinDate(const CalendarTime& t) {
  const double days = DaysOf(t.year, t.month, t.day);
  const double time = (t.hour * 3600.0 + t.minute * 60.0 + t.second) / kSecondsOfDay;
  return days >= 0 ? days + time : days - time;
}

bool ToCalendar(double date, CalendarTime* out) {
  if (!IsDateNumber(date)) return false;
  const double whole = std::trunc(date);
  int days = static_cast<int>(whole);
  int seconds = static_cast<int>(std::round(std::fabs(date - whole) * kSecondsOfDay));
  if (seconds == kSecondsOfDay) {
    seconds = 0;
    ++days;
  }
  const chrono::year_month_day day(kDayZero + chrono::days(days));
  *out = {int{day.year()},
          static_cast<int>(unsigned{day.month()}),
          static_cast<int>(unsigned{day.day()}),
          seconds / 3600,
          seconds / 60 % 60,
          seconds % 60};
  return true;
}

double CurrentDate() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &now);
#else
  localtime_r(&now, &local);
#endif
  return JoinDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                   std::min(local.tm_sec, 59)});
}

}  // namespace jet
