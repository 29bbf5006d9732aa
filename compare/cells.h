// Values of two columns: whether they are equal, and byte strings in whose order rows can be sorted.
#pragma once

#include <string>

#include "access/store/database.h"

namespace vnt::compare {

// How values of two columns are compared.
struct CellRule {
  enum class Kind {
    kInteger,
    kReal,     // as doubles
    kDecimal,  // exactly, scales aside
    kText,
    kBytes,
    kUnlike,  // equal only when both are Null
  };
  Kind kind = Kind::kUnlike;
  bool bitwise = false;  // kReal: the columns have one type, so every bit counts
};
CellRule RuleFor(const jet::ColumnDef& old_column, const jet::ColumnDef& new_column);

bool AreEqual(const CellRule& rule, const jet::Value& a, const jet::Value& b);

// Appends bytes that are equal for equal values. Their order is that of the values (Null first; texts by
// their bytes). Unlike columns append nothing.
void AppendCell(const CellRule& rule, const jet::Value& value, std::string* key);

}  // namespace vnt::compare
