// One statement of a data source: sent at once or prepared with parameters, and its rows as values.
//
//   SQL type                 Value                    SQL type                 Value
//   SMALLINT, TINYINT        Int16                    BIT                      Boolean
//   INTEGER                  Int32                    DATE, TIME, TIMESTAMP    Date
//   BIGINT                   Int64                    BINARY, VARBINARY, LONG  Binary
//   REAL                     Single                   NUMERIC, DECIMAL         Decimal
//   FLOAT, DOUBLE            Double                   all others               Text
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/odbc_provider/odbc_api.h"
#include "db/odbc_provider/session.h"
#include "db/value.h"

namespace vnt::db {

struct OdbcColumn {
  std::string name;
  SQLSMALLINT type = SQL_UNKNOWN_TYPE;
};

// A value as a column of the SQL type holds it, with the run-time's conversions; kErrTruncated, naming the
// column, for a number out of its range. Empty becomes 0 or the empty text.
Value ToColumn(const Value& value, const OdbcColumn& column);

class OdbcStatement {
 public:
  // Statements that take longer are given up.
  static constexpr int kSeconds = 600;

  explicit OdbcStatement(OdbcSession& session);
  ~OdbcStatement();
  OdbcStatement(const OdbcStatement&) = delete;
  OdbcStatement& operator=(const OdbcStatement&) = delete;

  SQLHSTMT handle() const { return handle_; }

  void ExecuteDirect(std::string_view sql);
  void Prepare(std::string_view sql);
  // `types` are the SQL types of the parameters' columns; where there is none, the value's own is taken.
  void Execute(const std::vector<Value>& parameters, const std::vector<SQLSMALLINT>& types = {});
  // Drops the rest of a result, so that the statement can be executed again.
  void CloseResult();

  // Rows affected by the last execution; 0 for one that gives rows.
  std::int64_t RowCount();

  // Goes to the result of the next of several statements that were sent together; false when there is none.
  bool NextResult();

  // Called once after the first execution that gives rows.
  void DescribeColumns();
  const std::vector<OdbcColumn>& columns() const { return columns_; }
  // Next row; false at the end.
  bool Fetch(std::vector<Value>* row);

 private:
  struct Bound;

  void Check(SQLRETURN result) { session_.Check(result, SQL_HANDLE_STMT, handle_); }
  void Bind(SQLUSMALLINT number, const Value& value, SQLSMALLINT type, Bound* bound);
  Value GetValue(SQLUSMALLINT number, SQLSMALLINT type);
  template <typename T>
  bool GetFixed(SQLUSMALLINT number, SQLSMALLINT c_type, T* out);
  bool GetBytes(SQLUSMALLINT number, SQLSMALLINT c_type, std::size_t terminator, std::string* out);

  OdbcSession& session_;
  SQLHSTMT handle_ = SQL_NULL_HSTMT;
  std::vector<OdbcColumn> columns_;
};

}  // namespace vnt::db
