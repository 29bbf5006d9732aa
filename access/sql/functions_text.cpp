// Functions on text. Positions and lengths count UTF-16 units, as in Access.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "access/base/text.h"
#include "access/sql/dates.h"
#include "access/sql/format_text.h"
#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

std::size_t CountOf(sqlite3_value* v, const char* function) {
  const long long n = WholeNumberOf(v);
  if (n < 0)
    throw Error(ErrorKind::kFailed, fmt::format("{} was given the negative length {}.", function, n));
  return n;
}

void Left(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    std::string storage;
    const std::string_view s = TextOf(v[0], &storage);
    const std::size_t n = CountOf(v[1], "Left");
    if (IsAscii(s)) {
      ResultText(c, s.substr(0, n));
    } else {
      ResultText(c, Utf16Substring(s, 0, n));
    }
  });
}

void Right(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    std::string storage;
    const std::string_view s = TextOf(v[0], &storage);
    const std::size_t n = CountOf(v[1], "Right"), length = Utf16Length(s);
    const std::size_t start = n >= length ? 0 : length - n;
    if (length == s.size()) {
      ResultText(c, s.substr(start));
    } else {
      ResultText(c, Utf16Substring(s, start, n));
    }
  });
}

void Mid(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string storage;
    const std::string_view s = TextOf(v[0], &storage);
    const std::size_t start = CountOf(v[1], "Mid");
    if (start == 0) throw Error(ErrorKind::kFailed, "Mid counts characters from 1.");
    ResultText(c, Utf16Substring(s, start - 1, n > 2 ? CountOf(v[2], "Mid") : std::string_view::npos));
  });
}

void Len(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage;
    sqlite3_result_int64(c, Utf16Length(TextOf(v[0], &storage)));
  });
}

template <std::string (*kMap)(std::string_view)>
void Mapped(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage;
    ResultText(c, kMap(TextOf(v[0], &storage)));
  });
}

// Blanks only, not tabs or line ends.
template <bool kLeft, bool kRight>
void Trim(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage;
    std::string_view s = TextOf(v[0], &storage);
    while (kLeft && !s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (kRight && !s.empty() && s.back() == ' ') s.remove_suffix(1);
    ResultText(c, s);
  });
}

// InStr([start,] text, wanted [, compare]). Without "compare" letter case does not count, as in queries of
// Access.
void InStr(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const bool has_start = n > 2;
    std::size_t start = has_start ? CountOf(v[0], "InStr") : 1;
    if (start == 0) throw Error(ErrorKind::kFailed, "InStr counts characters from 1.");
    const bool binary = n == 4 && WholeNumberOf(v[3]) == 0;
    std::string s1, s2;
    std::string text(TextOf(v[has_start ? 1 : 0], &s1)), wanted(TextOf(v[has_start ? 2 : 1], &s2));
    if (!binary) text = UpperText(text), wanted = UpperText(wanted);
    const std::size_t length = Utf16Length(text);
    if (wanted.empty()) {
      sqlite3_result_int64(c, start <= length ? start : 0);
      return;
    }
    if (start > length) {
      sqlite3_result_int64(c, 0);
      return;
    }
    const std::size_t from = Utf16Substring(text, 0, start - 1).size();
    const std::size_t at = text.find(wanted, from);
    sqlite3_result_int64(c,
                         at == std::string::npos ? 0 : Utf16Length(std::string_view(text).substr(0, at)) + 1);
  });
}

// InStrRev(text, wanted [, start [, compare]]): the last place that ends not behind `start`; -1 is the end.
void InStrRev(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string s1, s2;
    std::string text(TextOf(v[0], &s1)), wanted(TextOf(v[1], &s2));
    if (n < 4 || WholeNumberOf(v[3]) != 0) text = UpperText(text), wanted = UpperText(wanted);
    const long long length = Utf16Length(text);
    const long long of_wanted = Utf16Length(wanted);
    const long long given = n > 2 ? WholeNumberOf(v[2]) : -1;
    if (given == 0 || given < -1) throw Error(ErrorKind::kFailed, "InStrRev counts characters from 1.");
    const long long start = given == -1 ? length : given;
    if (start > length || of_wanted > start || length == 0) {
      sqlite3_result_int64(c, 0);
      return;
    }
    if (wanted.empty()) {
      sqlite3_result_int64(c, start);
      return;
    }
    const std::size_t last = Utf16Substring(text, 0, start - of_wanted).size();
    const std::size_t at = text.rfind(wanted, last);
    sqlite3_result_int64(c,
                         at == std::string::npos ? 0 : Utf16Length(std::string_view(text).substr(0, at)) + 1);
  });
}

// StrConv(text, 1 upper case, 2 lower case or 3 first letters upper case).
void StrConv(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string storage;
    const std::string_view s = TextOf(v[0], &storage);
    const long long how = WholeNumberOf(v[1]);
    if (how == 1 || how == 2) {
      ResultText(c, how == 1 ? UpperText(s) : LowerText(s));
      return;
    }
    if (how != 3) throw Error(ErrorKind::kNotSupported, "StrConv can do 1, 2 and 3 only.");
    std::string out;
    bool first = true;
    for (std::size_t i = 0; i < s.size();) {
      const char32_t code = NextCodePoint(s, &i);
      AppendCodePoint(first ? ToUpper(code) : ToLower(code), &out);
      first = code == ' ' || code == 0 || (code >= '\t' && code <= '\r');
    }
    ResultText(c, out);
  });
}

void Chr(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    const long long code = WholeNumberOf(v[0]);
    if (code < 0 || code > 0xFFFF)
      throw Error(ErrorKind::kFailed, fmt::format("There is no character {}.", code));
    std::string s;
    AppendCodePoint(code, &s);
    ResultText(c, s);
  });
}

void Asc(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string storage;
    const std::string_view s = TextOf(v[0], &storage);
    if (s.empty()) throw Error(ErrorKind::kFailed, "Asc was given an empty text.");
    std::size_t i = 0;
    char32_t code = NextCodePoint(s, &i);
    if (code >= 0x10000) code = 0xD800 + ((code - 0x10000) >> 10);
    sqlite3_result_int64(c, code);
  });
}

constexpr std::size_t kLongestRepeat = 1u << 20;

void Repeat(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    const std::size_t count = CountOf(v[0], n == 1 ? "Space" : "String");
    if (count > kLongestRepeat) throw Error(ErrorKind::kTooLarge, "The text would be longer than 1 MB.");
    std::string unit = " ", storage;
    if (n == 2) {
      unit.clear();
      const std::string_view s = TextOf(v[1], &storage);
      if (sqlite3_value_type(v[1]) == SQLITE_INTEGER) {
        AppendCodePoint(sqlite3_value_int64(v[1]) & 0xFF, &unit);
      } else if (!s.empty()) {
        std::size_t i = 0;
        AppendCodePoint(NextCodePoint(s, &i), &unit);
      }
    }
    std::string out;
    for (std::size_t i = 0; i < count; ++i) out += unit;
    ResultText(c, out);
  });
}

void Replace(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string s1, s2, s3;
    const std::string text(TextOf(v[0], &s1)), wanted(TextOf(v[1], &s2)), with(TextOf(v[2], &s3));
    if (wanted.empty()) {
      ResultText(c, text);
      return;
    }
    std::string out;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(wanted, from)) != std::string::npos; from = at + wanted.size()) {
      out.append(text, from, at - from);
      out += with;
    }
    out.append(text, from);
    ResultText(c, out);
  });
}

void StrComp(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(n, v)) return;
    std::string s1, s2;
    std::string a(TextOf(v[0], &s1)), b(TextOf(v[1], &s2));
    if (n < 3 || WholeNumberOf(v[2]) != 0) a = UpperText(a), b = UpperText(b);
    sqlite3_result_int(c, a < b ? -1 : a > b ? 1 : 0);
  });
}

std::string Reversed(std::string_view s) {
  std::vector<char32_t> all;
  for (std::size_t i = 0; i < s.size();) all.push_back(NextCodePoint(s, &i));
  std::string out;
  for (auto it = all.rbegin(); it != all.rend(); ++it) AppendCodePoint(*it, &out);
  return out;
}

// A number with a blank in the place of a plus sign, and no zero before the point.
void Str(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    const double d = NumberOf(v[0]);
    std::string text = NumberText(d);
    if (const auto point = text.find("0."); point == (d < 0 ? 1u : 0u)) text.erase(point, 1);
    ResultText(c, (d < 0 ? "" : " ") + text);
  });
}

// The seven digits that a Single has, as the text of a column of that type.
void SingleAsText(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    std::string text = fmt::format("{:.7g}", NumberOf(v[0]) + 0.0);  // no negative zero
    if (const auto e = text.find('e'); e != std::string::npos) text[e] = 'E';
    ResultText(c, text);
  });
}

std::string Same(std::string_view s) { return std::string(s); }

void DateAsText(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0])) return;
    if (sqlite3_value_type(v[0]) == SQLITE_TEXT) {
      sqlite3_result_value(c, v[0]);
    } else {
      ResultText(c, DateText(NumberOf(v[0])));
    }
  });
}

// Null counts as empty, but two Nulls are Null.
void Concat(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (IsNullValue(v[0]) && IsNullValue(v[1])) return;
    std::string s1, s2;
    std::string joined(TextOf(v[0], &s1));
    joined += TextOf(v[1], &s2);
    ResultText(c, joined);
  });
}

// LIKE with * ? # [list] [!list]; letter case does not count.
bool MatchSet(const std::u32string& p, std::size_t* at, char32_t c, bool* closed) {
  std::size_t i = *at + 1;
  bool negated = false, match = false;
  if (i < p.size() && p[i] == '!') negated = true, ++i;
  const std::size_t first = i;
  for (; i < p.size() && (p[i] != ']' || i == first); ++i) {
    if (i + 2 < p.size() && p[i + 1] == '-' && p[i + 2] != ']') {
      match = match || (c >= p[i] && c <= p[i + 2]);
      i += 2;
    } else {
      match = match || c == p[i];
    }
  }
  *closed = i < p.size();
  *at = i + 1;
  return match != negated;
}

bool Like(const std::u32string& s, const std::u32string& p) {
  std::size_t i = 0, k = 0, star = std::u32string::npos, mark = 0;
  while (i < s.size()) {
    bool match = false;
    std::size_t next = k + 1;
    if (k < p.size()) {
      if (p[k] == '*') {
        star = k++;
        mark = i;
        continue;
      }
      if (p[k] == '[') {
        bool closed = false;
        next = k;
        match = MatchSet(p, &next, s[i], &closed);
        if (!closed) throw Error(ErrorKind::kFailed, "The pattern of LIKE has a [ without ].");
      } else {
        match = p[k] == '?' || (p[k] == '#' ? s[i] >= '0' && s[i] <= '9' : p[k] == s[i]);
      }
    }
    if (match) {
      ++i;
      k = next;
    } else if (star != std::u32string::npos) {
      k = star + 1;
      i = ++mark;
    } else {
      return false;
    }
  }
  while (k < p.size() && p[k] == '*') ++k;
  return k == p.size();
}

std::u32string Folded(std::string_view s) {
  std::u32string out;
  for (std::size_t i = 0; i < s.size();) out.push_back(ToUpper(NextCodePoint(s, &i)));
  return out;
}

void LikeFunction(sqlite3_context* c, int, sqlite3_value** v) {
  Guard(c, [&] {
    if (AnyNull(2, v)) return;
    std::string s1, s2;
    sqlite3_result_int(c, Like(Folded(TextOf(v[0], &s1)), Folded(TextOf(v[1], &s2))) ? 1 : 0);
  });
}

// x_format(is_date, value [, picture [, first day of the week [, first week of the year]]])
void Format(sqlite3_context* c, int n, sqlite3_value** v) {
  Guard(c, [&] {
    const bool is_date = sqlite3_value_int(v[0]) != 0;
    std::string storage, storage2;
    const std::string_view picture = n > 2 ? TextOf(v[2], &storage2) : std::string_view();
    const int first_day = n > 3 ? std::clamp<int>(WholeNumberOf(v[3]), 1, 7) : 1;
    const int first_week = n > 4 ? std::clamp<int>(WholeNumberOf(v[4]), 1, 3) : 1;
    if (IsTextPicture(picture)) {
      const std::string text =
          is_date && !IsNullValue(v[1]) ? DateText(NumberOf(v[1])) : std::string(TextOf(v[1], &storage));
      ResultText(c, FormatText(text, picture));
    } else if (IsNullValue(v[1])) {
      ResultText(c, "");
    } else if (sqlite3_value_type(v[1]) == SQLITE_TEXT) {
      const std::string_view text = TextOf(v[1], &storage);
      double date = 0;
      if (IsDatePicture(picture) && ParseDate(text, &date)) {
        ResultText(c, FormatDate(date, picture, first_day, first_week));
      } else {
        ResultText(c, text);
      }
    } else {
      const double d = NumberOf(v[1]);
      if (IsDatePicture(picture) || (is_date && picture.empty())) {
        ResultText(c, FormatDate(d, picture, first_day, first_week));
      } else {
        ResultText(c, FormatNumber(d, picture));
      }
    }
  });
}

constexpr Function kFunctions[] = {
    {"left", 2, 2, Type::kText, Left, kTakesTexts},
    {"right", 2, 2, Type::kText, Right, kTakesTexts},
    {"mid", 2, 3, Type::kText, Mid, kTakesTexts},
    {"len", 1, 1, Type::kInteger, Len, kTakesTexts},
    {"ucase", 1, 1, Type::kText, Mapped<UpperText>, kTakesTexts},
    {"lcase", 1, 1, Type::kText, Mapped<LowerText>, kTakesTexts},
    {"trim", 1, 1, Type::kText, Trim<true, true>, kTakesTexts},
    {"ltrim", 1, 1, Type::kText, Trim<true, false>, kTakesTexts},
    {"rtrim", 1, 1, Type::kText, Trim<false, true>, kTakesTexts},
    {"instr", 2, 4, Type::kInteger, InStr},
    {"instrrev", 2, 4, Type::kInteger, InStrRev},
    {"strconv", 2, 3, Type::kText, StrConv, kTakesTexts},
    {"chr", 1, 1, Type::kText, Chr, kTakesTexts},
    {"chrw", 1, 1, Type::kText, Chr, kTakesTexts},
    {"asc", 1, 1, Type::kInteger, Asc},
    {"ascw", 1, 1, Type::kInteger, Asc},
    {"string", 2, 2, Type::kText, Repeat, kTakesTexts},
    {"space", 1, 1, Type::kText, Repeat, kTakesTexts},
    {"replace", 3, 3, Type::kText, Replace, kTakesTexts},
    {"strcomp", 2, 3, Type::kInteger, StrComp},
    {"strreverse", 1, 1, Type::kText, Mapped<Reversed>, kTakesTexts},
    {"str", 1, 1, Type::kText, Str, kTakesTexts},
    {"cstr", 1, 1, Type::kText, Mapped<Same>, kTakesTexts},
    {"datetext", 1, 1, Type::kText, DateAsText, kInternal},
    {"sngtext", 1, 1, Type::kText, SingleAsText, kInternal},
    {"concat", 2, 2, Type::kText, Concat, kInternal},
    {"like", 2, 2, Type::kBoolean, LikeFunction, kInternal},
    {"format", 1, 4, Type::kText, Format, kTellsDates},
};

}  // namespace

std::span<const Function> TextFunctions() { return kFunctions; }

}  // namespace jet::sql
