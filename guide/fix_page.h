// The guide's page on a fix: prose from docs/guide/fixes/NN.md, everything else from the catalogue, from the
// statements that the fix sends, and from an example run.
//
// Where a prose file opens with a line "---", up to the next such line stands what a program needs to know of
// it:
//
//   rows first: provn seq_no     table and columns that the fix changes row by row, before its statements
//   rows: grp freq_min freq_max  the same, after its statements; each may stand several times
//   inserts rows: assgn, deletes rows: grp   rows that come and go without a statement
//   example: select ...          what the example shows before and after in place of single rows
//
// and has the sections "What it is for", "When not to use it" and, where the statements do not tell it,
// "How it works".
#pragma once

#include <set>
#include <string>
#include <vector>

#include "guide/fix_example.h"
#include "guide/statement_touch.h"
#include "run/catalogue.h"

namespace vnt::guide {

struct FixProse {
  std::vector<TableChange> rows_first, rows;
  std::string example_query;
  std::string purpose, working, caution;  // Markdown; `working` may be empty
};

// std::runtime_error names what is missing or not understood.
FixProse ReadProse(const std::string& text);

// Everything that a fix changes, in the order in which it does; changes that follow each other and are alike
// come once.
std::vector<TableChange> ChangesOf(const FixEntry& fix, const FixProse& prose);
// The tables that its statements read or change, in lower case.
std::set<std::string> TablesOf(const FixEntry& fix, const FixProse& prose);

// "07.md", for links too.
std::string PageName(int fix_index);
std::string FixPage(const FixEntry& fix, const FixProse& prose, const Example& example);
// The list of all fixes, with links to their pages.
std::string FixListPage();

}  // namespace vnt::guide
