// A small database with work to be done on it, for tests that break things: rows of every common type, text
// and number indexes, long values, deletions, and changes of definitions.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "access/store/database.h"

namespace jet::testing {

// Tables "grp" (90 rows, a primary key and two more indexes, memos) and "remark" (autonumber key, a unique
// text index), checkpointed. Content of the file.
std::string MakeWorkDatabase(Format format);

// Statements, each of them to be run in a scope of its own, that touch every part of the store.
std::vector<std::function<void(Database&)>> WorkStatements();

// All user tables with columns, index names and rows, as text: equal for databases of equal content.
std::string ContentText(Database& database);

// The fatal findings of the checker, a line each.
std::string Damage(Database& database);

}  // namespace jet::testing
