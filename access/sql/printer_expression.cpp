// Expressions: what holds of them whatever database computes them.

#include <fmt/format.h>

#include <algorithm>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"
#include "access/sql/printer.h"

namespace jet::sql {

double NumberIn(const Value& v) {
  switch (v.kind()) {
    case ValueKind::kInteger:
      return static_cast<double>(v.integer());
    case ValueKind::kDecimal:
      return v.decimal().ToDouble();
    default:
      return v.real();
  }
}

const char* CompareText(Op op) {
  switch (op) {
    case Op::kLessEqual:
      return " <= ";
    case Op::kGreaterEqual:
      return " >= ";
    case Op::kNotEqual:
      return " <> ";
    case Op::kLess:
      return " < ";
    case Op::kGreater:
      return " > ";
    default:
      return " = ";
  }
}

Printer::Printed Printer::Truth(std::string sql) {
  Printed p;
  p.sql = std::move(sql);
  p.type = Type::kBoolean;
  p.truth = true;
  return p;
}

Printer::Printed Printer::AsOperand(Printed p) const {
  if (p.truth) {
    p.sql = TruthToNumber(p.sql);
    p.chain = Op::kNone;
    p.truth = false;
  }
  return p;
}

Printer::Printed Printer::Print(const Expr& e, Scope* scope) {
  switch (e.kind) {
    case ExprKind::kNull: {
      Printed p;
      p.sql = "NULL";
      p.type = Type::kNull;
      return p;
    }
    case ExprKind::kBoolean:
      return Boolean(e.number != 0);
    case ExprKind::kConstant:
      return PrintConstant(e);
    case ExprKind::kParameter:
      return PrintParameter(e);
    case ExprKind::kColumn:
      return PrintName(e, scope);
    case ExprKind::kNegate:
      return Negated(PrintOperand(*e.args[0], scope));
    case ExprKind::kNot:
      return Truth("(NOT " + Condition(*e.args[0], scope) + ")");
    case ExprKind::kArithmetic: {
      const Printed left = PrintOperand(*e.args[0], scope), right = PrintOperand(*e.args[1], scope);
      return e.op == Op::kConcat ? Concatenated(left, right) : Arithmetic(e, left, right);
    }
    case ExprKind::kCompare:
      return PrintCompare(e, scope);
    case ExprKind::kLogic:
      return PrintLogic(e, scope);
    case ExprKind::kInList:
    case ExprKind::kInSelect:
      return PrintIn(e, scope);
    case ExprKind::kBetween:
      return PrintBetween(e, scope);
    case ExprKind::kIsNull:
      return Truth("(" + Print(*e.args[0], scope).sql + (e.negated ? " IS NOT NULL)" : " IS NULL)"));
    case ExprKind::kLike: {
      const std::string like = LikeSql(PrintOperand(*e.args[0], scope), *e.args[1], scope);
      return Truth(e.negated ? "(NOT " + like + ")" : like);
    }
    case ExprKind::kFunction:
      return PrintFunction(e, scope);
    case ExprKind::kExists:
      return Truth("EXISTS " + PrintSubquery(e, scope, Use::kOperand, nullptr));
    case ExprKind::kScalar:
      break;
  }
  const Select& query = *e.select;
  const bool is_aggregate = std::any_of(query.items.begin(), query.items.end(), [](const SelectItem& item) {
    return item.expr && HasAggregate(*item.expr);
  });
  const bool one_row =
      is_aggregate && query.unions.empty() && !query.nested && query.group_by.empty() && !query.having;
  Type type = Type::kUnknown;
  const std::string sql = PrintSubquery(e, scope, Use::kScalar, &type);
  return Scalar(sql, type, one_row);
}

// ---- values

Printer::Printed Printer::PrintConstant(const Expr& e) {
  Printed p;
  p.constant = true;
  if (e.is_date) {
    p.type = Type::kDate;
    p.sql = DateConstant(NumberIn(e.value));
  } else if (e.value.kind() == ValueKind::kText) {
    p.type = Type::kText;
    p.sql = TextConstant(e.value.bytes());
  } else if (e.value.kind() == ValueKind::kInteger) {
    p.type = Type::kInteger;
    p.sql = fmt::format("{}", e.value.integer());
  } else {
    p.type = Type::kReal;
    p.sql = RealConstant(NumberIn(e.value));
    // A number with a point is a decimal where nothing else makes it a double.
    Decimal decimal;
    if (e.value.kind() == ValueKind::kDecimal) {
      p.exact = ExactConstant(e.value.decimal().ToText());
    } else if (Decimal::FromText(fmt::format("{:.15g}", e.value.real()), &decimal)) {
      p.exact = ExactConstant(decimal.ToText());
    }
  }
  return p;
}

Printer::Printed Printer::ColumnOf(const Source& source, int column) const {
  OutputColumn of = source.Column(column);
  Printed p;
  p.name = std::move(of.name);
  p.type = of.type;
  p.table = std::move(of.table);
  p.column = of.column;
  PrintColumn(source, column, &p);
  return p;
}

Printer::Printed Printer::PrintName(const Expr& e, Scope* scope) {
  Found found;
  for (const Scope* s = scope; s != nullptr; s = s->outer) {
    if (FindColumn(e.table, e.name, *s, &found)) return ColumnOf(*found.source, found.column);
  }
  // Now, Date and Time may stand without parentheses.
  if (e.table.empty()) {
    const std::string lower = LowerText(e.name);
    if (lower == "now" || lower == "date" || lower == "time") {
      Printed p = Call(e, lower, scope);
      p.name = e.name;
      return p;
    }
  }
  ThrowUnknownColumn(e.table, e.name, *scope);
}

std::string Printer::PrintSubquery(const Expr& e, Scope* scope, Use use, Type* type) {
  std::vector<OutputColumn> columns;
  std::string sql = PrintSelect(*e.select, scope, use, &columns);
  if (e.kind != ExprKind::kExists && columns.size() != 1) {
    ThrowSyntax(text_, e.select->offset,
                "A subquery in an expression must have one column; this one has " +
                    std::to_string(columns.size()) + ",");
  }
  if (type != nullptr) *type = columns[0].type;
  return "(" + sql + ")";
}

// ---- comparisons

void Printer::CheckComparable(const Printed& a, const Printed& b) {
  const bool mismatch =
      (a.type == Type::kText && IsNumeric(b.type)) || (IsNumeric(a.type) && b.type == Type::kText);
  if (!mismatch) return;
  const Printed& column = a.table ? a : b;
  if (column.table) {
    throw Error(ErrorKind::kType,
                fmt::format("Data type mismatch: the column '{}' is compared with a value of another type.",
                            column.table->ColumnName(column.column)));
  }
  throw Error(ErrorKind::kType, "Data type mismatch: a text is compared with a number.");
}

Printer::Printed Printer::PrintCompare(const Expr& e, Scope* scope) {
  const Printed a = PrintOperand(*e.args[0], scope), b = PrintOperand(*e.args[1], scope);
  CheckComparable(a, b);
  return Truth(CompareSql(e.op, a, b));
}

Printer::Printed Printer::PrintIn(const Expr& e, Scope* scope) {
  std::vector<Printed> operands{PrintOperand(*e.args[0], scope)};
  std::string list;
  if (e.kind == ExprKind::kInSelect) {
    Printed column;
    list = PrintSubquery(e, scope, Use::kOperand, &column.type);
    CheckComparable(operands[0], column);
  } else {
    for (std::size_t i = 1; i < e.args.size(); ++i) {
      operands.push_back(PrintOperand(*e.args[i], scope));
      CheckComparable(operands[0], operands.back());
    }
    if (operands[0].type == Type::kDecimal) CompareExactly(&operands);
    for (std::size_t i = 1; i < operands.size(); ++i) list += (i == 1 ? "(" : ", ") + operands[i].sql;
    list += ")";
  }
  return Truth("(" + operands[0].sql + (e.negated ? " NOT IN " : " IN ") + list + ")");
}

Printer::Printed Printer::PrintBetween(const Expr& e, Scope* scope) {
  std::vector<Printed> operands;
  for (const ExprPtr& arg : e.args) operands.push_back(PrintOperand(*arg, scope));
  CheckComparable(operands[0], operands[1]);
  CheckComparable(operands[0], operands[2]);
  if (std::any_of(operands.begin(), operands.end(),
                  [](const Printed& p) { return p.type == Type::kDecimal; }))
    CompareExactly(&operands);
  return Truth(BetweenSql(operands, e.negated));
}

// Parsers stop at some number of open parentheses: a chain of one kind of operator needs only one pair.
std::string Printer::AsLeft(const Printed& left, Op chain) {
  return left.chain == chain ? left.sql.substr(1, left.sql.size() - 2) : left.sql;
}

Printer::Printed Printer::PrintLogic(const Expr& e, Scope* scope) {
  const Printed a = AsCondition(Print(*e.args[0], scope)), b = AsCondition(Print(*e.args[1], scope));
  switch (e.op) {
    case Op::kAnd:
    case Op::kOr: {
      Printed p = Truth("(" + AsLeft(a, e.op) + (e.op == Op::kAnd ? " AND " : " OR ") + b.sql + ")");
      p.chain = e.op;
      return p;
    }
    case Op::kXor:
      return Truth("((NOT " + a.sql + ") <> (NOT " + b.sql + "))");
    case Op::kEqv:
      return Truth("((NOT " + a.sql + ") = (NOT " + b.sql + "))");
    default:
      return Truth("((NOT " + a.sql + ") OR " + b.sql + ")");
  }
}

// ---- functions

Printer::Printed Printer::PrintFunction(const Expr& e, Scope* scope) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  if (IsAggregate(e)) return PrintAggregate(e, name, scope);
  if (name == "nz") return PrintNz(e, scope);
  if (name == "isnull") {
    if (e.args.size() != 1) ThrowSyntax(text_, e.offset, "The function IsNull takes one value,");
    return Truth("(" + Print(*e.args[0], scope).sql + " IS NULL)");
  }
  for (const char* conditional : {"iif", "switch", "choose"}) {
    if (name == conditional) return PrintConditional(e, name, scope);
  }
  return Call(e, name, scope);
}

Printer::Printed Printer::PrintAggregate(const Expr& e, const std::string& name, Scope* scope) {
  if (name == "count" && e.star) {
    scope->aggregates = true;
    Printed p;
    p.sql = "count(*)";
    p.type = Type::kInteger;
    return p;
  }
  if (e.args.size() != 1) ThrowSyntax(text_, e.offset, "The function " + e.name + " takes one value,");
  const Printed operand = PrintOperand(*e.args[0], scope);
  scope->aggregates = true;
  return Aggregate(name, operand, *scope);
}

Printer::Printed Printer::PrintNz(const Expr& e, Scope* scope) {
  const std::size_t n = e.args.size();
  if (n < 1 || n > 2) ThrowSyntax(text_, e.offset, "The function Nz takes one or two values,");
  std::vector<Printed> values{Print(*e.args[0], scope)};
  if (n == 2) {
    values.push_back(Print(*e.args[1], scope));
  } else {
    const bool number = IsNumeric(values[0].type);
    Printed nothing;
    nothing.sql = number ? "0" : "''";
    nothing.type = TypeOfNothing(number);
    values.push_back(std::move(nothing));
  }
  return OneOf({"COALESCE(", ", "}, std::move(values), ")");
}

// Iif, Switch and Choose: only the chosen branch is computed.
Printer::Printed Printer::PrintConditional(const Expr& e, const std::string& name, Scope* scope) {
  const std::size_t n = e.args.size();
  // What stands before each of the values it may give.
  std::vector<std::string> heads;
  std::vector<Printed> values;
  if (name == "iif") {
    if (n != 3) ThrowSyntax(text_, e.offset, "The function IIf takes three values,");
    heads = {"(CASE WHEN " + Condition(*e.args[0], scope) + " THEN ", " ELSE "};
    for (std::size_t i = 1; i < 3; ++i) values.push_back(Print(*e.args[i], scope));
  } else if (n < 2 || (name == "switch" && n % 2 != 0)) {
    ThrowSyntax(text_, e.offset, "The function " + e.name + " has too few values");
  } else if (name == "switch") {
    for (std::size_t i = 0; i < n; i += 2) {
      heads.push_back((i == 0 ? "(CASE WHEN " : " WHEN ") + Condition(*e.args[i], scope) + " THEN ");
      values.push_back(Print(*e.args[i + 1], scope));
    }
  } else {
    const std::string number = "(CASE " + ChoiceSql(PrintOperand(*e.args[0], scope));
    for (std::size_t i = 1; i < n; ++i) {
      heads.push_back((i == 1 ? number : "") + fmt::format(" WHEN {} THEN ", i));
      values.push_back(Print(*e.args[i], scope));
    }
  }
  return OneOf(heads, std::move(values), " END)");
}

}  // namespace jet::sql
