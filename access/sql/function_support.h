// Small helpers for writing functions of SQLite.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/functions.h"

namespace jet::sql {

inline FailureSlot* SlotOf(sqlite3_context* c) { return static_cast<FailureSlot*>(sqlite3_user_data(c)); }

// Runs the body of a function; an exception waits in the slot until the step returns.
template <typename Body>
void Guard(sqlite3_context* context, Body body) {
  try {
    body();
  } catch (...) {
    SlotOf(context)->failure = std::current_exception();
    sqlite3_result_error(context, "function failed", -1);
  }
}

inline bool IsNullValue(sqlite3_value* v) { return sqlite3_value_type(v) == SQLITE_NULL; }
inline bool AnyNull(int n, sqlite3_value** v) {
  for (int i = 0; i < n; ++i) {
    if (IsNullValue(v[i])) return true;
  }
  return false;
}

// The text of a value as Access writes it: a number without needless digits. `storage` may hold it.
std::string_view TextOf(sqlite3_value* v, std::string* storage);
// A number, also from a text that is one. kType otherwise.
double NumberOf(sqlite3_value* v);
// Rounded half to even.
long long WholeNumberOf(sqlite3_value* v);

inline void ResultText(sqlite3_context* context, std::string_view text) {
  sqlite3_result_text(context, text.data(), text.size(), SQLITE_TRANSIENT);
}

}  // namespace jet::sql
