// Turns parsed Access SQL into SQLite's: looks names up, infers what types can be known, and prints.
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
#include "access/store/database.h"

namespace jet::sql {

enum class Type : std::uint8_t { kUnknown, kNull, kBoolean, kInteger, kReal, kDecimal, kDate, kText, kBlob };

Type TypeOf(ColumnType type);

// A table as the catalog knows it.
struct CatalogTable {
  std::string sql_name;
  std::string name;
  std::shared_ptr<Table> table;
};

class TableCatalog {
 public:
  virtual ~TableCatalog() = default;
  // kNotFound when there is none. `file` is empty for the session's own database.
  virtual CatalogTable Find(const std::string& name, const std::string& file) = 0;
  // The text of the saved select query of that name; nothing when there is none. kNotSupported for other
  // queries.
  virtual std::optional<std::string> FindQuery(const std::string& name, const std::string& file) = 0;
};

struct OutputColumn {
  std::string name;
  Type type = Type::kUnknown;
  std::shared_ptr<Table> table;  // base table and position of the column it shows unchanged
  int column = -1;
  bool named = true;  // false: an expression without alias, the name is made up
};

// A query, printed.
struct Translation {
  std::string sql;
  std::vector<OutputColumn> columns;
  std::shared_ptr<Table> base_table;  // set when the last column of `sql` is the row identifier in it
  std::vector<std::shared_ptr<Table>> tables;  // every mention of a table, subqueries included
};

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
class Translator {
 public:
  Translator(TableCatalog& catalog, std::string_view text, int statement_parameters, int lifted = 0)
      : catalog_(catalog), text_(text), parameters_(statement_parameters), lifted_(lifted) {}

  // `want_row_id`: append the row identifier when every row is one row of one base table.
  Translation Query(const Select& select, bool want_row_id);
  UpdateTranslation Update(const Statement& s);
  // Row identifiers of the rows to delete.
  UpdateTranslation Delete(const Statement& s);
  // "SELECT a, b, ..." of expressions without a table.
  Translation Values(const std::vector<ExprPtr>& values);

 private:
  struct Source {
    std::string alias;      // as the statement names it
    std::string sql_alias;  // aN
    std::string from_sql;
    std::shared_ptr<Table> table;
    std::string table_name;
    std::vector<OutputColumn> columns;  // of a subquery in FROM
    bool nested = false;                // stands in parentheses in the printed FROM list
  };
  struct Scope {
    std::vector<Source> sources;
    // The row identifiers of the tables in the FROM list, as joined: their order is that of the rows.
    std::vector<std::string> row_ids;
    const Scope* outer = nullptr;
    bool aggregates = false;
  };
  struct Printed {
    std::string sql;
    Type type = Type::kUnknown;
    bool truth = false;  // gives 1 or 0 where Access gives -1 or 0
    std::shared_ptr<Table> table;
    int column = -1;
    // The same as an exact number, for decimals and constants; else empty. A constant that is a parameter of
    // the plan begins with "?".
    std::string exact;
    bool currency = false;
    Op chain = Op::kNone;  // kind of operator when `sql` is "(a op b ...)" and may go on with the same kind
  };
  struct Found {
    const Source* source = nullptr;
    int column = -1;
  };
  // What a query is for: the statement's result; a source of rows in a FROM list; a member of a UNION; a set
  // of values; one value.
  enum class Use : std::uint8_t { kResult, kSource, kMember, kOperand, kScalar };
  std::string PrintSelect(const Select& select, const Scope* outer, Use use, bool want_row_id,
                          std::vector<OutputColumn>* columns, std::shared_ptr<Table>* base_table);
  std::string PrintCompound(const Select& select, const Scope* outer, std::vector<OutputColumn>* columns);
  std::string PrintMember(const Select& select, const Scope* outer, bool is_first,
                          std::vector<OutputColumn>* columns);
  // A query that is no UNION. `has_order`: its ORDER BY is its own.
  std::string PrintSingle(const Select& select, const Scope* outer, Use use, bool want_row_id, bool has_order,
                          std::vector<OutputColumn>* columns, std::shared_ptr<Table>* base_table);
  // One printed output column: as it is shown, and as ORDER BY uses it.
  struct Item {
    std::string shown, sorted;
  };
  void PrintItems(const Select& select, Scope* scope, bool exact, std::vector<Item>* items,
                  std::vector<OutputColumn>* columns);
  void StarItems(const Scope& scope, const SelectItem& item, bool exact, std::vector<Item>* items,
                 std::vector<OutputColumn>* columns);
  std::string PrintFrom(const Select& select, const Scope* outer, Scope* scope);
  std::string WhereSql(const Select& select, Scope* scope);
  std::string RowSource(const Statement& s, const std::string& items, const std::string& from, Scope* scope);
  void DeclareQuery(const std::string& sql, const std::string& name, Source* source);
  void Declare(const TableRef& ref, const std::string& file, const Scope* outer, Scope* scope);
  std::string PrintRef(const TableRef& ref, Scope* scope, std::size_t* next,
                       std::vector<std::size_t>* tables);
  std::vector<std::string> PrintOrder(const Select& select, Scope* scope, const std::vector<Item>& items,
                                      const std::vector<OutputColumn>& columns);
  static void CompleteOrder(const Select& select, const Scope& scope, const std::vector<Item>& items,
                            const std::vector<std::string>& groups, std::vector<std::string>* order);
  static void TellNamesApart(std::vector<OutputColumn>* columns);
  std::string WithTop(const Select& select, const std::vector<Item>& items, const std::string& rest,
                      const std::vector<std::string>& order, std::size_t key_count, bool name_columns) const;

  // Expressions: operators and values in translate_expression.cpp, functions in translate_function.cpp,
  // names of columns in translate_names.cpp.
  Printed Print(const Expr& e, Scope* scope);
  std::string PrintValue(const Expr& e, Scope* scope, Type* type = nullptr);
  std::string PrintCondition(const Expr& e, Scope* scope);
  // With the exact text of a decimal column that is shown unchanged.
  Printed PrintExact(const Expr& e, Scope* scope);
  // As a condition or with its number.
  Printed PrintOperand(const Expr& e, Scope* scope);
  Printed PrintConstant(const Expr& e);
  Printed PrintColumn(const Expr& e, Scope* scope, bool exact);
  Printed PrintArithmetic(const Expr& e, Scope* scope);
  static std::optional<Printed> PrintExactArithmetic(Op op, const Printed& left, const Printed& right);
  Printed PrintNegate(const Expr& e, Scope* scope);
  std::string BetweenSql(const Expr& e, Scope* scope);
  Printed PrintCompare(const Expr& e, Scope* scope);
  Printed PrintLogic(const Expr& e, Scope* scope);
  Printed PrintIn(const Expr& e, Scope* scope);
  Printed PrintFunction(const Expr& e, Scope* scope);
  Printed PrintAggregate(const Expr& e, const std::string& name, Scope* scope);
  Printed PrintTypeName(const Expr& e, Scope* scope);
  Printed PrintConditional(const Expr& e, const std::string& name, Scope* scope);
  static Printed OneOf(const std::vector<std::string>& heads, const std::vector<Printed>& values,
                       const std::string& tail);
  std::string PrintSubquery(const Expr& e, Scope* scope, Use use, Type* type);
  static bool IsExact(const Printed& p);
  static std::string ExactSql(const Printed& p);
  static std::string KeySql(const Printed& p) { return "x_dkey(" + ExactSql(p) + ")"; }
  static std::string TextSql(const Printed& p);
  static bool AreDecimals(std::initializer_list<const Printed*> values);
  static Printed MakeDecimal(std::string exact, bool currency);
  static std::string AsLeft(const Printed& left, Op chain);
  // kInvalid for a column that has several values in a group.
  void RequireGrouped(const Select& select, const Scope& scope) const;
  void RequireGrouped(const Select& select, const Expr& e, const Scope& scope) const;
  bool AreSame(const Expr& a, const Expr& b, const Scope& scope) const;
  void MarkSources(const Expr& e, const Scope& scope, std::vector<bool>* marks) const;
  // DISTINCTROW: the row identifiers that are to be different; none when it has no effect.
  std::vector<std::string> DistinctRows(const Select& select, const Scope& scope) const;
  void CheckComparable(const Printed& a, const Printed& b) const;
  bool FindColumn(const std::string& table, const std::string& name, const Scope& scope, Found* found) const;
  [[noreturn]] void UnknownColumn(const Expr& e, const Scope& scope) const;
  static const std::string& SourceName(const Source& s) { return s.alias.empty() ? s.table_name : s.alias; }
  static std::string RowIdSql(const Source& s) { return s.sql_alias + (s.nested ? ".r" : ".rowid"); }
  static std::string ColumnSql(const Source& s, int column, bool exact);

  TableCatalog& catalog_;
  std::string_view text_;
  int parameters_;
  int lifted_;
  int query_depth_ = 0;
  int next_alias_ = 0;
  std::vector<std::shared_ptr<Table>> mentions_;
};

}  // namespace jet::sql
