// From any value to the value a column can hold, with every check that depends on the column alone.
#pragma once

#include <string>
#include <string_view>

#include "access/store/database.h"

namespace jet {

// Returns the value that `column` stores for `value`: `value` itself when its kind and range are right
// already, else *storage, which then holds the converted value. Null passes (Boolean: false).
// Numbers go to the type of the column, rounded half to even where it holds fewer digits; a text becomes a
// number when it is one; numbers become text.
// kTooLarge, kType, kConstraint (zero-length text where it is not allowed), all naming column and table.
const Value* ConvertToColumn(const TableDef& table, const ColumnDef& column, const Value& value,
                             Value* storage);

// Date/Time Extended: 42 bytes to "YYYY-MM-DD hh:mm:ss.fffffff" and back (appended to *raw; false when the
// text is no such date). Bytes that are no such value come out as they are.
std::string ExtendedDateText(Bytes raw);
bool ParseExtendedDate(std::string_view text, std::string* raw);

// "{XXXXXXXX-XXXX-...}" (braces optional) to the 16 stored bytes, appended to *raw.
bool ParseGuid(std::string_view text, std::string* raw);

// A value for messages: 12, 'text', Null.
std::string DescribeValue(const Value& value);

}  // namespace jet
