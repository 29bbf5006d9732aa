// Values of results as text and CSV, and aligned tables.
#pragma once

#include <cstdint>
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
// As `export --format json` writes it, with every digit.
void AppendJson(const db::Value& value, std::string* out);
// For a person: Null as nothing, text as it is, doubles with 15 significant digits and singles with 7.
std::string Display(const db::Value& value);

// Sentence and, behind it, the number; without the number where the user asked for the end.
std::string ErrorText(const db::DbError& error);
// That as a line, after the names of the program and of `place` (a file, or what of it; may be empty).
void TellError(const db::DbError& error, std::string_view place, std::ostream& out);

// "1 row", "2 rows".
std::string CountOf(std::int64_t number, std::string_view noun);

// A table with aligned columns: numbers to the right. `numeric` per column. Where it is wider than `width`,
// what does not fit of the last column goes to further lines; 0: a row is a line.
void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& numeric, std::ostream& out, std::size_t width = 0);

}  // namespace vnt::cli
