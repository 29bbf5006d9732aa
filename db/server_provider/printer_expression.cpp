// Expressions: names of columns, operators, values and functions.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"
#include "access/sql/translate_support.h"
#include "db/server_provider/printer.h"

namespace vnt::db {

using jet::EqualNames;
using jet::Error;
using jet::ErrorKind;
using jet::ValueKind;
using jet::sql::Common;
using jet::sql::ExprKind;
using jet::sql::ExprPtr;
using jet::sql::IsNumeric;
using jet::sql::Op;
using jet::sql::Select;

namespace {

const char* CompareText(Op op) {
  switch (op) {
    case Op::kEqual:
      return " = ";
    case Op::kNotEqual:
      return " <> ";
    case Op::kLess:
      return " < ";
    case Op::kLessEqual:
      return " <= ";
    case Op::kGreater:
      return " > ";
    default:
      return " >= ";
  }
}

double NumberIn(const jet::Value& v) {
  return v.kind() == ValueKind::kInteger   ? static_cast<double>(v.integer())
         : v.kind() == ValueKind::kDecimal ? v.decimal().ToDouble()
                                           : v.real();
}

}  // namespace

// ---- names

bool ServerPrinter::FindColumn(const std::string& table, const std::string& name, const Scope& scope,
                               Found* found) const {
  found->source = nullptr;
  for (const Source& s : scope.sources) {
    if (!table.empty() && !EqualNames(SourceName(s), table)) continue;
    int column = -1;
    if (s.table) {
      column = s.table->FindColumn(name);
    } else {
      for (std::size_t i = 0; i < s.columns.size() && column < 0; ++i) {
        if (EqualNames(s.columns[i].name, name)) column = static_cast<int>(i);
      }
    }
    if (column < 0) continue;
    if (found->source != nullptr) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("The column '{}' is in more than one table of the FROM list ('{}' and '{}'); put the "
                      "table's name before it.",
                      name, SourceName(*found->source), SourceName(s)));
    }
    found->source = &s;
    found->column = column;
  }
  return found->source != nullptr;
}

void ServerPrinter::UnknownColumn(const Expr& e, const Scope& scope) const {
  std::string tables;
  for (const Source& s : scope.sources) tables += (tables.empty() ? "'" : ", '") + SourceName(s) + "'";
  if (tables.empty())
    throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}': there is no FROM list.", e.name));
  throw Error(ErrorKind::kNoColumn,
              fmt::format("No column '{}{}{}' in {}.", e.table, e.table.empty() ? "" : ".", e.name, tables));
}

ServerPrinter::Printed ServerPrinter::ColumnOf(const Source& source, int column) const {
  Printed p;
  if (!source.table) {
    const ServerOutput& c = source.columns[column];
    p.sql = fmt::format("{}.c{}", source.sql_alias, column);
    p.type = c.type;
  } else {
    const ServerColumn& c = source.table->columns[column];
    p.sql = dialect_.Read(source.sql_alias + "." + dialect_.Name(c.name), c.type);
    p.type = jet::sql::TypeOf(c.type);
    p.column = &c;
    p.position = column;
  }
  p.truth = p.type == Type::kBoolean;
  return p;
}

ServerPrinter::Printed ServerPrinter::PrintColumn(const Expr& e, Scope* scope) {
  Found found;
  for (const Scope* s = scope; s != nullptr; s = s->outer) {
    if (FindColumn(e.table, e.name, *s, &found)) return ColumnOf(*found.source, found.column);
  }
  // Now, Date and Time may stand without parentheses.
  if (e.table.empty()) {
    const std::string lower = jet::LowerText(e.name);
    if (lower == "now" || lower == "date" || lower == "time") {
      Printed p;
      p.sql = *dialect_.Function(lower, {}, &helpers_);
      p.type = Type::kDate;
      return p;
    }
  }
  UnknownColumn(e, *scope);
}

// ---- values

ServerPrinter::Printed ServerPrinter::Truth(std::string sql) {
  Printed p;
  p.sql = std::move(sql);
  p.type = Type::kBoolean;
  p.truth = true;
  return p;
}

std::string ServerPrinter::ValueSql(const Printed& p) const {
  return p.truth ? dialect_.TruthToNumber(p.sql) : p.sql;
}

// A text that is to be a number must be one, too.
std::string ServerPrinter::NumberSql(const Printed& p, Type as) const {
  std::string sql = p.type == Type::kDate ? dialect_.DateToDays(p.sql) : ValueSql(p);
  if (as == Type::kInteger) {
    const bool is_whole = p.truth || p.type == Type::kInteger || p.type == Type::kNull;
    return dialect_.ToWhole(is_whole ? sql : dialect_.ToReal(sql));
  }
  if (as == Type::kDecimal) return p.exact.empty() ? dialect_.ToExact(sql) : p.exact;
  return dialect_.ToReal(sql);
}

std::string ServerPrinter::TextSql(const Printed& p) const {
  if (p.type == Type::kText || p.type == Type::kNull) return p.sql;
  if (p.type == Type::kDate || (p.column != nullptr && p.column->type == jet::ColumnType::kSingle)) {
    throw Error(ErrorKind::kNotSupported,
                "On a server a date or a number of single precision cannot be joined to a text.");
  }
  ServerColumn text;
  text.type = jet::ColumnType::kMemo;
  return dialect_.Cast(p.type == Type::kReal ? dialect_.ToExact(p.sql) : ValueSql(p), text);
}

std::string ServerPrinter::AssignSql(const Printed& p, const ServerColumn& column) const {
  using jet::ColumnType;
  const Type wanted = jet::sql::TypeOf(column.type);
  if (p.type == Type::kNull) return column.type == ColumnType::kBoolean ? "FALSE" : "NULL";
  switch (wanted) {
    case Type::kBoolean:
      return p.truth ? p.sql : "(" + NumberSql(p, Type::kReal) + " <> 0)";
    case Type::kInteger:
      // Of a decimal, too, halves go to the even number.
      if (p.constant && p.type == Type::kInteger) return p.sql;
      return dialect_.Cast(p.type == Type::kInteger || p.truth ? ValueSql(p) : NumberSql(p, Type::kReal),
                           column);
    case Type::kReal:
      return dialect_.Cast(NumberSql(p, Type::kReal), column);
    case Type::kDecimal:
      return dialect_.Cast(NumberSql(p, Type::kDecimal), column);
    case Type::kDate:
      if (p.type == Type::kDate) return p.sql;
      return p.type == Type::kText ? dialect_.Cast(p.sql, column)
                                   : dialect_.DaysToDate(NumberSql(p, Type::kReal));
    case Type::kText:
      return p.constant && p.type == Type::kText ? p.sql : dialect_.Cast(TextSql(p), column);
    default:
      return p.sql;
  }
}

ServerPrinter::Printed ServerPrinter::PrintConstant(const Expr& e) {
  Printed p;
  p.constant = true;
  if (e.is_date) {
    p.type = Type::kDate;
    p.sql = dialect_.DateConstant(NumberIn(e.value));
  } else if (e.value.kind() == ValueKind::kText) {
    p.type = Type::kText;
    p.sql = dialect_.TextConstant(e.value.bytes());
  } else if (e.value.kind() == ValueKind::kInteger) {
    p.type = Type::kInteger;
    p.sql = fmt::format("{}", e.value.integer());
  } else {
    p.type = Type::kReal;
    p.sql = dialect_.RealConstant(NumberIn(e.value));
    // A number with a point is a decimal where nothing else makes it a double.
    jet::Decimal decimal;
    if (e.value.kind() == ValueKind::kDecimal) {
      p.exact = e.value.decimal().ToText();
    } else if (jet::Decimal::FromText(fmt::format("{:.15g}", e.value.real()), &decimal)) {
      p.exact = decimal.ToText();
    }
  }
  return p;
}

ServerPrinter::Printed ServerPrinter::PrintParameter(const Expr& e) {
  if (keeps_parameters_) {
    Printed p;
    p.sql = dialect_.Placeholder(e.number);
    p.type = Type::kInteger;
    return p;
  }
  if (e.number >= std::ssize(parameters_)) {
    throw Error(
        ErrorKind::kInvalid,
        fmt::format("The statement has more parameters than the {} values given.", parameters_.size()));
  }
  const jet::Value& value = parameters_[e.number];
  Printed p;
  if (value.is_null()) {
    p.sql = "NULL";
    p.type = Type::kNull;
    return p;
  }
  Expr constant;
  constant.kind = ExprKind::kConstant;
  constant.value = value;
  return PrintConstant(constant);
}

// ---- operators

std::string ServerPrinter::Condition(const Expr& e, Scope* scope) {
  const Printed p = Print(e, scope);
  if (p.truth) return p.sql;
  if (p.type == Type::kNull) return "(NULL IS NOT NULL)";
  return "(" + NumberSql(p, Type::kReal) + " <> 0)";
}

std::string ServerPrinter::Subquery(const Select& select, Scope* scope, Type* type) {
  std::vector<ServerOutput> columns;
  const std::string sql = PrintSelect(select, scope, false, false, false, &columns, nullptr);
  if (type != nullptr) {
    if (columns.size() != 1) {
      jet::sql::ThrowSyntax(text_, select.offset,
                            "A subquery in an expression must have one column; this one has " +
                                std::to_string(columns.size()) + ",");
    }
    *type = columns[0].type;
  }
  return "(" + sql + ")";
}

void ServerPrinter::CheckComparable(const Printed& a, const Printed& b) const {
  const bool mismatch =
      (a.type == Type::kText && IsNumeric(b.type)) || (IsNumeric(a.type) && b.type == Type::kText);
  if (!mismatch) return;
  const Printed& column = a.column != nullptr ? a : b;
  if (column.column != nullptr) {
    throw Error(ErrorKind::kType,
                fmt::format("Data type mismatch: the column '{}' is compared with a value of another type.",
                            column.column->name));
  }
  throw Error(ErrorKind::kType, "Data type mismatch: a text is compared with a number.");
}

ServerPrinter::Type ServerPrinter::Unified(std::vector<Printed>* values) const {
  Type type = Type::kNull;
  bool decimals = false, reals = false, wholes = true;
  for (const Printed& v : *values) {
    type = Common(type, v.type);
    decimals = decimals || v.type == Type::kDecimal;
    reals = reals || (v.type == Type::kReal && v.exact.empty());
    wholes = wholes && (v.type == Type::kInteger || v.truth || v.type == Type::kNull);
  }
  if (type == Type::kReal) type = wholes ? Type::kInteger : decimals && !reals ? Type::kDecimal : Type::kReal;
  if (type == Type::kUnknown) {
    throw Error(ErrorKind::kNotSupported,
                "On a server a value cannot be a text in one row and a number in another.");
  }
  for (Printed& v : *values) {
    if (v.type == type || v.type == Type::kNull) continue;
    if (type == Type::kDate) {
      v.sql = dialect_.DaysToDate(NumberSql(v, Type::kReal));
    } else {
      v.sql = NumberSql(v, type);
    }
    v.truth = false;
    v.type = type;
  }
  return type;
}

ServerPrinter::Printed ServerPrinter::PrintCompare(const Expr& e, Scope* scope) {
  std::vector<Printed> sides;
  sides.push_back(Print(*e.args[0], scope));
  sides.push_back(Print(*e.args[1], scope));
  CheckComparable(sides[0], sides[1]);
  // A decimal beside a constant is compared exactly; the server itself compares numbers of different types.
  for (int i = 0; i < 2; ++i) {
    Printed& p = sides[i];
    const Printed& other = sides[1 - i];
    if (!p.exact.empty() && other.type == Type::kDecimal) p.sql = p.exact;
    if (p.type == Type::kDate && IsNumeric(other.type) && other.type != Type::kDate) {
      p.sql = dialect_.DateToDays(p.sql);
      p.type = Type::kReal;
    }
  }
  return Truth("(" + ValueSql(sides[0]) + CompareText(e.op) + ValueSql(sides[1]) + ")");
}

ServerPrinter::Printed ServerPrinter::PrintLogic(const Expr& e, Scope* scope) {
  const std::string a = Condition(*e.args[0], scope), b = Condition(*e.args[1], scope);
  switch (e.op) {
    case Op::kAnd:
      return Truth("(" + a + " AND " + b + ")");
    case Op::kOr:
      return Truth("(" + a + " OR " + b + ")");
    case Op::kXor:
      return Truth("(" + a + " <> " + b + ")");
    case Op::kEqv:
      return Truth("(" + a + " = " + b + ")");
    default:
      return Truth("((NOT " + a + ") OR " + b + ")");
  }
}

ServerPrinter::Printed ServerPrinter::PrintIn(const Expr& e, Scope* scope) {
  const Printed left = Print(*e.args[0], scope);
  std::string list;
  if (e.kind == ExprKind::kInSelect) {
    Printed right;
    list = Subquery(*e.select, scope, &right.type);
    CheckComparable(left, right);
  } else {
    for (std::size_t i = 1; i < e.args.size(); ++i) {
      const Printed member = Print(*e.args[i], scope);
      CheckComparable(left, member);
      const bool exact = !member.exact.empty() && left.type == Type::kDecimal;
      list += (list.empty() ? "(" : ", ") + (exact ? member.exact : ValueSql(member));
    }
    list += ")";
  }
  return Truth("(" + ValueSql(left) + (e.negated ? " NOT IN " : " IN ") + list + ")");
}

// Either bound may be the lower one.
ServerPrinter::Printed ServerPrinter::PrintBetween(const Expr& e, Scope* scope) {
  std::vector<Printed> parts;
  for (const ExprPtr& arg : e.args) parts.push_back(Print(*arg, scope));
  CheckComparable(parts[0], parts[1]);
  CheckComparable(parts[0], parts[2]);
  for (int i = 1; i < 3; ++i) {
    if (!parts[i].exact.empty() && parts[0].type == Type::kDecimal) parts[i].sql = parts[i].exact;
  }
  return Truth(dialect_.Between(ValueSql(parts[0]), ValueSql(parts[1]), ValueSql(parts[2]), e.negated));
}

ServerPrinter::Printed ServerPrinter::PrintArithmetic(const Expr& e, Scope* scope) {
  const Printed left = Print(*e.args[0], scope), right = Print(*e.args[1], scope);
  const Type ta = left.type, tb = right.type;
  Printed p;
  if (e.op == Op::kConcat) {
    p.type = Type::kText;
    p.sql = "(COALESCE(" + TextSql(left) + ", '') || COALESCE(" + TextSql(right) + ", ''))";
    return p;
  }
  if (e.op == Op::kPlus && (ta == Type::kNull || tb == Type::kNull)) {
    p.sql = "NULL";
    p.type = Type::kNull;
    return p;
  }
  if (e.op == Op::kPlus && ta == Type::kText && tb == Type::kText) {
    p.type = Type::kText;
    p.sql = "(" + left.sql + " || " + right.sql + ")";
    return p;
  }
  const auto both = [&](Type as, const char* op) {
    p.type = as;
    p.sql = "(" + NumberSql(left, as) + op + NumberSql(right, as) + ")";
  };
  const auto whole = [](Type t) { return t == Type::kInteger || t == Type::kBoolean || t == Type::kNull; };
  const auto exact = [&](const Printed& v) {
    return whole(v.type) || v.type == Type::kDecimal || !v.exact.empty();
  };
  switch (e.op) {
    case Op::kPlus:
    case Op::kMinus:
    case Op::kTimes: {
      const char* op = e.op == Op::kPlus ? " + " : e.op == Op::kMinus ? " - " : " * ";
      const bool decides =
          ta == Type::kDecimal || tb == Type::kDecimal || !left.exact.empty() || !right.exact.empty();
      both(whole(ta) && whole(tb)                   ? Type::kInteger
           : exact(left) && exact(right) && decides ? Type::kDecimal
                                                    : Type::kReal,
           op);
      const bool difference = e.op == Op::kMinus && ta == Type::kDate && tb == Type::kDate;
      if ((ta == Type::kDate || tb == Type::kDate) && !difference && e.op != Op::kTimes) {
        p.sql = dialect_.DaysToDate(p.sql);
        p.type = Type::kDate;
      }
      break;
    }
    case Op::kDivide:
      both(Type::kReal, " / ");
      break;
    case Op::kIntDivide:
      both(Type::kInteger, " / ");
      break;
    case Op::kMod:
      both(Type::kInteger, " % ");
      break;
    default:
      p.type = Type::kReal;
      p.sql = *dialect_.Function("power", {NumberSql(left, Type::kReal), NumberSql(right, Type::kReal)},
                                 &helpers_);
      break;
  }
  return p;
}

ServerPrinter::Printed ServerPrinter::Print(const Expr& e, Scope* scope) {
  Printed p;
  switch (e.kind) {
    case ExprKind::kNull:
      p.sql = "NULL";
      p.type = Type::kNull;
      return p;
    case ExprKind::kBoolean:
      return Truth(e.number != 0 ? "TRUE" : "FALSE");
    case ExprKind::kConstant:
      return PrintConstant(e);
    case ExprKind::kParameter:
      return PrintParameter(e);
    case ExprKind::kColumn:
      return PrintColumn(e, scope);
    case ExprKind::kNegate: {
      const Printed value = Print(*e.args[0], scope);
      p.type = value.truth || value.type == Type::kInteger ? Type::kInteger
               : value.type == Type::kDecimal              ? Type::kDecimal
                                                           : Type::kReal;
      if (!value.exact.empty()) p.exact = "(-" + value.exact + ")";
      p.constant = value.constant;
      p.sql = "(-" + (value.constant && value.type == Type::kInteger ? value.sql : NumberSql(value, p.type)) +
              ")";
      return p;
    }
    case ExprKind::kNot:
      return Truth("(NOT " + Condition(*e.args[0], scope) + ")");
    case ExprKind::kArithmetic:
      return PrintArithmetic(e, scope);
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
      const Expr& pattern = *e.args[1];
      if (pattern.kind != ExprKind::kConstant || pattern.value.kind() != ValueKind::kText) {
        throw Error(ErrorKind::kNotSupported, "On a server the pattern of LIKE must be a constant text.");
      }
      const auto text = dialect_.Function("ucase", {TextSql(Print(*e.args[0], scope))}, &helpers_);
      const std::string like = dialect_.Like(*text, jet::UpperText(pattern.value.bytes()));
      return Truth(e.negated ? "(NOT " + like + ")" : like);
    }
    case ExprKind::kFunction:
      return PrintFunction(e, scope);
    case ExprKind::kExists:
      return Truth("EXISTS " + Subquery(*e.select, scope, nullptr));
    case ExprKind::kScalar:
      p.sql = Subquery(*e.select, scope, &p.type);
      p.truth = p.type == Type::kBoolean;
      return p;
  }
  return p;
}

// ---- functions

ServerPrinter::Printed ServerPrinter::PrintAggregate(const Expr& e, const std::string& name, Scope* scope) {
  scope->aggregates = true;
  Printed p;
  p.type = Type::kInteger;
  if (name == "count" && e.star) {
    p.sql = "count(*)";
    return p;
  }
  if (e.args.size() != 1)
    jet::sql::ThrowSyntax(text_, e.offset, "The function " + e.name + " takes one value,");
  const Printed value = Print(*e.args[0], scope);
  scope->aggregates = true;
  if (name == "count") {
    p.sql = "count(" + ValueSql(value) + ")";
    return p;
  }
  const bool keeps = name == "min" || name == "max" || name == "first" || name == "last";
  if (keeps) {
    const std::string sql = ValueSql(value);
    p.type = value.truth ? Type::kInteger : value.type;
    p.sql = name == "min" || name == "max" ? name + "(" + sql + ")"
                                           : dialect_.FirstOf(sql, scope->row_order, name == "last");
    return p;
  }
  p.type = value.type == Type::kDecimal && (name == "sum" || name == "avg") ? Type::kDecimal : Type::kReal;
  const auto function = dialect_.Function(name, {NumberSql(value, p.type)}, &helpers_);
  p.sql = function.value_or(name + "(" + NumberSql(value, p.type) + ")");
  return p;
}

ServerPrinter::Printed ServerPrinter::PrintConditional(const Expr& e, const std::string& name, Scope* scope) {
  const std::size_t n = e.args.size();
  const auto require = [&](bool holds) {
    if (!holds) jet::sql::ThrowSyntax(text_, e.offset, "The function " + e.name + " takes other values,");
  };
  if (name == "isnull") {
    require(n == 1);
    return Truth("(" + Print(*e.args[0], scope).sql + " IS NULL)");
  }
  std::vector<std::string> heads;
  std::vector<Printed> values;
  std::string tail = " END)";
  if (name == "nz") {
    require(n == 1 || n == 2);
    values.push_back(Print(*e.args[0], scope));
    if (n == 2) {
      values.push_back(Print(*e.args[1], scope));
    } else {
      Printed nothing;
      const bool number = IsNumeric(values[0].type);
      nothing.sql = number ? "0" : "''";
      nothing.type = number ? Type::kInteger : Type::kText;
      values.push_back(std::move(nothing));
    }
    heads = {"COALESCE(", ", "};
    tail = ")";
  } else if (name == "iif") {
    require(n == 3);
    heads = {"(CASE WHEN " + Condition(*e.args[0], scope) + " THEN ", " ELSE "};
    for (std::size_t i = 1; i < 3; ++i) values.push_back(Print(*e.args[i], scope));
  } else if (name == "switch") {
    require(n >= 2 && n % 2 == 0);
    for (std::size_t i = 0; i < n; i += 2) {
      heads.push_back((i == 0 ? "(CASE WHEN " : " WHEN ") + Condition(*e.args[i], scope) + " THEN ");
      values.push_back(Print(*e.args[i + 1], scope));
    }
  } else {
    require(n >= 2);
    const Printed number = Print(*e.args[0], scope);
    const std::string head =
        "(CASE " + *dialect_.Function("fix", {NumberSql(number, Type::kReal)}, &helpers_);
    for (std::size_t i = 1; i < n; ++i) {
      heads.push_back((i == 1 ? head : "") + fmt::format(" WHEN {} THEN ", i));
      values.push_back(Print(*e.args[i], scope));
    }
  }
  Printed p;
  p.type = Unified(&values);
  p.truth = p.type == Type::kBoolean;
  for (std::size_t i = 0; i < values.size(); ++i) p.sql += heads[i] + values[i].sql;
  p.sql += tail;
  return p;
}

ServerPrinter::Printed ServerPrinter::PrintRound(const Expr& e, Scope* scope) {
  if (e.args.empty() || e.args.size() > 2)
    jet::sql::ThrowSyntax(text_, e.offset, "The function Round takes another number of values,");
  int digits = 0;
  if (e.args.size() > 1) {
    const Expr& d = *e.args[1];
    if (d.kind != ExprKind::kConstant || d.value.kind() != ValueKind::kInteger)
      throw Error(ErrorKind::kNotSupported, "On a server the decimals of Round must be a constant.");
    if (d.value.integer() > 300)
      throw Error(ErrorKind::kFailed, "Round cannot round to that number of decimals.");
    digits = static_cast<int>(d.value.integer());
  }
  Printed value = Print(*e.args[0], scope);
  if (value.type == Type::kInteger) return value;
  Printed p;
  p.type = Type::kReal;
  p.sql = dialect_.Round(NumberSql(value, Type::kReal), digits);
  return p;
}

namespace {

struct FunctionOf {
  const char* name;
  const char*
      arguments;  // t text, n whole number, r real number, d date; behind "|" those that may be left out
  jet::sql::Type type;  // kUnknown: that of the argument, which is a number
};

constexpr FunctionOf kFunctions[] = {
    {"left", "tn", jet::sql::Type::kText},       {"right", "tn", jet::sql::Type::kText},
    {"mid", "tn|n", jet::sql::Type::kText},      {"len", "t", jet::sql::Type::kInteger},
    {"ucase", "t", jet::sql::Type::kText},       {"lcase", "t", jet::sql::Type::kText},
    {"trim", "t", jet::sql::Type::kText},        {"ltrim", "t", jet::sql::Type::kText},
    {"rtrim", "t", jet::sql::Type::kText},       {"instr", "tt", jet::sql::Type::kInteger},
    {"chr", "n", jet::sql::Type::kText},         {"chrw", "n", jet::sql::Type::kText},
    {"asc", "t", jet::sql::Type::kInteger},      {"ascw", "t", jet::sql::Type::kInteger},
    {"string", "nt", jet::sql::Type::kText},     {"space", "n", jet::sql::Type::kText},
    {"replace", "ttt", jet::sql::Type::kText},   {"strreverse", "t", jet::sql::Type::kText},
    {"cstr", "t", jet::sql::Type::kText},        {"abs", "r", jet::sql::Type::kUnknown},
    {"int", "r", jet::sql::Type::kUnknown},      {"fix", "r", jet::sql::Type::kUnknown},
    {"sgn", "r", jet::sql::Type::kInteger},      {"sqr", "r", jet::sql::Type::kReal},
    {"exp", "r", jet::sql::Type::kReal},         {"log", "r", jet::sql::Type::kReal},
    {"sin", "r", jet::sql::Type::kReal},         {"cos", "r", jet::sql::Type::kReal},
    {"tan", "r", jet::sql::Type::kReal},         {"atn", "r", jet::sql::Type::kReal},
    {"cdbl", "r", jet::sql::Type::kReal},        {"csng", "r", jet::sql::Type::kReal},
    {"cint", "r", jet::sql::Type::kInteger},     {"clng", "r", jet::sql::Type::kInteger},
    {"now", "", jet::sql::Type::kDate},          {"date", "", jet::sql::Type::kDate},
    {"time", "", jet::sql::Type::kDate},         {"year", "d", jet::sql::Type::kInteger},
    {"month", "d", jet::sql::Type::kInteger},    {"day", "d", jet::sql::Type::kInteger},
    {"hour", "d", jet::sql::Type::kInteger},     {"minute", "d", jet::sql::Type::kInteger},
    {"second", "d", jet::sql::Type::kInteger},   {"weekday", "d", jet::sql::Type::kInteger},
    {"dateserial", "nnn", jet::sql::Type::kDate}};

}  // namespace

ServerPrinter::Printed ServerPrinter::PrintFunction(const Expr& e, Scope* scope) {
  std::string name = jet::LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  if (jet::sql::IsAggregate(e)) return PrintAggregate(e, name, scope);
  for (const char* conditional : {"iif", "switch", "choose", "nz", "isnull"}) {
    if (name == conditional) return PrintConditional(e, name, scope);
  }
  if (name == "round") return PrintRound(e, scope);
  const auto f = std::ranges::find_if(kFunctions, [&](const FunctionOf& of) { return of.name == name; });
  if (f == std::end(kFunctions) || e.star) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("The function '{}' is not supported on a server.", e.name));
  }
  Printed p;
  p.type = f->type;
  std::vector<std::string> arguments;
  bool optional = false;
  std::size_t next = 0;
  for (const char* kind = f->arguments; *kind != 0; ++kind) {
    if (*kind == '|') {
      optional = true;
      continue;
    }
    if (next == e.args.size()) {
      if (optional) break;
      jet::sql::ThrowSyntax(text_, e.offset, "The function " + e.name + " takes another number of values,");
    }
    const Printed value = Print(*e.args[next++], scope);
    if (f->type == Type::kUnknown) {
      // Whole numbers and decimals stay what they are.
      p.type = value.truth || value.type == Type::kInteger ? Type::kInteger
               : value.type == Type::kDecimal              ? Type::kDecimal
                                                           : Type::kReal;
      arguments.push_back(NumberSql(value, p.type));
      if (p.type == Type::kInteger && name != "abs") {
        p.sql = arguments.back();
        return p;
      }
      continue;
    }
    switch (*kind) {
      case 't':
        arguments.push_back(TextSql(value));
        break;
      case 'n':
        arguments.push_back(NumberSql(value, Type::kInteger));
        break;
      case 'r':
        arguments.push_back(NumberSql(value, Type::kReal));
        break;
      default:
        arguments.push_back(value.type == Type::kDate ? value.sql
                                                      : dialect_.DaysToDate(NumberSql(value, Type::kReal)));
        break;
    }
  }
  if (next < e.args.size()) {
    jet::sql::ThrowSyntax(text_, e.offset, "The function " + e.name + " takes another number of values,");
  }
  const auto sql = dialect_.Function(name, arguments, &helpers_);
  if (!sql) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("The function '{}' is not supported on a server.", e.name));
  }
  p.sql = *sql;
  return p;
}

}  // namespace vnt::db
