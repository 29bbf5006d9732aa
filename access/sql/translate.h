// Turns parsed Access SQL into SQLite's.
//
// A table in a FROM list becomes "<sql name> AS aN", a column "aN.cM" (M: its position in the table), so that
// no name of a file ever meets SQLite's grammar. Decimal and currency columns have a second column
// "eM" that gives their exact text; "cM" gives the nearest double. Arithmetic, comparisons and aggregates of
// decimals are exact (decimals.cpp) as long as no double takes part.
#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/names.h"
#include "access/sql/printer.h"
#include "access/store/database.h"

namespace jet::sql {

// A table as the catalog knows it.
struct CatalogTable final : NamedTable {
  CatalogTable(std::string known_as, std::shared_ptr<Table> stored)
      : sql_name(std::move(known_as)), table(std::move(stored)) {}

  const std::string& TableName() const override { return table->def().name; }
  int CountColumns() const override { return static_cast<int>(table->def().columns.size()); }
  const std::string& ColumnName(int column) const override { return table->def().columns[column].name; }
  ColumnType TypeOfColumn(int column) const override { return table->def().columns[column].type; }
  int FindColumn(std::string_view name) const override { return table->def().FindColumn(name); }

  std::string sql_name;
  std::shared_ptr<Table> table;
};

class TableCatalog {
 public:
  virtual ~TableCatalog() = default;
  // kNotFound when there is none. `file` is empty for the session's own database.
  virtual std::shared_ptr<const CatalogTable> Find(const std::string& name, const std::string& file) = 0;
  // The text of the saved select query of that name; nothing when there is none. kNotSupported for other
  // queries.
  virtual std::optional<std::string> FindQuery(const std::string& name, const std::string& file) = 0;
};

// A query, printed.
struct Translation {
  std::string sql;
  std::vector<OutputColumn> columns;
  std::shared_ptr<Table> base_table;  // set when the last column of `sql` is the row identifier in it
  std::vector<std::shared_ptr<Table>> tables;  // every mention of a table, subqueries included
};

// The table of a file, and its column, that an output column shows unchanged; null when there is none.
const Table* BaseTable(const OutputColumn& c);
const ColumnDef* StoredColumn(const OutputColumn& c);

// Where a changing statement puts its values.
struct UpdateTarget {
  std::shared_ptr<Table> table;
  int row_id_column = 0;  // in the row source
};
struct UpdateColumn {
  int target = 0;
  int column = 0;
  int source_column = 0;
  Type source_type = Type::kUnknown;
};
struct UpdateTranslation {
  Translation source;
  std::vector<UpdateTarget> targets;
  std::vector<UpdateColumn> columns;
};

// `statement_parameters` is the number of "?" in the statement: "?" number i is SQLite's ?i+1, lifted
// constant j is ?parameters+j+1 and, as an exact number, ?parameters+lifted+j+1.
class Translator final : private Printer {
 public:
  Translator(TableCatalog& catalog, std::string_view text, int statement_parameters, int lifted = 0)
      : Printer(text), catalog_(catalog), parameters_(statement_parameters), lifted_(lifted) {}

  // `want_row_id`: append the row identifier when every row is one row of one base table.
  Translation Query(const Select& select, bool want_row_id);
  UpdateTranslation Update(const Statement& s);
  // Row identifiers of the rows to delete.
  UpdateTranslation Delete(const Statement& s);
  // "SELECT a, b, ..." of expressions without a table.
  Translation Values(const std::vector<ExprPtr>& values);

 private:
  std::string TableSql(const std::string& name, const std::string& file, Source* source) override;
  std::optional<std::string> QueryText(const std::string& name, const std::string& file) override;
  std::vector<std::string> RowNames(const Source& source) const override { return {RowIdSql(source)}; }
  std::vector<std::string> RowOrder(const Source& source) const override { return {RowIdSql(source)}; }
  std::vector<std::string> DistinctRows(const Select& select, const Scope& scope) const override;
  std::string Order(const std::string& sql, bool descending) const override;
  std::string Limit(std::int64_t rows) const override;
  std::string PercentSql(double percent) const override;
  Type UnionType(Type a, Type b) const override { return a == b ? a : Type::kUnknown; }
  Item ItemOf(Printed p, bool exact, std::size_t position) const override;
  std::string GroupSql(const Printed& operand) const override;
  std::string SortSql(const Printed& operand) const override;

  // Values and operators in translate_expression.cpp, functions in translate_function.cpp.
  void PrintColumn(const Source& source, int column, Printed* p) const override;
  Printed Boolean(bool value) const override;
  Printed PrintConstant(const Expr& e) override;
  Printed PrintParameter(const Expr& e) override;
  std::string TextConstant(const std::string& text) const override;
  std::string RealConstant(double value) const override;
  std::string DateConstant(double days) const override { return RealConstant(days); }
  std::string ExactConstant(const std::string& digits) const override { return "'" + digits + "'"; }
  std::string TruthToNumber(const std::string& sql) const override { return "-(" + sql + ")"; }
  Printed AsCondition(Printed p) const override { return p; }
  std::string ChoiceSql(const Printed& operand) override;
  Printed Negated(const Printed& operand) override;
  Printed Concatenated(const Printed& left, const Printed& right) override;
  Printed Arithmetic(const Expr& e, const Printed& left, const Printed& right) override;
  std::string CompareSql(Op op, const Printed& a, const Printed& b) override;
  void CompareExactly(std::vector<Printed>* operands) const override;
  std::string BetweenSql(const std::vector<Printed>& operands, bool negated) const override;
  std::string LikeSql(const Printed& text, const Expr& pattern, Scope* scope) override;
  Printed Scalar(const std::string& sql, Type type, bool one_row) const override;
  Printed OneOf(const std::vector<std::string>& heads, std::vector<Printed> values,
                const std::string& tail) override;
  // As what it stands beside.
  Type TypeOfNothing(bool) const override { return Type::kNull; }
  Printed Aggregate(const std::string& name, const Printed& operand, const Scope& scope) override;
  Printed Call(const Expr& e, const std::string& name, Scope* scope) override;

  // What a changing statement reads.
  std::string RowSource(const Statement& s, const std::string& items, const std::string& from, Scope* scope);
  static Printed Added(const Expr& e, const Printed& left, const Printed& right);
  static Printed Joined(const Printed& left, const char* op, const Printed& right, Op chain);
  static std::optional<Printed> ExactArithmetic(Op op, const Printed& left, const Printed& right);
  Printed PrintTypeName(const Expr& e, Scope* scope);
  static bool IsExact(const Printed& p);
  // The exact text of a decimal; else as it is.
  static const std::string& ExactSql(const Printed& p) { return p.exact.empty() ? p.sql : p.exact; }
  static const std::string& StoredSql(const Printed& p) {
    return p.type == Type::kDecimal ? ExactSql(p) : p.sql;
  }
  static std::string KeySql(const Printed& p) { return "x_dkey(" + ExactSql(p) + ")"; }
  static std::string TextSql(const Printed& p);
  static bool AreDecimals(std::initializer_list<const Printed*> values);
  static Printed MakeDecimal(std::string exact, bool currency);
  static std::string RowIdSql(const Source& s) { return s.sql_alias + (s.nested ? ".r" : ".rowid"); }

  TableCatalog& catalog_;
  int parameters_;
  int lifted_;
  std::vector<std::shared_ptr<Table>> mentions_;
};

}  // namespace jet::sql
