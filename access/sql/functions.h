// The functions of Access SQL, as functions of a SQLite connection under names of their own ("x_left"), so
// that SQLite's functions of the same name never answer in their place.
#pragma once

#include <exception>
#include <string_view>

#include "access/sql/translate.h"

struct sqlite3;
struct sqlite3_context;
struct sqlite3_value;

namespace jet::sql {

struct FunctionInfo {
  const char* name;      // lower case, as Access names it
  const char* sql_name;  // as it is registered
  int least;             // arguments
  int most;
  Type type;  // of the result; kUnknown: depends
};

// Null when Access SQL has no such function here. A trailing "$" is ignored.
const FunctionInfo* FindFunction(std::string_view name);

// Where a failure inside a callback of SQLite waits until the step returns.
struct FailureSlot {
  std::exception_ptr failure;
};

void RegisterFunctions(sqlite3* db, FailureSlot* failures);

// Numbers, texts, dates: the registrations of the three groups.
void RegisterTextFunctions(sqlite3* db, FailureSlot* failures);
void RegisterNumberFunctions(sqlite3* db, FailureSlot* failures);
void RegisterDateFunctions(sqlite3* db, FailureSlot* failures);

}  // namespace jet::sql
