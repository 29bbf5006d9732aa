// The yardstick: a program that does the work of the fixes on an ordinary SQLite file with default settings,
// as one would write it for SQLite. The statements of the fixes go to it as they are but for spellings that
// SQLite does not know; what the fixes do from row to row is written anew (sqlite_walks.h). Each fix is one
// transaction.
#pragma once

#include <string>
#include <vector>

#include "run/catalogue.h"
#include "run/fix_runner.h"

namespace vnt::bench {

struct TimedFix {
  std::string caption;
  double seconds = 0;
};

// Runs the fixes of a selection, and the history rows at the end, on all notices. `reference` is the
// reference database as an SQLite file. Throws std::runtime_error when a fix does what the yardstick does not
// know.
std::vector<TimedFix> RunSqliteProgram(const FixSelection& selection, const std::string& notices,
                                       const std::string& reference);

// Tables that differ between two SQLite files, each with what differs; numbers are compared to six digits,
// and of the history only the notices and their numbers.
std::vector<std::string> DifferingTables(const std::string& left, const std::string& right);

}  // namespace vnt::bench
