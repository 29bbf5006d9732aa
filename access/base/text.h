// Text: UTF-8 code points, UTF-16 lengths, Windows-1252, letter case, and when two names are the same.
//
// Text is UTF-8, with one liberty: an unpaired surrogate, which Access may hold, is its own three bytes and
// is treated like any other code point. That is why the decoding is our own: utfcpp takes such a text for
// damaged. Nothing here looks at the locale of the C library: names must compare the same in all of them.
//
// "The same name" has three rules, each where it is needed:
//
//   SameName (access/store/names.h)  names that stand in a file: what the index over the catalog's names
//                                    takes for equal, so as the collation of General has it
//   EqualNames                       names within a statement or a recordset, and those of settings: letters
//                                    of any alphabet without their case
//   EqualWords                       words of a language: key words, connection strings, functions of ODBC:
//                                    the letters A to Z without their case
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace jet {

inline bool IsAscii(char c) { return (c & 0x80) == 0; }
inline bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return IsAscii(c); });
}

namespace internal {
bool ReadLongCodePoint(std::string_view text, std::size_t* pos, char32_t* code);
}

// Reads the code point at *pos and moves *pos behind it. False, and nothing moved, when the bytes there are
// no UTF-8.
inline bool ReadCodePoint(std::string_view text, std::size_t* pos, char32_t* code) {
  const std::uint8_t byte = text[*pos];
  if (byte >= 0x80) return internal::ReadLongCodePoint(text, pos, code);
  *code = byte;
  ++*pos;
  return true;
}

// The same where a byte that begins no sequence stands for itself.
inline char32_t NextCodePoint(std::string_view text, std::size_t* pos) {
  char32_t code = 0;
  if (!ReadCodePoint(text, pos, &code)) code = static_cast<unsigned char>(text[(*pos)++]);
  return code;
}

inline void AppendCodePoint(char32_t c, std::string* out) {
  const auto put = [&](char32_t byte) { out->push_back(byte); };
  if (c < 0x80) {
    put(c);
    return;
  }
  if (c < 0x800) {
    put(0xC0 | c >> 6);
  } else {
    if (c < 0x10000) {
      put(0xE0 | c >> 12);
    } else {
      put(0xF0 | c >> 18);
      put(0x80 | (c >> 12 & 0x3F));
    }
    put(0x80 | (c >> 6 & 0x3F));
  }
  put(0x80 | (c & 0x3F));
}

// The two UTF-16 units of a code point from U+10000 on.
inline char16_t HighSurrogate(char32_t c) { return 0xD7C0 + (c >> 10); }
inline char16_t LowSurrogate(char32_t c) { return 0xDC00 + (c & 0x3FF); }

// The number of UTF-16 units, in which Access counts. A byte that is not UTF-8 counts as one.
std::size_t Utf16Length(std::string_view text);
// `count` UTF-16 units from unit `start` (0-based). A cut through a surrogate pair leaves half of it.
std::string Utf16Substring(std::string_view text, std::size_t start, std::size_t count);

// Windows-1252; the five bytes that it leaves open stand for themselves, as Windows has it.
char16_t FromWindows1252(std::uint8_t byte);
// -1 for what it does not hold.
int ToWindows1252(char16_t unit);

// Latin, Greek and Cyrillic letters; all others have no case here.
char32_t ToUpper(char32_t c);
char32_t ToLower(char32_t c);
std::string UpperText(std::string_view text);
std::string LowerText(std::string_view text);

// See above.
bool EqualNames(std::string_view a, std::string_view b);
bool EqualWords(std::string_view a, std::string_view b);

// Without blanks (U+0020 alone) at both ends.
std::string_view TrimBlanks(std::string_view text);

// A number with at most `digits` significant digits, as Access writes it: 0.5, 1E+20, no needless zeros.
std::string NumberText(double number, int digits = 15);
// The shortest form that reads back as the same number: plain digits from 0.0001 up to 15 places before the
// point, else with an exponent.
std::string ShortestText(double number);
std::string ShortestText(float number);

}  // namespace jet
