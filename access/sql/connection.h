// A SQLite connection: in memory, with the functions and tables of Access SQL.
#pragma once

#include <sqlite3.h>

#include <string>

#include "access/sql/virtual_table.h"

namespace jet::sql {

// Shared with the queries that run on it.
class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  TableHost host;

  // Steps; raises what a callback raised, or kFailed with SQLite's text.
  bool Step(sqlite3_stmt* statement);
  sqlite3_stmt* Prepare(const std::string& sql);
  [[noreturn]] void Raise();
  // False while a statement still reads it.
  bool Drop(const DeclaredTable& table);
};

}  // namespace jet::sql
