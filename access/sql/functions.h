// The functions of Access SQL, as functions of a SQLite connection under names of their own ("x_left"), so
// that SQLite's functions of the same name never answer in their place.
//
// Each is named once, in the table at the end of the source that holds its body. What the translation itself
// writes (operators, aggregates, exact numbers) stands there, too, marked as internal.
#pragma once

#include <exception>
#include <span>
#include <string>
#include <string_view>

#include "access/sql/translate.h"

struct sqlite3;
struct sqlite3_context;
struct sqlite3_value;

namespace jet::sql {

enum FunctionFlags : unsigned {
  kInternal = 1,     // no function of Access: no statement can name it
  kVaries = 2,       // does not give the same each time
  kTakesTexts = 4,   // a date or decimal among its values is given as its text
  kTellsDates = 8,   // before its values it is told (1 or 0) whether the first is known to be a date
  kKeepsDates = 16,  // Type::kUnknown: gives a date for a date; without this, a number
  kHasExact = 32,    // "d" and its name does the same with exact decimals
};

struct Function {
  std::string_view name;  // lower case; registered behind "x_"
  int least;              // values
  int most;
  Type type;                                             // of the result; kUnknown: that of the first value
  void (*call)(sqlite3_context*, int, sqlite3_value**);  // of an aggregate: takes a row
  unsigned flags = 0;
  void (*end)(sqlite3_context*) = nullptr;  // of an aggregate: gives the result

  bool Is(FunctionFlags flag) const { return (flags & flag) != 0; }
  std::string SqlName() const { return "x_" + std::string(name); }
};

// Null when Access SQL has no such function here. A trailing "$" is ignored.
const Function* FindFunction(std::string_view name);

// Where a failure inside a callback of SQLite waits until the step returns.
struct FailureSlot {
  std::exception_ptr failure;
};

void RegisterFunctions(sqlite3* db, FailureSlot* failures);

// The tables.
std::span<const Function> TextFunctions();
std::span<const Function> NumberFunctions();
std::span<const Function> DateFunctions();
std::span<const Function> DecimalFunctions();

}  // namespace jet::sql
