// What servers spell differently. A further server is a further file like postgres_dialect.cpp.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/value.h"
#include "db/error.h"
#include "db/server_provider/server_table.h"

namespace vnt::db {

// Where an argument or a result is a date, it is one of the server's own; texts are compared letter by
// letter.
class SqlDialect {
 public:
  virtual ~SqlDialect() = default;

  // As SQLGetInfo(SQL_DBMS_NAME) has it.
  virtual std::string_view server_name() const = 0;
  // Driver settings that go into the connection string.
  virtual std::string_view driver_settings() const = 0;
  // Run first on every connection. Statements that take longer than `seconds` are given up.
  virtual std::vector<std::string> SessionSetup(int seconds) const = 0;

  virtual std::string Name(std::string_view name) const = 0;
  // A value as a column of the type takes it, untyped where the server decides by the column. jet::Error for
  // one that the server cannot hold.
  virtual std::string Literal(const jet::Value& value, jet::ColumnType type) const = 0;
  // Constants within expressions, which have types of their own.
  virtual std::string TextConstant(std::string_view text) const = 0;
  virtual std::string RealConstant(double value) const = 0;
  virtual std::string DateConstant(double days) const = 0;

  // The n-th whole number of a prepared statement, from 0; how one is prepared, and carried out with numbers.
  virtual std::string Placeholder(int number) const = 0;
  virtual std::string Prepare(const std::string& name, const std::string& sql, std::size_t numbers) const = 0;
  virtual std::string ExecutePrepared(const std::string& name,
                                      const std::vector<std::int64_t>& numbers) const = 0;

  virtual std::string ToReal(const std::string& sql) const = 0;
  virtual std::string ToWhole(const std::string& sql) const = 0;        // of 64 bits, halves to even
  virtual std::string ToExact(const std::string& sql) const = 0;        // a decimal
  virtual std::string TruthToNumber(const std::string& sql) const = 0;  // -1 and 0
  virtual std::string DateToDays(const std::string& sql) const = 0;
  virtual std::string DaysToDate(const std::string& sql) const = 0;
  // For a column: a number, truth value, date or text becomes what the column holds.
  virtual std::string Cast(const std::string& sql, const ServerColumn& column) const = 0;
  // How a column is read, where its bare name does not do.
  virtual std::string Read(const std::string& sql, jet::ColumnType type) const = 0;

  // Whether a column is to get another value than it has, to the bit; `sql` is what Cast() gave.
  virtual std::string Differs(const std::string& column_sql, const std::string& sql,
                              const ServerColumn& column) const = 0;

  virtual std::string Between(const std::string& value, const std::string& a, const std::string& b,
                              bool negated) const = 0;
  virtual std::string Order(const std::string& sql, bool descending) const = 0;
  virtual std::string Limit(std::int64_t rows) const = 0;
  // Half to even after decimal scaling in double; whole numbers stay.
  virtual std::string Round(const std::string& real, int digits) const = 0;
  // As Access's LIKE, of a text and a pattern in capitals.
  virtual std::string Like(const std::string& text, std::string_view pattern) const = 0;
  // A function of Access by its name in small letters, its arguments printed; nothing: there is none.
  // `helpers` gets definitions that must be made on the connection first.
  virtual std::optional<std::string> Function(std::string_view name,
                                              const std::vector<std::string>& arguments,
                                              std::vector<std::string>* helpers) const = 0;
  // First or last value of a group, by the order.
  virtual std::string FirstOf(const std::string& sql, const std::vector<std::string>& order,
                              bool last) const = 0;
  // The place of a row in a table without any key.
  virtual std::string_view place_column() const = 0;
  virtual std::string PlaceConstant(const std::string& literal) const = 0;

  // What makes a table, with its order column and without indexes.
  virtual std::vector<std::string> CreateTable(const ServerTable& table) const = 0;
  // What makes its indexes, its rows being there.
  virtual std::vector<std::string> CreateIndexes(const ServerTable& table) const = 0;
  virtual std::string CreateIndex(const ServerTable& table, const ServerIndex& index) const = 0;
  virtual std::string DropIndex(const ServerTable& table, const std::string& index) const = 0;
  virtual std::string AddColumn(const ServerTable& table, const ServerColumn& column) const = 0;

  // One row for each column of each table, in their order: table, column, type, size, scale, required,
  // default, automatic number, remark, spread, remark on the table. With a name (any letter case): of that
  // table alone.
  virtual std::string ColumnsQuery(std::string_view table) const = 0;
  // One row for each column of each index, in their order: table, index, unique, primary, column, descending.
  virtual std::string IndexesQuery(std::string_view table) const = 0;
  // What type and remark of a row of ColumnsQuery() stand for. False: values of it cannot be read.
  virtual void SetType(std::string_view type, int size, int scale, std::string_view remark,
                       ServerColumn* column) const = 0;
  // The constant that a default in the server's words is, as an expression of Access; empty: it is none.
  virtual std::string DefaultOf(std::string_view sql) const = 0;
  // The columns of the key that a remark on a table names, where the server itself keeps no key.
  virtual std::vector<std::string> KeyOfRemark(std::string_view remark) const = 0;
  virtual std::string IndexName(std::string_view table, std::string_view server_name) const = 0;

  // What a failure is: the number of DbError, and whether the surroundings failed.
  virtual DbError ErrorOf(std::string_view state, const std::string& text) const = 0;
  // A query for a number that is not 0 when the lock of that number could be had, for as long as the
  // connection lives.
  virtual std::string TryLock(std::int32_t number, bool shared) const = 0;
  virtual std::string Unlock(std::int32_t number, bool shared) const = 0;
};

const SqlDialect& PostgresDialect();

}  // namespace vnt::db
