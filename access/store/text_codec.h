// Text as it stands in rows and long values, to and from UTF-8.
//
//   plain       UTF-16, low byte first
//   compressed  FF FE, then one byte a unit (01..FF); a byte 00 switches between one and two bytes a unit
//   Jet 3       one byte a character in the code page of the file
//
// An unpaired surrogate becomes its own three bytes in UTF-8 and comes back as it was.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "access/base/bytes.h"

namespace jet {

// Appends the text in `raw` to *utf8. `unicode` is false for Jet 3. False when the bytes are no text (half a
// unit at the end).
bool DecodeText(Bytes raw, bool unicode, std::uint16_t code_page, std::string* utf8);

// Appends the storage form of a text: compressed when `compress` is set and Access would do it (3 to
// max_compressed units, all of 01..FF), else plain. False when it cannot be written so that it reads back
// (plain text would begin with FF FE), or is not UTF-8.
bool EncodeText(std::string_view utf8, bool compress, std::size_t max_compressed, std::string* raw);

}  // namespace jet
