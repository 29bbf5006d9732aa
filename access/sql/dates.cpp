#include "access/sql/dates.h"

#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "access/base/text.h"

namespace jet::sql {
namespace {

constexpr const char* kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};
constexpr const char* kWeekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

struct Part {
  int number = -1;  // digits
  int digits = 0;
  int month = 0;   // name of a month
  char after = 0;  // separator that follows
};

int MonthOf(const std::string& lower) {
  if (lower.size() < 3) return 0;
  for (int m = 1; m <= 12; ++m) {
    if (LowerText(kMonths[m - 1]).rfind(lower, 0) == 0) return m;
  }
  return 0;
}

int FullYear(const Part& p) {
  if (p.digits > 2) return p.number;
  return p.number < 30 ? 2000 + p.number : 1900 + p.number;
}

bool DayFromParts(const std::vector<Part>& parts, int* y, int* m, int* d) {
  if (parts.size() != 3) return false;
  const Part &a = parts[0], &b = parts[1], &c = parts[2];
  const auto take = [&](int year, int month, int day) {
    if (!IsValidDate(year, month, day)) return false;
    *y = year, *m = month, *d = day;
    return true;
  };
  if (a.month) return take(FullYear(c), a.month, b.number);
  if (b.month) return a.digits > 2 ? take(a.number, b.month, c.number) : take(FullYear(c), b.month, a.number);
  if (c.month) return false;
  if (a.digits > 2) return take(a.number, b.number, c.number);
  // Month first; a pair that makes no date that way is read day first, as Access does.
  return take(FullYear(c), a.number, b.number) || take(FullYear(c), b.number, a.number);
}

bool TimeFromParts(const std::vector<Part>& parts, int meridian, int* h, int* n, int* s) {
  if (parts.empty() || parts.size() > 3 || (parts.size() == 1 && meridian == 0)) return false;
  *h = parts[0].number;
  *n = parts.size() > 1 ? parts[1].number : 0;
  *s = parts.size() > 2 ? parts[2].number : 0;
  if (meridian != 0) {
    if (*h < 1 || *h > 12) return false;
    *h = *h % 12 + (meridian == 2 ? 12 : 0);
  }
  return *h <= 23 && *n <= 59 && *s <= 59;
}

}  // namespace

bool ParseDate(std::string_view text, double* date) {
  std::vector<Part> day, time;
  int meridian = 0;
  for (std::size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c == ' ' || c == ',' || c == '\t') {
      ++i;
      continue;
    }
    Part p;
    if (c >= '0' && c <= '9') {
      p.number = 0;
      while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
        if (++p.digits > 4) return false;
        p.number = p.number * 10 + (text[i++] - '0');
      }
    } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
      std::size_t end = i;
      while (end < text.size() && ((text[end] | 32) >= 'a' && (text[end] | 32) <= 'z')) ++end;
      const std::string word = LowerText(text.substr(i, end - i));
      i = end;
      if (word == "am" || word == "pm") {
        if (meridian != 0 || (time.empty() && (day.empty() || day.back().number < 0))) return false;
        meridian = word == "am" ? 1 : 2;
        if (time.empty()) {  // "5 PM"
          time.push_back(day.back());
          day.pop_back();
        }
        continue;
      }
      if (word == "t" && !day.empty()) continue;  // ISO
      p.month = MonthOf(word);
      if (p.month == 0) return false;
    } else {
      return false;
    }
    const bool after_colon = !time.empty() && time.back().after == ':';
    if (i < text.size() && (text[i] == '/' || text[i] == '-' || text[i] == '.' || text[i] == ':')) {
      p.after = text[i++];
    }
    if (p.after == ':' || after_colon) {
      if (p.month) return false;
      time.push_back(p);
    } else {
      day.push_back(p);
    }
  }
  if (day.empty() && time.empty()) return false;
  CalendarTime t;
  if (!day.empty() && !DayFromParts(day, &t.year, &t.month, &t.day)) return false;
  if (!time.empty() && !TimeFromParts(time, meridian, &t.hour, &t.minute, &t.second)) return false;
  *date = JoinDate(t);
  return true;
}

std::string DateText(double date) {
  CalendarTime t;
  if (!ToCalendar(date, &t)) return fmt::format("{}", date);
  std::string out;
  const bool has_time = t.hour != 0 || t.minute != 0 || t.second != 0;
  const bool has_day = !(t.year == 1899 && t.month == 12 && t.day == 30);
  if (has_day || !has_time) out = fmt::format("{}/{}/{}", t.month, t.day, t.year);
  if (has_time) {
    out += fmt::format("{}{}:{:02}:{:02} {}", out.empty() ? "" : " ", t.hour % 12 == 0 ? 12 : t.hour % 12,
                       t.minute, t.second, t.hour < 12 ? "AM" : "PM");
  }
  return out;
}

int Weekday(double date) {
  const auto days = static_cast<long long>(std::floor(date < 0 ? std::trunc(date) : date));
  return static_cast<int>(((days - 1) % 7 + 7) % 7) + 1;  // day 1 is a Sunday
}

int Weekday(double date, int first_day) { return (Weekday(date) - first_day + 7) % 7 + 1; }

int DayOfYear(const CalendarTime& t) {
  return static_cast<int>(DaysOf(t.year, t.month, t.day) - DaysOf(t.year, 1, 1)) + 1;
}

int WeekOfYear(double date, int first_day, int first_week) {
  CalendarTime t;
  if (!ToCalendar(date, &t)) return 0;
  const double day = DaysOf(t.year, t.month, t.day);
  const auto start_of = [&](int year) {
    const double january = DaysOf(year, 1, 1);
    const int before = Weekday(january, first_day) - 1;  // days of that week in the year before
    const bool counts = first_week == 2 ? before <= 3 : first_week == 3 ? before == 0 : true;
    return january - before + (counts ? 0 : 7);
  };
  double start = start_of(t.year);
  if (day < start) {
    start = start_of(t.year - 1);
  } else if (first_week == 2 && day >= start_of(t.year + 1)) {
    return 1;
  }
  return static_cast<int>((day - start) / 7) + 1;
}

const char* MonthName(int month) { return kMonths[month - 1]; }
const char* WeekdayName(int weekday) { return kWeekdays[weekday - 1]; }

}  // namespace jet::sql
