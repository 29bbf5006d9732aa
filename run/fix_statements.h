// The statements of the fixes, for reading: what run/statements/<routine>.txt says that a routine sends, on
// the whole database and for one notice, on Access and, where that differs, on Ingres. The tests hold every
// routine to its file.
//
// A routine that walks rows sends some statements once for each. They appear once, with <grp_id>, <ntc_id>
// and the like in place of the row's values; what it changes through the rows themselves is told in words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vnt {

struct StatementSection {
  // "whole database", "notice", the same after "Ingres, "; "row by row": sentences, no statements.
  std::string title;
  std::vector<std::string> lines;  // carriage return and line feed as "\r", "\n", backslash as "\\"
};

// Empty for a name that is no routine's.
std::vector<StatementSection> StatementsOf(std::string_view routine);

}  // namespace vnt
