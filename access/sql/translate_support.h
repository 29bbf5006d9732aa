// What the sources that print expressions share.
#pragma once

#include "access/sql/ast.h"
#include "access/sql/translate.h"

namespace jet::sql {

// Whether values of the type compare as numbers.
inline bool IsNumeric(Type t) {
  return t == Type::kBoolean || t == Type::kInteger || t == Type::kReal || t == Type::kDecimal ||
         t == Type::kDate;
}

// The type that holds values of both.
Type Common(Type a, Type b);

// Count, Sum and the like: one value from many rows.
bool IsAggregate(const Expr& e);

}  // namespace jet::sql
