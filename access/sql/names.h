// Letters and names: UTF-8 code points, UTF-16 lengths, letter case.
//
// Text is UTF-8; an unpaired surrogate is its own three bytes (see value.h) and is treated like any other
// code point here. Access counts characters in UTF-16 units, so do the functions named Utf16.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace jet::sql {

// The code point at *pos, which moves behind it. A byte that begins no sequence stands for itself.
char32_t NextCodePoint(std::string_view text, std::size_t* pos);
void AppendCodePoint(char32_t c, std::string* out);

char32_t ToUpper(char32_t c);
char32_t ToLower(char32_t c);
std::string UpperText(std::string_view text);
std::string LowerText(std::string_view text);

// Names of tables and columns are the same in any letter case.
bool EqualNames(std::string_view a, std::string_view b);

std::size_t Utf16Length(std::string_view text);
// `count` UTF-16 units from unit `start` (0-based). A cut through a surrogate pair leaves half of it.
std::string Utf16Substring(std::string_view text, std::size_t start, std::size_t count);

}  // namespace jet::sql
