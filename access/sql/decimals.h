// Exact decimal numbers in expressions.
//
// SQLite has no such type: an exact number travels as its text, and these functions of the connection compute
// with it: x_dadd, x_dsub, x_dmul, x_dneg, x_dround(x, places), x_dabs, x_dint, x_dfix, x_ccur; x_dsum and
// x_davg as aggregates; x_dreal gives the nearest double, x_dtext the text without needless zeros, x_dkey a
// text that sorts as the number does and x_unkey the number back from that. They take whole numbers and
// doubles, too; a double counts as the decimal of its 15 digits, as Access shows it.
//
// Results have at most 28 digits, as Access's Decimal: what is behind is rounded, half to even; what is too
// large is kOverflow.
#pragma once

#include "access/sql/functions.h"

namespace jet::sql {

void RegisterDecimalFunctions(sqlite3* db, FailureSlot* failures);

}  // namespace jet::sql
