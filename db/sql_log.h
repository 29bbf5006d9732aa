// The SQL log: the file that the environment variable VNTFIX_SQL_LOG names gets the exact text of every
// statement that a connection sends, one a line, with backslash, carriage return and line feed written as
// "\\", "\r" and "\n".
#pragma once

#include <string_view>

namespace vnt::db {

// Looks at the variable again: opens, changes or ends the log. DbError kErrNotFound when the file cannot be
// opened for appending.
void RefreshSqlLog();
// Appends a statement; the line is with the operating system when this returns. Does nothing without a log.
void LogSql(std::string_view sql);

}  // namespace vnt::db
