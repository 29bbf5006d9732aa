// The SQL log: the file that the environment variable VNTFIX_SQL_LOG names gets the exact text of every
// statement that a connection sends, one a line, with backslash, carriage return and line feed written as
// "\\", "\r" and "\n".
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace vnt::db {

class SqlLog {
 public:
  // Looks at the variable again: opens, changes or ends the log. DbError kErrFailed when the file cannot be
  // opened for appending.
  void Refresh();
  // Appends a statement; the line is with the operating system when this returns. Does nothing without a
  // file.
  void Write(std::string_view sql);

 private:
  std::filesystem::path path_;  // empty: no log
  std::ofstream file_;
  std::string line_;
};

}  // namespace vnt::db
