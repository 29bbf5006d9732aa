// Texts of GUIDs and of extended dates, and their stored bytes.
//
// Extended date: 42 bytes of ASCII: 19 digits of days since 0001-01-01, ':', 12 digits of seconds, 7 digits
// of a second's fraction, ":7" and a 0. (The split is known from other readers only.)
#include <fmt/format.h>

#include <cctype>
#include <chrono>
#include <cstdint>

#include "access/store/value_convert.h"

namespace jet {
namespace {

constexpr std::size_t kExtendedBytes = 42;
constexpr std::chrono::sys_days kDayZero = std::chrono::year(1) / 1 / 1;
constexpr std::chrono::sys_days kLastDay = std::chrono::year(9999) / 12 / 31;

// Reads exactly `length` digits.
bool Digits(std::string_view text, std::size_t at, std::size_t length, std::int64_t* out) {
  if (text.size() < at + length) return false;
  *out = 0;
  for (std::size_t i = at; i < at + length; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    *out = *out * 10 + (text[i] - '0');
  }
  return true;
}

}  // namespace

std::string ExtendedDateText(Bytes raw) {
  const std::string_view text(reinterpret_cast<const char*>(raw.data()), raw.size());
  std::int64_t days = 0, seconds = 0, fraction = 0;
  if (text.size() != kExtendedBytes || text[19] != ':' || !Digits(text, 0, 19, &days) ||
      !Digits(text, 20, 12, &seconds) || !Digits(text, 32, 7, &fraction) || days < 0 ||
      days > (kLastDay - kDayZero).count() || seconds >= 86400) {
    return std::string(text);
  }
  const std::chrono::year_month_day day(kDayZero + std::chrono::days(days));
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:07}", int{day.year()}, unsigned{day.month()},
                     unsigned{day.day()}, seconds / 3600, seconds / 60 % 60, seconds % 60, fraction);
}

bool ParseExtendedDate(std::string_view text, std::string* raw) {
  // "YYYY-MM-DD", then perhaps " hh:mm:ss", then perhaps "." and up to 7 digits.
  std::int64_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, fraction = 0;
  if (text.size() < 10 || text[4] != '-' || text[7] != '-') return false;
  if (!Digits(text, 0, 4, &year) || !Digits(text, 5, 2, &month) || !Digits(text, 8, 2, &day)) return false;
  if (text.size() > 10) {
    if (text.size() < 19 || text[10] != ' ' || text[13] != ':' || text[16] != ':') return false;
    if (!Digits(text, 11, 2, &hour) || !Digits(text, 14, 2, &minute) || !Digits(text, 17, 2, &second)) {
      return false;
    }
  }
  if (text.size() > 19) {
    const std::size_t digits = text.size() - 20;
    if (text[19] != '.' || digits == 0 || digits > 7 || !Digits(text, 20, digits, &fraction)) return false;
    for (std::size_t i = digits; i < 7; ++i) fraction *= 10;
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)), std::chrono::month(month),
                                         std::chrono::day(day));
  if (year < 1 || !date.ok() || hour > 23 || minute > 59 || second > 59) return false;
  const std::int64_t days = (std::chrono::sys_days(date) - kDayZero).count();
  raw->append(fmt::format("{:019}:{:012}{:07}:7", days, hour * 3600 + minute * 60 + second, fraction));
  raw->push_back('\0');
  return true;
}

bool ParseGuid(std::string_view text, std::string* raw) {
  if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
  if (text.size() != 36) return false;
  std::uint8_t bytes[16];
  std::size_t n = 0;
  int high = -1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = text[i];
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (c != '-') return false;
      continue;
    }
    if (std::isxdigit(c) == 0) return false;
    const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (high < 0) {
      high = digit;
    } else {
      bytes[n++] = high << 4 | digit;
      high = -1;
    }
  }
  // The first three groups are numbers, low byte first.
  constexpr int kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  for (const int i : kOrder) raw->push_back(bytes[i]);
  return true;
}

}  // namespace jet
