// Prints parsed Access SQL in the words of a server: looks names up, infers types, and says in full what
// Access takes for granted (Null comes first, texts join with "+", "/" never divides whole numbers, rows come
// in the order of the table).
//
// A table in a FROM list becomes "name AS aN", so that a table may stand in a statement twice.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/translate.h"
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

class ServerPrinter {
 public:
  ServerPrinter(const SqlDialect& dialect, ServerTables& tables, std::string_view text,
                const std::vector<jet::Value>& parameters)
      : dialect_(dialect), catalog_(tables), text_(text), parameters_(parameters) {}

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

  // Columns of the target, in the order of `names`; without names by position.
  static std::vector<int> TargetColumns(const ServerTable& target, const std::vector<std::string>& names);

 private:
  using Type = jet::sql::Type;
  using Expr = jet::sql::Expr;

  struct Source {
    std::string alias;      // as the statement names it
    std::string sql_alias;  // aN
    std::string from_sql;
    ServerTablePtr table;
    std::vector<ServerOutput> columns;  // of a subquery in FROM
  };
  struct Scope {
    std::vector<Source> sources;
    std::vector<std::string> row_order;
    const Scope* outer = nullptr;
    bool aggregates = false;
  };
  struct Printed {
    std::string sql;
    Type type = Type::kUnknown;
    bool truth = false;  // a truth value of the server
    bool constant = false;
    const ServerColumn* column = nullptr;
    int position = -1;
    std::string exact;  // of a constant with a point: as a decimal
  };
  struct Found {
    const Source* source = nullptr;
    int column = -1;
  };
  std::string PrintSelect(const jet::sql::Select& select, const Scope* outer, bool is_result, bool ordered,
                          bool want_row, std::vector<ServerOutput>* columns, ServerTablePtr* base);
  std::string PrintSingle(const jet::sql::Select& select, const Scope* outer, bool is_result, bool ordered,
                          bool want_row, std::vector<ServerOutput>* columns, ServerTablePtr* base);
  std::string PrintCompound(const jet::sql::Select& select, const Scope* outer,
                            std::vector<ServerOutput>* columns);
  std::string WithTies(const std::vector<std::string>& shown, const std::string& rest,
                       std::vector<std::string> stated, std::vector<std::string> order, std::int64_t top,
                       bool name_columns) const;
  void PrintItems(const jet::sql::Select& select, Scope* scope, std::vector<Printed>* items,
                  std::vector<ServerOutput>* columns);
  void PrintOrder(const jet::sql::Select& select, Scope* scope, const std::vector<Printed>& items,
                  const std::vector<ServerOutput>& columns, std::vector<std::string>* order);
  std::string PrintFrom(const jet::sql::Select& select, const Scope* outer, Scope* scope);
  void Declare(const jet::sql::TableRef& ref, const Scope* outer, Scope* scope);
  std::string PrintRef(const jet::sql::TableRef& ref, Scope* scope, std::size_t* next);
  std::string WhereSql(const jet::sql::Select& select, Scope* scope);
  // What the rows of a source are told apart by, and the order in which its table holds them.
  std::vector<std::string> RowNames(const ServerTable& table) const;
  std::vector<std::string> RowSql(const Source& source) const;
  std::vector<std::string> OrderSql(const Source& source) const;
  ServerTablePtr Target(const std::string& name);
  ServerStatement Finished(std::string sql, const ServerTable& target);
  void TellNamesApart(const Scope& scope, std::vector<ServerOutput>* columns) const;

  // printer_expression.cpp
  Printed Print(const Expr& e, Scope* scope);
  Printed PrintConstant(const Expr& e);
  Printed PrintParameter(const Expr& e);
  Printed PrintColumn(const Expr& e, Scope* scope);
  Printed ColumnOf(const Source& source, int column) const;
  Printed PrintArithmetic(const Expr& e, Scope* scope);
  Printed PrintCompare(const Expr& e, Scope* scope);
  Printed PrintLogic(const Expr& e, Scope* scope);
  Printed PrintIn(const Expr& e, Scope* scope);
  Printed PrintBetween(const Expr& e, Scope* scope);
  Printed PrintFunction(const Expr& e, Scope* scope);
  Printed PrintConditional(const Expr& e, const std::string& name, Scope* scope);
  Printed PrintAggregate(const Expr& e, const std::string& name, Scope* scope);
  Printed PrintRound(const Expr& e, Scope* scope);
  std::string Condition(const Expr& e, Scope* scope);
  std::string Subquery(const jet::sql::Select& select, Scope* scope, Type* type);
  // As a value: truth values as numbers.
  std::string ValueSql(const Printed& p) const;
  std::string NumberSql(const Printed& p, Type as) const;
  std::string TextSql(const Printed& p) const;
  // For a column of a table.
  std::string AssignSql(const Printed& p, const ServerColumn& column) const;
  // Two or more values side by side: what they have in common, and each as that.
  Type Unified(std::vector<Printed>* values) const;
  void CheckComparable(const Printed& a, const Printed& b) const;
  bool FindColumn(const std::string& table, const std::string& name, const Scope& scope, Found* found) const;
  [[noreturn]] void UnknownColumn(const Expr& e, const Scope& scope) const;
  static const std::string& SourceName(const Source& s) {
    return s.alias.empty() && s.table ? s.table->name : s.alias;
  }
  static Printed Truth(std::string sql);

  const SqlDialect& dialect_;
  ServerTables& catalog_;
  std::string_view text_;
  const std::vector<jet::Value>& parameters_;
  bool keeps_parameters_ = false;
  int next_alias_ = 0;
  std::vector<std::string> mentions_;
  std::vector<std::string> helpers_;
};

}  // namespace vnt::db
