// Prints parsed Access SQL in the words of a server, and says in full what Access takes for granted (Null
// comes first, texts join with "+", "/" never divides whole numbers, rows come in the order of the table).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/printer.h"
#include "db/server_provider/server_table.h"
#include "db/server_provider/sql_dialect.h"

namespace vnt::db {

class ServerTables {
 public:
  virtual ~ServerTables() = default;
  // Null when there is none.
  virtual ServerTablePtr Find(std::string_view name) = 0;
};

struct ServerOutput {
  std::string name;
  jet::sql::Type type = jet::sql::Type::kUnknown;
  std::optional<jet::ColumnType> column_type;  // of the column that it shows unchanged
  int characters = 0, precision = 0, scale = 0;
  int column = -1;  // in ServerQuery::base
};

struct ServerQuery {
  std::string sql;
  std::vector<ServerOutput> columns;
  // Every row is one row of this table: behind the columns, `sql` gives what tells it apart.
  ServerTablePtr base;
  std::vector<std::string> tables;   // every table mentioned, as the server spells it
  std::vector<std::string> helpers;  // see SqlDialect::Function
};

struct ServerStatement {
  std::string sql;
  // The same, with the constants that tell its rows apart: "head (row) tail"; an empty head: it has none.
  std::string head, row, tail;
  // Of an UPDATE: only of rows that it changes, and a query for how many rows it is for.
  std::string change, count;
  std::string target;  // the table that changes
  std::vector<std::string> tables;
  std::vector<std::string> helpers;
};

class ServerPrinter final : private jet::sql::Printer {
 public:
  ServerPrinter(const SqlDialect& dialect, ServerTables& tables, std::string_view text,
                const std::vector<jet::Value>& parameters)
      : Printer(text), dialect_(dialect), catalog_(tables), parameters_(parameters) {}

  // `want_row`: see ServerQuery::base.
  ServerQuery Query(const jet::sql::Select& select, bool want_row);
  ServerStatement Update(const jet::sql::Statement& s);
  ServerStatement Delete(const jet::sql::Statement& s);
  // UPDATE or DELETE of one table, from whose conditions "column = constant" for these columns have been
  // taken.
  ServerStatement ChangeRows(const jet::sql::Statement& s,
                             const std::vector<std::pair<const ServerColumn*, jet::Value>>& constants);
  ServerStatement InsertValues(const jet::sql::Statement& s);
  // Parameters become placeholders of a statement that is prepared; else they are printed with their values.
  void KeepParameters() { keeps_parameters_ = true; }
  // Of a query on the same server.
  ServerStatement InsertSelect(const jet::sql::Statement& s);
  // "INSERT INTO target (...) SELECT" of a table that has just been made for the query's columns.
  ServerStatement Fill(const ServerTable& target, const jet::sql::Select& select);

 private:
  using Type = jet::sql::Type;
  using Expr = jet::sql::Expr;
  using Source = jet::sql::Source;
  using Scope = jet::sql::Scope;

  std::string TableSql(const std::string& name, const std::string& file, Source* source) override;
  std::vector<std::string> RowNames(const Source& source) const override;
  std::vector<std::string> RowOrder(const Source& source) const override;
  std::vector<std::string> DistinctRows(const jet::sql::Select& select, const Scope& scope) const override;
  std::string Order(const std::string& sql, bool descending) const override;
  std::string Limit(std::int64_t rows) const override { return dialect_.Limit(rows); }
  std::string PercentSql(double percent) const override;
  Type UnionType(Type a, Type b) const override { return jet::sql::Common(a, b); }
  Item ItemOf(Printed p, bool exact, std::size_t position) const override;
  std::string GroupSql(const Printed& operand) const override { return operand.sql; }
  std::string SortSql(const Printed& operand) const override { return operand.sql; }

  ServerTablePtr Target(const std::string& name);
  // What the rows of a table are told apart by.
  std::vector<std::string> KeyNames(const ServerTable& table) const;
  ServerStatement UpdateJoined(const std::vector<std::pair<const ServerColumn*, std::string>>& values,
                               const Source& target, const Scope& scope, const std::string& rows);
  ServerStatement InsertRows(const ServerTable& target, const std::vector<int>& columns,
                             const std::vector<jet::sql::OutputColumn>& given, const std::string& query);
  ServerStatement Finished(std::string sql, const ServerTable& target);

  // Values and operators in server_expression.cpp, functions in server_function.cpp.
  void PrintColumn(const Source& source, int column, Printed* p) const override;
  Printed Boolean(bool value) const override { return Truth(value ? "TRUE" : "FALSE"); }
  Printed PrintParameter(const Expr& e) override;
  std::string TextConstant(const std::string& text) const override { return dialect_.TextConstant(text); }
  std::string RealConstant(double value) const override { return dialect_.RealConstant(value); }
  std::string DateConstant(double days) const override { return dialect_.DateConstant(days); }
  std::string ExactConstant(const std::string& digits) const override { return digits; }
  std::string TruthToNumber(const std::string& sql) const override { return dialect_.TruthToNumber(sql); }
  Printed AsCondition(Printed p) const override;
  std::string ChoiceSql(const Printed& operand) override;
  Printed Negated(const Printed& operand) override;
  Printed Concatenated(const Printed& left, const Printed& right) override;
  Printed Arithmetic(const Expr& e, const Printed& left, const Printed& right) override;
  std::string CompareSql(jet::sql::Op op, const Printed& a, const Printed& b) override;
  void CompareExactly(std::vector<Printed>* operands) const override;
  std::string BetweenSql(const std::vector<Printed>& operands, bool negated) const override;
  std::string LikeSql(const Printed& text, const Expr& pattern, Scope* scope) override;
  Printed Scalar(const std::string& sql, Type type, bool one_row) const override;
  Printed Aggregate(const std::string& name, const Printed& operand, const Scope& scope) override;
  Printed OneOf(const std::vector<std::string>& heads, std::vector<Printed> values,
                const std::string& tail) override;
  Type TypeOfNothing(bool number) const override { return number ? Type::kInteger : Type::kText; }
  Printed Call(const Expr& e, const std::string& name, Scope* scope) override;

  Printed PrintRound(const Expr& e, Scope* scope);
  std::string ArgumentSql(char kind, const Printed& value) const;
  std::string ValueSql(const Printed& p) const { return AsOperand(p).sql; }
  std::string NumberSql(const Printed& p, Type as) const;
  std::string TextSql(const Printed& p) const;
  std::string DateSql(const Printed& p) const;
  // For a column of a table.
  std::string AssignSql(const Printed& p, const ServerColumn& column) const;
  // Two or more values side by side: what they have in common, and each as that.
  Type Unified(std::vector<Printed>* values) const;

  const SqlDialect& dialect_;
  ServerTables& catalog_;
  const std::vector<jet::Value>& parameters_;
  bool keeps_parameters_ = false;
  std::vector<std::string> mentions_;
  std::vector<std::string> helpers_;
};

}  // namespace vnt::db
