#include "access/base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace jet {
namespace {

constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// Ranges whose lower case letter is the odd neighbour of the upper case one.
bool IsPairRange(char32_t c) {
  return (c >= 0x100 && c <= 0x12F) || (c >= 0x132 && c <= 0x137) || (c >= 0x14A && c <= 0x177) ||
         (c >= 0x460 && c <= 0x481) || (c >= 0x48A && c <= 0x4BF) || (c >= 0x4D0 && c <= 0x52F) ||
         (c >= 0x1E00 && c <= 0x1E95) || (c >= 0x1EA0 && c <= 0x1EFF);
}
// And those where it is the even one.
bool IsShiftedPairRange(char32_t c) {
  return (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E) || (c >= 0x4C1 && c <= 0x4CE);
}

char FoldAscii(char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

template <typename T>
std::string Shortest(T number) {
  if (number == 0) return "0";
  char buffer[64];
  const double magnitude = std::fabs(static_cast<double>(number));
  if (magnitude >= 1e-4 && magnitude < 1e15) {
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed);
    return {buffer, result.ptr};
  }
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  std::string text(buffer, result.ptr);
  std::replace(text.begin(), text.end(), 'e', 'E');
  return text;
}

}  // namespace

bool internal::ReadLongCodePoint(std::string_view text, std::size_t* pos, char32_t* code) {
  const auto byte = [&](std::size_t i) -> std::uint8_t { return text[i]; };
  const std::uint8_t lead = byte(*pos);
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - *pos < length) return false;
  char32_t c = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(*pos + i) & 0xC0) != 0x80) return false;
    c = c << 6 | (byte(*pos + i) & 0x3Fu);
  }
  if ((length == 3 && c < 0x800) || (length == 4 && (c < 0x10000 || c > 0x10FFFF))) return false;
  *pos += length;
  *code = c;
  return true;
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char c : text) {
    const std::uint8_t b = c;
    units += (b & 0xC0) != 0x80;  // every lead byte
    units += b >= 0xF0;           // a pair
  }
  return units;
}

std::string Utf16Substring(std::string_view text, std::size_t start, std::size_t count) {
  std::string out;
  std::size_t unit = 0;
  const std::size_t end = count > std::string_view::npos - start ? std::string_view::npos : start + count;
  for (std::size_t i = 0; i < text.size() && unit < end;) {
    const char32_t c = NextCodePoint(text, &i);
    if (c < 0x10000) {
      if (unit >= start) AppendCodePoint(c, &out);
      ++unit;
      continue;
    }
    const bool first = unit >= start, second = unit + 1 >= start && unit + 1 < end;
    if (first && second) {
      AppendCodePoint(c, &out);
    } else if (first) {
      AppendCodePoint(HighSurrogate(c), &out);
    } else if (second) {
      AppendCodePoint(LowSurrogate(c), &out);
    }
    unit += 2;
  }
  return out;
}

char16_t FromWindows1252(std::uint8_t byte) {
  return byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80u] : byte;
}

int ToWindows1252(char16_t unit) {
  if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) return unit;
  const auto at = std::find(kWindows1252.begin(), kWindows1252.end(), unit);
  return at == kWindows1252.end() ? -1 : 0x80 + (at - kWindows1252.begin());
}

char32_t ToUpper(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  if (c >= 0xE0 && c <= 0xFE) return c == 0xF7 ? c : c - 32;
  if (c == 0xFF) return 0x178;
  if (IsPairRange(c)) return c & ~char32_t{1};
  if (IsShiftedPairRange(c)) return c & 1 ? c : c - 1;
  if (c == 0x3C2) return 0x3A3;
  if (c >= 0x3B1 && c <= 0x3CB) return c - 32;
  if (c == 0x3AC) return 0x386;
  if (c >= 0x3AD && c <= 0x3AF) return c - 37;
  if (c == 0x3CC) return 0x38C;
  if (c == 0x3CD || c == 0x3CE) return c - 63;
  if (c >= 0x430 && c <= 0x44F) return c - 32;
  if (c >= 0x450 && c <= 0x45F) return c - 80;
  return c;
}

char32_t ToLower(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  if (c >= 0xC0 && c <= 0xDE) return c == 0xD7 ? c : c + 32;
  if (c == 0x178) return 0xFF;
  if (IsPairRange(c)) return c | 1;
  if (IsShiftedPairRange(c)) return c & 1 ? c + 1 : c;
  if (c >= 0x391 && c <= 0x3AB) return c + 32;
  if (c == 0x386) return 0x3AC;
  if (c >= 0x388 && c <= 0x38A) return c + 37;
  if (c == 0x38C) return 0x3CC;
  if (c == 0x38E || c == 0x38F) return c + 63;
  if (c >= 0x410 && c <= 0x42F) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  return c;
}

std::string UpperText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) AppendCodePoint(ToUpper(NextCodePoint(text, &i)), &out);
  return out;
}

std::string LowerText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) AppendCodePoint(ToLower(NextCodePoint(text, &i)), &out);
  return out;
}

bool EqualNames(std::string_view a, std::string_view b) {
  std::size_t i = 0, k = 0;
  while (i < a.size() && k < b.size()) {
    if (IsAscii(a[i]) && IsAscii(b[k])) {  // Nearly every name: no code points are needed.
      if (a[i] != b[k] && FoldAscii(a[i]) != FoldAscii(b[k])) return false;
      ++i;
      ++k;
      continue;
    }
    if (ToLower(NextCodePoint(a, &i)) != ToLower(NextCodePoint(b, &k))) return false;
  }
  return i == a.size() && k == b.size();
}

bool EqualWords(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string NumberText(double v, int digits) {
  if (v == 0) return "0";
  if (v == std::trunc(v) && digits == 15 && std::fabs(v) < 1e15) {
    return fmt::format("{}", static_cast<long long>(v));
  }
  std::string text = fmt::format("{:.{}g}", v, digits);
  if (std::isfinite(v)) std::replace(text.begin(), text.end(), 'e', 'E');
  return text;
}

std::string ShortestText(double number) { return Shortest(number); }
std::string ShortestText(float number) { return Shortest(number); }

}  // namespace jet
