// Reader of private-profile (INI) files.
//
//   [section]            blanks around the name dropped; any letter case; a later section of the same name is
//                        never looked at
//   ; comment            only at the start of a line; a ';' inside a value belongs to the value
//   key = value          blanks around both dropped; any letter case; the first one wins
//   key = " value "      one pair of enclosing double or single quotes dropped, the blanks inside kept
//
// Lines end with CR LF, LF or CR. The bytes are UTF-8 (with or without a mark), UTF-16 with a mark, or
// Windows-1252. No input is an error: what is not understood is passed over.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vnt::platform {

// The value under section and key in a file's content; nothing when there is no such key.
std::optional<std::string> FindProfileValue(std::string_view content, std::string_view section,
                                            std::string_view key);

// Leading blanks, sign and digits, as a 32-bit number that wraps; 0 when there is no number.
std::int32_t ParseProfileInt(std::string_view value);

}  // namespace vnt::platform
