#include "access/sql/names.h"

#include <algorithm>

namespace jet::sql {
namespace {

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

}  // namespace

char32_t NextCodePoint(std::string_view text, std::size_t* pos) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t i = *pos;
  const unsigned char b = byte(i);
  std::size_t length = 1;
  char32_t c = b;
  if (b >= 0xC2 && b <= 0xDF) {
    length = 2;
    c = b & 0x1F;
  } else if (b >= 0xE0 && b <= 0xEF) {
    length = 3;
    c = b & 0x0F;
  } else if (b >= 0xF0 && b <= 0xF4) {
    length = 4;
    c = b & 0x07;
  }
  if (i + length > text.size()) length = 1, c = b;
  for (std::size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) {
      *pos = i + 1;
      return b;
    }
    c = c << 6 | (byte(i + k) & 0x3F);
  }
  *pos = i + length;
  return c;
}

void AppendCodePoint(char32_t c, std::string* out) {
  const auto put = [&](char32_t b) { out->push_back(static_cast<char>(b)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
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
    if (ToLower(NextCodePoint(a, &i)) != ToLower(NextCodePoint(b, &k))) return false;
  }
  return i == a.size() && k == b.size();
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char c : text) {
    const auto b = static_cast<unsigned char>(c);
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
      AppendCodePoint(0xD800 + ((c - 0x10000) >> 10), &out);
    } else if (second) {
      AppendCodePoint(0xDC00 + ((c - 0x10000) & 0x3FF), &out);
    }
    unit += 2;
  }
  return out;
}

}  // namespace jet::sql
