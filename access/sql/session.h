// Access SQL on an open database: SQLite plans and executes over virtual tables; changes go straight to the
// store.
//
// Every statement is atomic. UPDATE, DELETE, INSERT, SELECT INTO and the definition statements are taken
// apart by the dialect layer: their row source runs as a SELECT in SQLite, and the store applies the changes
// to the rows by identifier.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/store/database.h"

namespace jet::sql {

// Where a result column comes from.
struct ResultColumn {
  std::string name;
  std::string table;  // base table and column it shows unchanged, else empty
  std::string column;
  int position = -1;  // of that column, where the query has a base table
  // Of the base column. Of a computed one: kDateTime or kBoolean when it is known to give that, else nothing.
  std::optional<ColumnType> type;
};

// A running SELECT.
class Query {
 public:
  virtual ~Query() = default;
  virtual const std::vector<ResultColumn>& columns() const = 0;
  // Moves to the next row; false at the end.
  virtual bool Step() = 0;
  virtual Value Get(int column) = 0;
  // When every row of the result is one row of one base table (no joins, grouping, DISTINCT, UNION): that
  // table, and the current row's identifier. Else null.
  virtual std::shared_ptr<Table> base_table() const = 0;
  virtual RowId row_id() const = 0;
};

class Session {
 public:
  // How a file named by an IN clause is opened (for reading, shared); gives the database to use.
  using Opener = std::function<std::shared_ptr<Database>(const std::string& path)>;

  explicit Session(std::shared_ptr<Database> database, Opener opener = {});
  ~Session();

  // Runs any statement. Returns the number of rows inserted, changed or deleted (0 for definitions; for a
  // SELECT, 0). `parameters` replace "?" in order. Errors: kInvalid with the byte offset in the statement and
  // a text that names the place, kNotFound (table, column), and everything the store raises.
  std::int64_t Execute(std::string_view statement, const std::vector<Value>& parameters = {});

  // Opens a SELECT (a plain table name is taken as SELECT * FROM it). kInvalid for other statements.
  std::unique_ptr<Query> Open(std::string_view select, const std::vector<Value>& parameters = {});

  // True when the statement is a SELECT without INTO (or a UNION of such), that is, when Open will take it.
  static bool IsQuery(std::string_view statement);

  Database& database();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace jet::sql
