// Printing of functions: those of one row (functions.h), aggregates, and those that compute only the value
// they give.

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/functions.h"
#include "access/sql/lexer.h"
#include "access/sql/translate.h"
#include "access/sql/translate_support.h"

namespace jet::sql {
Type Common(Type a, Type b) {
  if (a == b || b == Type::kNull) return a;
  if (a == Type::kNull) return b;
  if (IsNumeric(a) && IsNumeric(b)) return a == Type::kDate || b == Type::kDate ? Type::kDate : Type::kReal;
  return Type::kUnknown;
}

bool IsAggregate(const Expr& e) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  for (const char* aggregate :
       {"count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"}) {
    if (name == aggregate) return true;
  }
  return false;
}

Translator::Printed Translator::PrintAggregate(const Expr& e, const std::string& name, Scope* scope) {
  Printed p;
  if (name == "count" && e.star) {
    scope->aggregates = true;
    p.sql = "count(*)";
    p.type = Type::kInteger;
    return p;
  }
  if (e.args.size() != 1) ThrowSyntax(text_, e.offset, "The function " + e.name + " takes one value,");
  const Printed value = PrintOperand(*e.args[0], scope);
  const Type t = value.type;
  scope->aggregates = true;
  if (AreDecimals({&value}) && (name == "sum" || name == "avg" || name == "min" || name == "max")) {
    if (name == "min" || name == "max")
      return MakeDecimal("x_unkey(" + name + "(" + KeySql(value) + "))", value.currency);
    const std::string exact = "x_d" + name + "(" + ExactSql(value) + ")";
    return MakeDecimal(name == "avg" && value.currency ? "x_dround(" + exact + ", 4)" : exact,
                       value.currency);
  }
  const bool keeps = name == "first" || name == "last";
  const std::string arg = keeps && t == Type::kDecimal ? ExactSql(value) : value.sql;
  const bool own = name == "first" || name == "last" || name == "stdev" || name == "stdevp" ||
                   name == "var" || name == "varp";
  p.sql = (own ? "x_" + name : name) + "(" + arg;
  // Which row is the first or last is told by its place in the tables, not by when the plan meets it.
  if (keeps) {
    for (const std::string& id : scope->row_ids) p.sql += ", " + id;
  }
  p.sql += ")";
  if (name == "count") {
    p.type = Type::kInteger;
  } else if (keeps && t == Type::kDecimal) {
    return MakeDecimal(p.sql, value.currency);
  } else if (name == "min" || name == "max" || keeps) {
    p.type = t;
  } else {
    p.type = Type::kReal;
  }
  return p;
}

// "head value head value ... tail", which gives one of the values.
Translator::Printed Translator::OneOf(const std::vector<std::string>& heads,
                                      const std::vector<Printed>& values, const std::string& tail) {
  Printed p;
  p.type = Type::kNull;
  bool exact = true, decimal = false, currency = true;
  for (const Printed& value : values) {
    p.type = Common(p.type, value.type);
    exact = exact && IsExact(value);
    decimal = decimal || value.type == Type::kDecimal;
    currency = currency && (value.currency || value.type == Type::kNull);
  }
  const auto join = [&](bool exactly) {
    std::string sql;
    for (std::size_t i = 0; i < values.size(); ++i)
      sql += heads[i] + (exactly ? ExactSql(values[i]) : values[i].sql);
    return sql + tail;
  };
  if (exact && decimal) return MakeDecimal(join(true), currency);
  p.sql = join(false);
  return p;
}

// Iif, Switch, Choose, Nz and IsNull are expressions to SQLite: only the chosen branch is computed.
Translator::Printed Translator::PrintConditional(const Expr& e, const std::string& name, Scope* scope) {
  Printed p;
  const std::size_t n = e.args.size();
  if (name == "isnull") {
    if (n != 1) ThrowSyntax(text_, e.offset, "The function IsNull takes one value,");
    p.sql = "(" + PrintValue(*e.args[0], scope) + " IS NULL)";
    p.type = Type::kBoolean;
    p.truth = true;
    return p;
  }
  // What stands before each of the values it may give, and behind the last.
  std::vector<std::string> heads;
  std::vector<Printed> values;
  std::string tail = " END)";
  if (name == "nz") {
    if (n < 1 || n > 2) ThrowSyntax(text_, e.offset, "The function Nz takes one or two values,");
    values.push_back(PrintOperand(*e.args[0], scope));
    if (n == 2) {
      values.push_back(PrintOperand(*e.args[1], scope));
    } else {
      Printed nothing;
      nothing.sql = IsNumeric(values[0].type) ? "0" : "''";
      nothing.type = Type::kNull;
      values.push_back(std::move(nothing));
    }
    heads = {"ifnull(", ", "};
    tail = ")";
  } else if (name == "iif") {
    if (n != 3) ThrowSyntax(text_, e.offset, "The function IIf takes three values,");
    heads = {"(CASE WHEN " + PrintCondition(*e.args[0], scope) + " THEN ", " ELSE "};
    for (std::size_t i = 1; i < 3; ++i) values.push_back(PrintOperand(*e.args[i], scope));
  } else if (n < 2 || (name == "switch" && n % 2 != 0)) {
    ThrowSyntax(text_, e.offset, "The function " + e.name + " has too few values");
  } else if (name == "switch") {
    for (std::size_t i = 0; i < n; i += 2) {
      heads.push_back((i == 0 ? "(CASE WHEN " : " WHEN ") + PrintCondition(*e.args[i], scope) + " THEN ");
      values.push_back(PrintOperand(*e.args[i + 1], scope));
    }
  } else {
    const std::string number = "(CASE CAST(x_fix(" + PrintValue(*e.args[0], scope) + ") AS INTEGER)";
    for (std::size_t i = 1; i < n; ++i) {
      heads.push_back((i == 1 ? number : "") + fmt::format(" WHEN {} THEN ", i));
      values.push_back(PrintOperand(*e.args[i], scope));
    }
  }
  return OneOf(heads, values, tail);
}

Translator::Printed Translator::PrintFunction(const Expr& e, Scope* scope) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  if (IsAggregate(e)) return PrintAggregate(e, name, scope);
  if (name == "typename") return PrintTypeName(e, scope);
  for (const char* conditional : {"iif", "switch", "choose", "nz", "isnull"}) {
    if (name == conditional) return PrintConditional(e, name, scope);
  }
  const Function* f = FindFunction(name);
  if (f == nullptr || e.star) {
    throw Error(ErrorKind::kInvalid, fmt::format("There is no function '{}'.", e.name), Error::kNoPlace,
                e.offset);
  }
  const int n = e.args.size();
  if (n < f->least || n > f->most) {
    ThrowSyntax(text_, e.offset, fmt::format("The function {} takes another number of values,", e.name));
  }
  Printed p;
  p.type = f->type;
  std::vector<Printed> values;
  for (const ExprPtr& arg : e.args) values.push_back(PrintOperand(*arg, scope));
  if (f->type == Type::kDecimal) return MakeDecimal(f->SqlName() + "(" + ExactSql(values[0]) + ")", true);
  if (f->Is(kHasExact) && AreDecimals({&values[0]})) {
    return MakeDecimal("x_d" + name + "(" + ExactSql(values[0]) + (n > 1 ? ", " + values[1].sql : "") + ")",
                       values[0].currency);
  }
  p.sql = f->SqlName() + "(";
  if (f->Is(kTellsDates)) p.sql += values[0].type == Type::kDate ? "1, " : "0, ";
  if (f->type == Type::kUnknown) {
    p.type = values[0].type == Type::kDate && !f->Is(kKeepsDates) ? Type::kReal : values[0].type;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    p.sql += (i == 0 ? "" : ", ") + (f->Is(kTakesTexts) ? TextSql(values[i]) : values[i].sql);
  }
  p.sql += ")";
  return p;
}

// What a value is, by its column where it has one.
Translator::Printed Translator::PrintTypeName(const Expr& e, Scope* scope) {
  if (e.args.size() != 1) ThrowSyntax(text_, e.offset, "The function TypeName takes one value,");
  const Printed value = PrintOperand(*e.args[0], scope);
  std::string name;
  if (value.table && value.column >= 0 && value.type != Type::kUnknown) {
    switch (value.table->def().columns[value.column].type) {
      case ColumnType::kByte:
        name = "Byte";
        break;
      case ColumnType::kInteger:
        name = "Integer";
        break;
      case ColumnType::kSingle:
        name = "Single";
        break;
      default:
        break;
    }
  }
  if (name.empty()) {
    const bool decimal = value.type == Type::kReal && value.exact.starts_with('\'');
    name = value.type == Type::kBoolean                     ? "Boolean"
           : value.type == Type::kInteger                   ? "Long"
           : value.type == Type::kDecimal && value.currency ? "Currency"
           : value.type == Type::kDecimal || decimal        ? "Decimal"
           : value.type == Type::kReal                      ? "Double"
           : value.type == Type::kDate                      ? "Date"
           : value.type == Type::kText                      ? "String"
           : value.type == Type::kBlob                      ? "Byte()"
                                                            : "";
  }
  Printed p;
  p.type = Type::kText;
  p.sql = "x_typename(" + value.sql + ", '" + name + "')";
  return p;
}

}  // namespace jet::sql
