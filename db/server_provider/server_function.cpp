// Expressions: functions.
#include <fmt/format.h>

#include <algorithm>

#include "access/base/error.h"
#include "access/sql/lexer.h"
#include "db/server_provider/server_printer.h"

namespace vnt::db {

using jet::Error;
using jet::ErrorKind;
using jet::ValueKind;
using jet::sql::ExprKind;
using jet::sql::Printer;
using jet::sql::ThrowSyntax;

Printer::Printed ServerPrinter::Aggregate(const std::string& name, const Printed& operand,
                                          const Scope& scope) {
  Printed p;
  p.type = Type::kInteger;
  if (name == "count") {
    p.sql = "count(" + operand.sql + ")";
    return p;
  }
  if (name == "min" || name == "max" || name == "first" || name == "last") {
    if (operand.type != Type::kBoolean) p.type = operand.type;
    p.sql = name == "min" || name == "max" ? name + "(" + operand.sql + ")"
                                           : dialect_.FirstOf(operand.sql, scope.row_order, name == "last");
    return p;
  }
  const bool stays = operand.type == Type::kDecimal && (name == "sum" || name == "avg");
  p.type = stays ? Type::kDecimal : Type::kReal;
  const std::string number = NumberSql(operand, p.type);
  p.sql = dialect_.Function(name, {number}, &helpers_).value_or(name + "(" + number + ")");
  return p;
}

std::string ServerPrinter::ChoiceSql(const Printed& operand) {
  return *dialect_.Function("fix", {NumberSql(operand, Type::kReal)}, &helpers_);
}

Printer::Printed ServerPrinter::PrintRound(const Expr& e, Scope* scope) {
  if (e.args.empty() || e.args.size() > 2)
    ThrowSyntax(text_, e.offset, "The function Round takes another number of values,");
  int digits = 0;
  if (e.args.size() > 1) {
    const Expr& d = *e.args[1];
    if (d.kind != ExprKind::kConstant || d.value.kind() != ValueKind::kInteger)
      throw Error(ErrorKind::kNotSupported, "On a server the decimals of Round must be a constant.");
    if (d.value.integer() > 300)
      throw Error(ErrorKind::kFailed, "Round cannot round to that number of decimals.");
    digits = static_cast<int>(d.value.integer());
  }
  Printed value = PrintOperand(*e.args[0], scope);
  if (value.type == Type::kInteger) return value;
  Printed p;
  p.type = Type::kReal;
  p.sql = dialect_.Round(NumberSql(value, Type::kReal), digits);
  return p;
}

namespace {

using jet::sql::Type;

struct FunctionOf {
  const char* name;
  // t text, n whole number, r real number, d date; behind "|" those that may be left out.
  std::string_view arguments;
  Type type;  // kUnknown: that of the argument, which is a number
};

constexpr FunctionOf kFunctions[] = {
    {"left", "tn", Type::kText},     {"right", "tn", Type::kText},     {"mid", "tn|n", Type::kText},
    {"len", "t", Type::kInteger},    {"ucase", "t", Type::kText},      {"lcase", "t", Type::kText},
    {"trim", "t", Type::kText},      {"ltrim", "t", Type::kText},      {"rtrim", "t", Type::kText},
    {"instr", "tt", Type::kInteger}, {"chr", "n", Type::kText},        {"chrw", "n", Type::kText},
    {"asc", "t", Type::kInteger},    {"ascw", "t", Type::kInteger},    {"string", "nt", Type::kText},
    {"space", "n", Type::kText},     {"replace", "ttt", Type::kText},  {"strreverse", "t", Type::kText},
    {"cstr", "t", Type::kText},      {"abs", "r", Type::kUnknown},     {"int", "r", Type::kUnknown},
    {"fix", "r", Type::kUnknown},    {"sgn", "r", Type::kInteger},     {"sqr", "r", Type::kReal},
    {"exp", "r", Type::kReal},       {"log", "r", Type::kReal},        {"sin", "r", Type::kReal},
    {"cos", "r", Type::kReal},       {"tan", "r", Type::kReal},        {"atn", "r", Type::kReal},
    {"cdbl", "r", Type::kReal},      {"csng", "r", Type::kReal},       {"cint", "r", Type::kInteger},
    {"clng", "r", Type::kInteger},   {"now", "", Type::kDate},         {"date", "", Type::kDate},
    {"time", "", Type::kDate},       {"year", "d", Type::kInteger},    {"month", "d", Type::kInteger},
    {"day", "d", Type::kInteger},    {"hour", "d", Type::kInteger},    {"minute", "d", Type::kInteger},
    {"second", "d", Type::kInteger}, {"weekday", "d", Type::kInteger}, {"dateserial", "nnn", Type::kDate}};

}  // namespace

std::string ServerPrinter::ArgumentSql(char kind, const Printed& value) const {
  switch (kind) {
    case 't':
      return TextSql(value);
    case 'n':
      return NumberSql(value, Type::kInteger);
    case 'r':
      return NumberSql(value, Type::kReal);
    default:
      return DateSql(value);
  }
}

Printer::Printed ServerPrinter::Call(const Expr& e, const std::string& name, Scope* scope) {
  if (name == "round") return PrintRound(e, scope);
  const auto unsupported = [&] {
    return Error(ErrorKind::kNotSupported,
                 fmt::format("The function '{}' is not supported on a server.", e.name));
  };
  const auto f = std::ranges::find_if(kFunctions, [&](const FunctionOf& of) { return of.name == name; });
  if (f == std::end(kFunctions) || e.star) throw unsupported();
  std::string kinds(f->arguments);
  const std::size_t least = std::min(kinds.find('|'), kinds.size());
  std::erase(kinds, '|');
  if (e.args.size() < least || e.args.size() > kinds.size())
    ThrowSyntax(text_, e.offset, "The function " + e.name + " takes another number of values,");
  Printed p;
  p.type = f->type;
  std::vector<std::string> arguments;
  for (std::size_t i = 0; i < e.args.size(); ++i) {
    const Printed value = PrintOperand(*e.args[i], scope);
    if (f->type != Type::kUnknown) {
      arguments.push_back(ArgumentSql(kinds[i], value));
      continue;
    }
    // Whole numbers and decimals stay what they are.
    p.type = value.type == Type::kBoolean || value.type == Type::kInteger ? Type::kInteger
             : value.type == Type::kDecimal                               ? Type::kDecimal
                                                                          : Type::kReal;
    arguments.push_back(NumberSql(value, p.type));
    if (p.type == Type::kInteger && name != "abs") {
      p.sql = arguments.back();
      return p;
    }
  }
  const auto sql = dialect_.Function(name, arguments, &helpers_);
  if (!sql) throw unsupported();
  p.sql = *sql;
  return p;
}

}  // namespace vnt::db
