#include "access/store/names.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/index/key.h"

namespace jet {
namespace {

// Windows-1252 0x80..0x9F, the only range in which it is not Latin-1. Other ANSI code pages are read as this
// one: the letters of plain names are the same in all of them.
constexpr char16_t kWindows1252[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                       0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

void AppendUtf8(char32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
    return;
  }
  if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | c >> 6));
  } else {
    if (c < 0x10000) {
      out->push_back(static_cast<char>(0xE0 | c >> 12));
    } else {
      out->push_back(static_cast<char>(0xF0 | c >> 18));
      out->push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
    }
    out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
  }
  out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
}

// The next code point at *i; unpaired surrogates pass, as three bytes of their own.
char32_t NextCodePoint(std::string_view s, std::size_t* i) {
  const auto lead = static_cast<unsigned char>(s[*i]);
  const int more = lead < 0x80   ? 0
                   : lead < 0xC2 ? -1
                   : lead < 0xE0 ? 1
                   : lead < 0xF0 ? 2
                   : lead < 0xF5 ? 3
                                 : -1;
  if (more < 0 || s.size() - *i <= static_cast<std::size_t>(more)) {
    throw Error(ErrorKind::kInvalid, "A name is not valid UTF-8.");
  }
  char32_t c = more == 0 ? lead : lead & (0x3F >> more);
  for (int k = 1; k <= more; ++k) {
    const auto next = static_cast<unsigned char>(s[*i + k]);
    if ((next & 0xC0) != 0x80) throw Error(ErrorKind::kInvalid, "A name is not valid UTF-8.");
    c = c << 6 | (next & 0x3F);
  }
  *i += static_cast<std::size_t>(more) + 1;
  return c;
}

bool IsAscii(std::string_view s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

char FoldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

std::string DecodeName(Bytes stored, const FormatInfo& format) {
  std::string out;
  if (!format.unicode) {
    for (const std::uint8_t c : stored) AppendUtf8(c >= 0x80 && c < 0xA0 ? kWindows1252[c - 0x80] : c, &out);
    return out;
  }
  for (std::size_t i = 0; i + 1 < stored.size(); i += 2) {
    char32_t c = LoadLe<std::uint16_t>(&stored[i]);
    if (c >= 0xD800 && c < 0xDC00 && i + 3 < stored.size()) {
      const char32_t low = LoadLe<std::uint16_t>(&stored[i + 2]);
      if (low >= 0xDC00 && low < 0xE000) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    AppendUtf8(c, &out);
  }
  return out;
}

std::string EncodeName(std::string_view utf8) {
  std::string out;
  const auto append = [&out](char32_t unit) {
    out.push_back(static_cast<char>(unit & 0xFF));
    out.push_back(static_cast<char>(unit >> 8));
  };
  for (std::size_t i = 0; i < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, &i);
    if (c >= 0x10000) {
      append(0xD800 + ((c - 0x10000) >> 10));
      append(0xDC00 + (c & 0x3FF));
    } else {
      append(c);
    }
  }
  return out;
}

std::string NameKey(std::string_view utf8) {
  std::string key;
  AppendTextKey(Collation::kGeneralLegacy, utf8, &key);
  return key;
}

bool SameName(std::string_view a, std::string_view b) {
  if (IsAscii(a) && IsAscii(b)) {
    while (!a.empty() && a.back() == ' ') a.remove_suffix(1);
    while (!b.empty() && b.back() == ' ') b.remove_suffix(1);
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return FoldAscii(x) == FoldAscii(y); });
  }
  return NameKey(a) == NameKey(b);
}

void CheckName(std::string_view what, std::string_view name) {
  const auto fail = [&](std::string_view why) {
    throw Error(ErrorKind::kInvalid, fmt::format("{} \"{}\" {}.", what, name, why));
  };
  const std::size_t characters = EncodeName(name).size() / 2;
  if (characters == 0) fail("is empty");
  if (characters > kMaxNameCharacters) fail("is longer than 64 characters");
  if (name[0] == ' ') fail("begins with a blank");
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20) fail("contains a control character");
    if (std::string_view(".![]`").find(c) != std::string_view::npos) {
      fail(fmt::format("contains the character {}, which names may not contain", c));
    }
  }
}

}  // namespace jet
