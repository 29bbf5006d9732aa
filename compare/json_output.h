// Values as JSON text.
#pragma once

#include <string>
#include <string_view>

#include "access/base/types.h"
#include "access/base/value.h"

namespace vnt::compare {

// A JSON string. What is no valid Unicode (a lone surrogate) becomes U+FFFD.
void AppendJsonText(std::string_view text, std::string* out);

// A value of that column type: Null as null, Yes/No as true and false, dates as text ("2005-04-12 00:00:00"),
// Currency and Decimal as text with all their digits, binary as hexadecimal text; real numbers that are none
// as text.
void AppendJson(const jet::Value& value, jet::ColumnType type, std::string* out);

}  // namespace vnt::compare
