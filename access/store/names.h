// Names of tables, columns and indexes: how they are stored, when two are the same, and which are allowed.
#pragma once

#include <string>
#include <string_view>

#include "access/store/format.h"

namespace jet {

// A stored name (UTF-16LE, or the ANSI code page in Jet 3) as UTF-8.
std::string DecodeName(Bytes stored, const FormatInfo& format);
// UTF-16LE bytes of a UTF-8 name; Error(kInvalid) when it is no UTF-8.
std::string EncodeName(std::string_view utf8);

// Two names are the same exactly when their keys are equal: the catalog's index compares so.
std::string NameKey(std::string_view utf8);
bool SameName(std::string_view a, std::string_view b);

// The naming rules of Access: 1 to 64 characters, no leading blank, no control character, none of . ! [ ] `
// Error(kInvalid) that begins with `what`, for instance "Table name".
void CheckName(std::string_view what, std::string_view name);

}  // namespace jet
