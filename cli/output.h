// Values as text, CSV lines and aligned tables.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/store/database.h"
#include "db/error.h"
#include "db/value.h"

namespace vnt::cli {

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

// One CSV field: text quoted, binary in hexadecimal digits (empty as ""), Null empty, Yes/No as 1 and 0. Of a
// value of that column type, numbers with all their digits:
void AppendCsv(const jet::Value& value, jet::ColumnType type, std::string* out);
// Of a result, numbers as Display() shows them:
void AppendCsv(const db::Value& value, std::string* out);
// For a person: Null as nothing, text as it is, doubles with 15 significant digits and singles with 7.
std::string Display(const db::Value& value);

// Sentence and, behind it, the number; without the number where the user asked for the end.
std::string ErrorText(const db::DbError& error);
// That as a line, after the names of the program and of `place` (a file, or what of it; may be empty).
void TellError(const db::DbError& error, std::string_view place, std::ostream& out);

// A table with aligned columns: numbers to the right. `numeric` per column.
void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& numeric, std::ostream& out);

}  // namespace vnt::cli
