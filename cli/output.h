// Values of results as text and CSV, and aligned tables.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "compare/value_text.h"
#include "db/error.h"
#include "db/value.h"

namespace vnt::cli {

using compare::AppendCsv;
using compare::AppendDate;
using compare::AppendHex;
using compare::AppendQuoted;
using compare::AppendReal;
using compare::TypeText;

// As a field of a CSV line, numbers as Display() shows them.
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
