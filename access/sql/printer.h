// Walks parsed Access SQL and prints it in the words of a database: looks names up, and keeps the rules that
// hold wherever the rows lie (what may be compared with what, TOP keeps ties, rows come in the order in which
// their tables hold them).
//
// A table or query in a FROM list becomes "... AS aN". What a database says in words of its own is virtual; a
// printer for another one derives from this and gives just that.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/names.h"

namespace jet::sql {

// "a, b, c"
std::string Join(const std::vector<std::string>& parts, std::string_view between = ", ");

// Of a constant that is a number.
double NumberIn(const Value& v);

const char* CompareText(Op op);

class Printer {
 public:
  virtual ~Printer() = default;

 protected:
  explicit Printer(std::string_view text) : text_(text) {}

  struct Printed {
    std::string sql;
    Type type = Type::kUnknown;
    bool truth = false;     // a condition; AsOperand makes the number of it that Access has
    bool constant = false;  // stands so in the statement
    NamedTablePtr table;    // and position of the column that it is, and its name in the FROM list
    int column = -1;
    std::string name;
    std::string exact;  // the same as an exact number; empty where there is no other than `sql`, or none
    bool currency = false;
    Op chain = Op::kNone;  // kind of operator when `sql` is "(a op b ...)" and may go on with the same kind
  };
  // What a query is for: the statement's result; a source of rows in a FROM list, a UNION, or for a table; a
  // set of values; one value.
  enum class Use : std::uint8_t { kResult, kSource, kRows, kOperand, kScalar };

  // ---- what databases say differently

  // The table as it is printed in a FROM list; gives `source` its table.
  virtual std::string TableSql(const std::string& name, const std::string& file, Source* source) = 0;
  // The text of the saved select query of that name; nothing when there is none.
  virtual std::optional<std::string> QueryText(const std::string& name, const std::string& file);
  // What a row of a table is told apart by; what orders rows as the table holds them.
  virtual std::vector<std::string> RowNames(const Source& source) const = 0;
  virtual std::vector<std::string> RowOrder(const Source& source) const = 0;
  // DISTINCTROW: the terms that are to be different; none when it has no effect.
  virtual std::vector<std::string> DistinctRows(const Select& select, const Scope& scope) const = 0;

  virtual std::string Order(const std::string& sql, bool descending) const = 0;
  virtual std::string Limit(std::int64_t rows) const = 0;
  // How many of `t.total` rows are that part of them.
  virtual std::string PercentSql(double percent) const = 0;
  // Of columns that a UNION puts below each other.
  virtual Type UnionType(Type a, Type b) const = 0;

  // An output column: as it is shown; as ORDER BY uses it, which may be by its position.
  struct Item {
    std::string shown, sorted;
    bool by_position = true;  // sorting by the position is sorting by the value
    std::string value = {};   // of DISTINCT
  };
  virtual Item ItemOf(Printed p, bool exact, std::size_t position) const = 0;
  // As GROUP BY uses it.
  virtual std::string GroupSql(const Printed& operand) const = 0;
  // As ORDER BY uses it, where it is no output column.
  virtual std::string SortSql(const Printed& operand) const = 0;

  // `p` has type, table and column: gives it the rest.
  virtual void PrintColumn(const Source& source, int column, Printed* p) const = 0;
  virtual Printed Boolean(bool value) const = 0;
  virtual Printed PrintConstant(const Expr& e);
  virtual Printed PrintParameter(const Expr& e) = 0;
  virtual std::string TextConstant(const std::string& text) const = 0;
  virtual std::string RealConstant(double value) const = 0;
  virtual std::string DateConstant(double days) const = 0;
  virtual std::string ExactConstant(const std::string& digits) const = 0;

  virtual std::string TruthToNumber(const std::string& sql) const = 0;
  virtual Printed AsCondition(Printed p) const = 0;
  // As a whole number that CASE can tell values by.
  virtual std::string ChoiceSql(const Printed& operand) = 0;
  virtual Printed Negated(const Printed& operand) = 0;
  // "&": Null is an empty text.
  virtual Printed Concatenated(const Printed& left, const Printed& right) = 0;
  virtual Printed Arithmetic(const Expr& e, const Printed& left, const Printed& right) = 0;
  virtual std::string CompareSql(Op op, const Printed& a, const Printed& b) = 0;
  // So that a decimal is compared exactly with the values beside it.
  virtual void CompareExactly(std::vector<Printed>* operands) const = 0;
  virtual std::string BetweenSql(const std::vector<Printed>& operands, bool negated) const = 0;
  virtual std::string LikeSql(const Printed& text, const Expr& pattern, Scope* scope) = 0;
  // A query in parentheses as a value; `one_row`: it can give no more than one.
  virtual Printed Scalar(const std::string& sql, Type type, bool one_row) const = 0;
  virtual Printed Aggregate(const std::string& name, const Printed& operand, const Scope& scope) = 0;
  // "head value head value ... tail", which gives one of the values.
  virtual Printed OneOf(const std::vector<std::string>& heads, std::vector<Printed> values,
                        const std::string& tail) = 0;
  // Of the value that Nz gives for Null when it is told none.
  virtual Type TypeOfNothing(bool number) const = 0;
  // Any other function, by its name in small letters and without "$".
  virtual Printed Call(const Expr& e, const std::string& name, Scope* scope) = 0;

  // ---- the walk

  // With `base`: the row names are appended when every row is one row of one table, which it gets.
  std::string PrintSelect(const Select& select, const Scope* outer, Use use,
                          std::vector<OutputColumn>* columns, NamedTablePtr* base = nullptr);
  std::string PrintFrom(const Select& select, const Scope* outer, Scope* scope);
  std::string WhereSql(const Select& select, Scope* scope);
  Printed Print(const Expr& e, Scope* scope);
  // As a value: a condition as its number.
  Printed PrintOperand(const Expr& e, Scope* scope) { return AsOperand(Print(e, scope)); }
  Printed AsOperand(Printed p) const;
  std::string Condition(const Expr& e, Scope* scope) { return AsCondition(Print(e, scope)).sql; }
  static Printed Truth(std::string sql);
  static std::string AsLeft(const Printed& left, Op chain);

  std::string_view text_;  // of the statement, for places of errors

 private:
  // printer_from.cpp
  void Declare(const TableRef& ref, const std::string& file, const Scope* outer, Scope* scope);
  std::string PrintQuery(const std::string& sql, const std::string& name, std::vector<OutputColumn>* columns);
  std::string PrintRef(const TableRef& ref, Scope* scope, std::size_t* next,
                       std::vector<std::size_t>* tables);

  // printer.cpp
  std::string PrintSingle(const Select& select, const Scope* outer, Use use, bool has_order,
                          std::vector<OutputColumn>* columns, NamedTablePtr* base = nullptr);
  std::string PrintCompound(const Select& select, const Scope* outer, std::vector<OutputColumn>* columns);
  std::string UnionOrder(const Select& select, const std::vector<OutputColumn>& columns) const;
  void PrintItems(const Select& select, bool exact, Scope* scope, std::vector<Item>* items,
                  std::vector<OutputColumn>* columns);
  std::vector<std::string> PrintOrder(const Select& select, Scope* scope, const std::vector<Item>& items,
                                      const std::vector<OutputColumn>& columns);
  void CompleteOrder(const Select& select, const Scope& scope, const std::vector<Item>& items,
                     const std::vector<std::string>& groups, std::vector<std::string>* order) const;
  std::string Assemble(const Select& select, const std::vector<Item>& items, const std::string& rest,
                       const std::vector<std::string>& order, std::size_t stated, bool name_columns) const;
  std::string WithTies(const Select& select, const std::vector<Item>& items, const std::string& rest,
                       std::vector<std::string> order, std::size_t stated, bool name_columns) const;

  // printer_expression.cpp
  Printed ColumnOf(const Source& source, int column) const;
  Printed PrintName(const Expr& e, Scope* scope);
  Printed PrintCompare(const Expr& e, Scope* scope);
  Printed PrintLogic(const Expr& e, Scope* scope);
  Printed PrintIn(const Expr& e, Scope* scope);
  Printed PrintBetween(const Expr& e, Scope* scope);
  std::string PrintSubquery(const Expr& e, Scope* scope, Use use, Type* type);
  Printed PrintFunction(const Expr& e, Scope* scope);
  Printed PrintAggregate(const Expr& e, const std::string& name, Scope* scope);
  Printed PrintConditional(const Expr& e, const std::string& name, Scope* scope);
  Printed PrintNz(const Expr& e, Scope* scope);
  static void CheckComparable(const Printed& a, const Printed& b);

  int query_depth_ = 0;
  int next_alias_ = 0;
};

}  // namespace jet::sql
