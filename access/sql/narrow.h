// Tells a subquery what the query around it knows: in "a = 12 AND a IN (SELECT b FROM t WHERE ...)" only
// those b that are 12 count, and an index may find them where the whole of t would have been read.
#pragma once

#include "access/sql/ast.h"
#include "access/store/database.h"

namespace jet::sql {

// Adds "b = 12" to each such subquery of a statement, at whatever depth. Only for whole numbers in plain
// columns of tables, where the statement means the same afterwards.
void NarrowSubqueries(Database& database, Statement* statement);

}  // namespace jet::sql
