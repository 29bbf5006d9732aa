#include "access/sql/format_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "access/base/text.h"
#include "access/sql/dates.h"
#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

std::vector<std::string> Sections(std::string_view picture) {
  std::vector<std::string> out(1);
  bool quoted = false;
  for (const char c : picture) {
    if (c == '"') quoted = !quoted;
    if (c == ';' && !quoted) {
      out.emplace_back();
    } else {
      out.back().push_back(c);
    }
  }
  return out;
}

// Halves away from zero, on the shortest decimal text of the double: 0.125 to two places is 0.13, 2.675
// is 2.68.
std::string FixedText(double v, int decimals) {
  const std::string shortest = fmt::format("{:.15g}", v);
  if (shortest.find('e') == std::string::npos) {
    const auto point = shortest.find('.');
    if (point != std::string::npos && shortest.size() - point - 1 > static_cast<std::size_t>(decimals) &&
        shortest[point + 1 + decimals] >= '5') {
      std::string kept = shortest.substr(0, point + 1 + decimals);
      for (std::size_t i = kept.size(); i-- > 0;) {
        if (kept[i] == '.') continue;
        if (kept[i] != '9') {
          ++kept[i];
          if (kept.back() == '.') kept.pop_back();
          return kept;
        }
        kept[i] = '0';
      }
      kept.insert(0, 1, '1');
      if (kept.back() == '.') kept.pop_back();
      return kept;
    }
    if (point != std::string::npos && shortest.size() - point - 1 > static_cast<std::size_t>(decimals)) {
      std::string kept = shortest.substr(0, point + 1 + decimals);
      if (kept.back() == '.') kept.pop_back();
      return kept;
    }
  }
  return fmt::format("{:.{}f}", v, decimals);
}

std::string Picture(double v, const std::string& p, bool sign) {
  // Split into what stands before, among and behind the digits.
  int least_whole = 0, least_decimals = 0, most_decimals = 0;
  bool point = false, grouped = false, percent = false, any = false, quoted = false, exponent = false;
  std::string before, behind;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const char c = p[i];
    std::string& literal = any ? behind : before;
    if (quoted) {
      if (c == '"') {
        quoted = false;
      } else {
        literal.push_back(c);
      }
    } else if (c == '0' || c == '#') {
      any = true;
      if (exponent) continue;
      if (point) {
        ++most_decimals;
        if (c == '0') least_decimals = most_decimals;
      } else if (c == '0' || least_whole > 0) {
        ++least_whole;
      }
    } else if (c == '.' && !point) {
      point = any = true;
    } else if (c == ',' && any) {
      grouped = true;
    } else if (c == '"') {
      quoted = true;
    } else if (c == '\\' && i + 1 < p.size()) {
      literal.push_back(p[++i]);
    } else if ((c == 'E' || c == 'e') && i + 1 < p.size() && (p[i + 1] == '+' || p[i + 1] == '-')) {
      exponent = true;
      ++i;
    } else {
      if (c == '%') percent = true;
      literal.push_back(c);
    }
  }
  if (!any) return before;
  double magnitude = std::fabs(v) * (percent ? 100 : 1);
  std::string tail;
  if (exponent) {
    const int e = magnitude == 0 ? 0 : static_cast<int>(std::floor(std::log10(magnitude)));
    magnitude /= std::pow(10.0, e);
    tail = fmt::format("E{}{:02}", e < 0 ? '-' : '+', std::abs(e));
  }
  std::string digits = FixedText(magnitude, most_decimals);
  std::string whole = digits.substr(0, digits.find('.'));
  std::string decimals = digits.find('.') == std::string::npos ? "" : digits.substr(digits.find('.') + 1);
  while (std::ssize(decimals) > least_decimals && decimals.back() == '0') decimals.pop_back();
  if (whole == "0" && least_whole == 0) whole.clear();
  while (std::ssize(whole) < least_whole) whole.insert(0, 1, '0');
  if (grouped) {
    for (std::size_t i = whole.size(); i > 3; i -= 3) whole.insert(i - 3, 1, ',');
  }
  const bool zero = (whole + decimals).find_first_not_of("0,") == std::string::npos;
  return (sign && v < 0 && !zero ? "-" : "") + before + whole + (point ? "." : "") + decimals + tail + behind;
}

bool IsOneOf(std::string_view name, std::initializer_list<const char*> names) {
  for (const char* n : names) {
    if (EqualNames(n, name)) return true;
  }
  return false;
}

// Pictures of dates that have names.
std::string_view NamedPicture(std::string_view picture) {
  static constexpr std::pair<std::string_view, std::string_view> kNamed[] = {
      {"Long Date", "dddd, mmmm d, yyyy"}, {"Medium Date", "dd-mmm-yy"},   {"Short Date", "m/d/yyyy"},
      {"Long Time", "h:nn:ss AM/PM"},      {"Medium Time", "hh:nn AM/PM"}, {"Short Time", "hh:nn"}};
  for (const auto& [name, named] : kNamed) {
    if (EqualNames(picture, name)) return named;
  }
  return picture;
}

// What the letter `c`, `n` times, stands for; nothing when it stands for itself. `after_hour`: an m is a
// minute.
std::optional<std::string> DatePart(char c, std::size_t n, double date, const CalendarTime& t, bool half_day,
                                    bool after_hour, int first_day, int first_week) {
  const auto number = [&](int v) { return n == 1 ? fmt::format("{}", v) : fmt::format("{:02}", v); };
  const auto word = [&](const std::string& name) { return n == 3 ? name.substr(0, 3) : name; };
  switch (c) {
    case 'd':
      return n <= 2 ? number(t.day) : word(WeekdayName(Weekday(date)));
    case 'm':
      if (after_hour) return number(t.minute);
      return n <= 2 ? number(t.month) : word(MonthName(t.month));
    case 'c':
      return DateText(date);
    case 'q':
      return fmt::format("{}", (t.month + 2) / 3);
    case 'w':
      return fmt::format("{}", n == 1 ? Weekday(date, first_day) : WeekOfYear(date, first_day, first_week));
    case 'y':
      if (n == 1) return fmt::format("{}", DayOfYear(t));
      return n == 2 ? fmt::format("{:02}", t.year % 100) : fmt::format("{:04}", t.year);
    case 'h':
      return number(half_day ? (t.hour % 12 == 0 ? 12 : t.hour % 12) : t.hour);
    case 'n':
      return number(t.minute);
    case 's':
      return number(t.second);
    default:
      return {};
  }
}

}  // namespace

std::string FormatNumber(double v, std::string_view picture) {
  if (picture.empty() || IsOneOf(picture, {"General Number"})) return NumberText(v);
  if (IsOneOf(picture, {"Fixed"})) return Picture(v, "0.00", true);
  if (IsOneOf(picture, {"Standard"})) return Picture(v, "#,##0.00", true);
  if (IsOneOf(picture, {"Currency"}))
    return v < 0 ? "(" + Picture(-v, "$#,##0.00", true) + ")" : Picture(v, "$#,##0.00", true);
  if (IsOneOf(picture, {"Percent"})) return Picture(v, "0.00%", true);
  if (IsOneOf(picture, {"Scientific"})) return Picture(v, "0.00E+00", true);
  if (IsOneOf(picture, {"Yes/No"})) return v != 0 ? "Yes" : "No";
  if (IsOneOf(picture, {"True/False"})) return v != 0 ? "True" : "False";
  if (IsOneOf(picture, {"On/Off"})) return v != 0 ? "On" : "Off";
  const std::vector<std::string> sections = Sections(picture);
  if (v < 0 && sections.size() > 1 && !sections[1].empty()) return Picture(v, sections[1], false);
  if (v == 0 && sections.size() > 2 && !sections[2].empty()) return Picture(v, sections[2], false);
  return Picture(v, sections[0], true);
}

bool IsDatePicture(std::string_view picture) {
  if (IsOneOf(picture, {"General Date", "Long Date", "Medium Date", "Short Date", "Long Time", "Medium Time",
                        "Short Time"})) {
    return true;
  }
  if (IsOneOf(picture, {"General Number", "Fixed", "Standard", "Currency", "Percent", "Scientific", "Yes/No",
                        "True/False", "On/Off"})) {
    return false;
  }
  bool quoted = false;
  for (const char c : picture) {
    if (c == '"') quoted = !quoted;
    if (quoted) continue;
    if (c == '0' || c == '#') return false;
    const char lower = c | 32;
    if (std::string_view("dmyhnsqwc").find(lower) != std::string_view::npos) return true;
  }
  return false;
}

std::string FormatDate(double date, std::string_view picture, int first_day, int first_week) {
  if (picture.empty() || IsOneOf(picture, {"General Date"})) return DateText(date);
  picture = NamedPicture(picture);
  CalendarTime t;
  if (!ToCalendar(date, &t)) return NumberText(date);
  const std::string lower = LowerText(picture);
  const bool half_day = lower.find("am/pm") != std::string::npos || lower.find("a/p") != std::string::npos;
  std::string out;
  bool after_hour = false;
  for (std::size_t i = 0; i < lower.size();) {
    const char c = lower[i];
    if (lower.compare(i, 5, "am/pm") == 0) {
      const bool small = picture[i] == 'a';
      out += t.hour < 12 ? (small ? "am" : "AM") : (small ? "pm" : "PM");
      i += 5;
      continue;
    }
    std::size_t n = 1;
    while (i + n < lower.size() && lower[i + n] == c) ++n;
    if (c == '"') {
      const std::size_t end = std::min(lower.find('"', i + 1), lower.size());
      out += picture.substr(i + 1, end - i - 1);
      n = std::min(end + 1, lower.size()) - i;
    } else if (c == '\\') {
      if (i + 1 < picture.size()) out.push_back(picture[i + 1]);
      n = 2;
    } else if (const auto part = DatePart(c, n, date, t, half_day, after_hour, first_day, first_week)) {
      out += *part;
    } else {
      out += picture.substr(i, n);
    }
    if (c >= 'a' && c <= 'z') after_hour = c == 'h';
    i += n;
  }
  return out;
}

bool IsTextPicture(std::string_view picture) {
  bool quoted = false;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const char c = picture[i];
    if (c == '"') quoted = !quoted;
    if (c == '\\') ++i;
    if (!quoted && (c == '@' || c == '&' || c == '<' || c == '>' || c == '!')) return true;
  }
  return false;
}

std::string FormatText(std::string_view text, std::string_view picture) {
  const std::vector<std::string> sections = Sections(picture);
  const std::string& p = text.empty() && sections.size() > 1 ? sections[1] : sections[0];
  // What the picture is made of: literal characters, and places as the mark itself with `place` set.
  struct Piece {
    char32_t code = 0;
    bool place = false;
  };
  std::vector<Piece> pieces;
  bool from_left = false, quoted = false;
  char letters = 0;
  std::size_t places = 0;
  for (std::size_t i = 0; i < p.size();) {
    const char32_t code = NextCodePoint(p, &i);
    if (code == '"') {
      quoted = !quoted;
    } else if (quoted) {
      pieces.push_back({code, false});
    } else if (code == '\\') {
      if (i < p.size()) pieces.push_back({NextCodePoint(p, &i), false});
    } else if (code == '!') {
      from_left = true;
    } else if (code == '<' || code == '>') {
      letters = code;
    } else {
      const bool place = code == '@' || code == '&';
      places += place ? 1 : 0;
      pieces.push_back({code, place});
    }
  }
  std::vector<char32_t> characters;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t code = NextCodePoint(text, &i);
    characters.push_back(letters == '<' ? ToLower(code) : letters == '>' ? ToUpper(code) : code);
  }
  std::string out;
  std::size_t next = 0;
  const auto put_to = [&](std::size_t end) {
    while (next < std::min(end, characters.size())) AppendCodePoint(characters[next++], &out);
  };
  // Places that stay empty come first, or last; what has no place stands at the first one, or behind the
  // last.
  std::size_t empty = places > characters.size() ? places - characters.size() : 0;
  std::size_t surplus = characters.size() > places ? characters.size() - places : 0;
  std::size_t left = places;
  for (const Piece& piece : pieces) {
    if (!piece.place) {
      AppendCodePoint(piece.code, &out);
      continue;
    }
    const bool is_empty = from_left ? next == characters.size() : empty > 0;
    if (is_empty) {
      if (!from_left) --empty;
      if (piece.code == '@') out.push_back(' ');
    } else {
      if (!from_left) put_to(next + std::exchange(surplus, 0));
      put_to(next + 1);
    }
    --left;
    if (left == 0) put_to(characters.size());
  }
  if (places == 0 && letters != 0) put_to(characters.size());
  return out;
}

}  // namespace jet::sql
