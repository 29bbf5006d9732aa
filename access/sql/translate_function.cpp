// Functions: those of one row (functions.h), aggregates, and those that give one of their values.

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/sql/functions.h"
#include "access/sql/lexer.h"
#include "access/sql/translate.h"

namespace jet::sql {

Printer::Printed Translator::Aggregate(const std::string& name, const Printed& value, const Scope& scope) {
  const Type t = value.type;
  if (AreDecimals({&value}) && (name == "sum" || name == "avg" || name == "min" || name == "max")) {
    if (name == "min" || name == "max")
      return MakeDecimal("x_unkey(" + name + "(" + KeySql(value) + "))", value.currency);
    const std::string exact = "x_d" + name + "(" + ExactSql(value) + ")";
    return MakeDecimal(name == "avg" && value.currency ? "x_dround(" + exact + ", 4)" : exact,
                       value.currency);
  }
  Printed p;
  const bool keeps = name == "first" || name == "last";
  const std::string arg = keeps && t == Type::kDecimal ? ExactSql(value) : value.sql;
  const bool own = name == "first" || name == "last" || name == "stdev" || name == "stdevp" ||
                   name == "var" || name == "varp";
  p.sql = (own ? "x_" + name : name) + "(" + arg;
  // Which row is the first or last is told by its place in the tables, not by when the plan meets it.
  if (keeps) {
    for (const std::string& id : scope.row_order) p.sql += ", " + id;
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

Printer::Printed Translator::OneOf(const std::vector<std::string>& heads, std::vector<Printed> values,
                                   const std::string& tail) {
  Printed p;
  p.type = Type::kNull;
  bool exact = true, decimal = false, currency = true;
  for (Printed& value : values) {
    value = AsOperand(std::move(value));
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

std::string Translator::ChoiceSql(const Printed& operand) {
  return "CAST(x_fix(" + operand.sql + ") AS INTEGER)";
}

Printer::Printed Translator::Call(const Expr& e, const std::string& name, Scope* scope) {
  if (name == "typename") return PrintTypeName(e, scope);
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
Printer::Printed Translator::PrintTypeName(const Expr& e, Scope* scope) {
  if (e.args.size() != 1) ThrowSyntax(text_, e.offset, "The function TypeName takes one value,");
  const Printed value = PrintOperand(*e.args[0], scope);
  std::string name;
  if (value.table && value.type != Type::kUnknown) {
    switch (value.table->TypeOfColumn(value.column)) {
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
