// Code pages and letter case without the C library's locale: the program runs in whatever locale it finds,
// and names must compare the same in all of them.

#include "platform/text.h"

#include <utf8.h>

#include <array>
#include <cstdint>

namespace vnt::platform {
namespace {

// Windows-1252 positions 0x80 to 0x9F; unassigned ones stay control characters, as Windows maps them.
constexpr std::array<char16_t, 32> kWindows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t UppercaseCodePoint(char32_t c) {
  if (c >= U'a' && c <= U'z') return c - 0x20;
  if (c < 0x80) return c;
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return c - 0x20;  // Latin-1
  if (c == 0xFF) return 0x178;
  // Latin Extended-A comes in pairs; in two stretches the small letter is the even one.
  const bool even_is_small = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
  if (even_is_small) return c % 2 == 0 ? c - 1 : c;
  if (c >= 0x100 && c <= 0x177 && c != 0x131 && c != 0x138 && c != 0x149) return c % 2 != 0 ? c - 1 : c;
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return c - 0x20;  // Greek
  if (c >= 0x430 && c <= 0x44F) return c - 0x20;                // Cyrillic
  if (c >= 0x450 && c <= 0x45F) return c - 0x50;
  return c;
}

}  // namespace

std::string TextFromBytes(std::string_view bytes) {
  if (utf8::is_valid(bytes.begin(), bytes.end())) return std::string(bytes);
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    const char32_t code = byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : byte;
    utf8::append(code, std::back_inserter(text));
  }
  return text;
}

std::string Uppercase(std::string_view text) {
  const std::string valid = TextFromBytes(text);
  std::string upper;
  for (auto it = valid.begin(); it != valid.end();) {
    utf8::append(UppercaseCodePoint(utf8::next(it, valid.end())), std::back_inserter(upper));
  }
  return upper;
}

bool EqualNoCase(std::string_view a, std::string_view b) { return Uppercase(a) == Uppercase(b); }

std::string FirstCharacters(std::string_view text, std::size_t count) {
  const std::string valid = TextFromBytes(text);
  auto it = valid.begin();
  for (; count > 0 && it != valid.end(); --count) utf8::next(it, valid.end());
  return {valid.begin(), it};
}

std::size_t CharacterCount(std::string_view text) {
  const std::string valid = TextFromBytes(text);
  return static_cast<std::size_t>(utf8::distance(valid.begin(), valid.end()));
}

}  // namespace vnt::platform
