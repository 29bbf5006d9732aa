// Stored values as text.
#pragma once

#include <string>
#include <string_view>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/store/database.h"

namespace vnt::compare {

// The type of a column as CREATE TABLE names it, such as "TEXT(20)".
std::string TypeText(const jet::ColumnDef& column);

// Shortest decimal text that reads back as the same number; "." as decimal point.
void AppendReal(double value, std::string* out);
// "2005-04-12 00:00:00".
void AppendDate(double days, std::string* out);
// Hexadecimal digits, two a byte.
void AppendHex(std::string_view bytes, std::string* out);
// In double quotes, inner ones doubled.
void AppendQuoted(std::string_view text, std::string* out);

// Hexadecimal digits; "" in quotes where there are none, since empty is not Null.
void AppendBinary(std::string_view bytes, std::string* out);
// A value of that column type as a CSV field: text quoted, binary in hexadecimal digits (empty as ""), Null
// empty, Yes/No as 1 and 0, numbers with all their digits.
void AppendCsv(const jet::Value& value, jet::ColumnType type, std::string* out);

}  // namespace vnt::compare
