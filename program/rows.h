// Walking the rows of a query on the main connection.
#pragma once

#include <string_view>

#include "program/program_state.h"

namespace vnt {

// Calls `body` with the recordset at each row of the query. The rows of a keyset can be changed; the others
// are read only. An error (DbError), also one of the body, ends the walk.
template <class Body>
void ForEachRow(std::string_view query, db::CursorType cursor, Body&& body) {
  db::Recordset rows;
  rows.Open(query, MainCn(), cursor,
            cursor == db::CursorType::kKeyset ? db::LockType::kOptimistic : db::LockType::kReadOnly);
  for (; !rows.Eof(); rows.MoveNext()) body(rows);
  rows.Close();
}

// As above, read row by row as they are needed.
template <class Body>
void ForEachRow(std::string_view query, Body&& body) {
  ForEachRow(query, db::CursorType::kForwardOnly, body);
}

}  // namespace vnt
