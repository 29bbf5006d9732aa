// Values on their way between recordsets and the engine.
//
//   column type              Value                 column type        Value
//   Yes/No                   Boolean               Date/Time          Date
//   Byte, Integer            Int16                 Text, Memo, GUID   Text
//   Long                     Int32                 Decimal            Decimal
//   Large Number             Int64                 Binary, OLE        Binary
//   Currency                 Currency              an expression      by what it gives: Int32 (Int64 when
//   Single, Double           Single, Double                           too large), Double, Decimal, Text,
//   Binary
#pragma once

#include <optional>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/store/database.h"
#include "db/value.h"

namespace vnt::db {

// `type` is the column's, none for an expression.
Value FromEngine(const jet::Value& value, std::optional<jet::ColumnType> type);
// Reads one column of a stored row, without a value of the engine in between where the type allows.
Value FromRow(const jet::Row& row, int column, jet::ColumnType type);

// For a parameter.
jet::Value ToEngine(const Value& value);
// For a column of that type, with the run-time's conversions (their DbErrors); whether it fits is the store's
// to say. Empty becomes 0 or the empty text, as in the run-time.
jet::Value ToColumn(const Value& value, jet::ColumnType type);

// Whether values of the type may be of any length and are read only when asked for.
inline bool IsLong(jet::ColumnType type) {
  return type == jet::ColumnType::kMemo || type == jet::ColumnType::kOle;
}

}  // namespace vnt::db
