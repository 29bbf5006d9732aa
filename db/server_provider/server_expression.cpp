// Expressions: values and operators.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "db/server_provider/server_printer.h"

namespace vnt::db {

using jet::Error;
using jet::ErrorKind;
using jet::ValueKind;
using jet::sql::Common;
using jet::sql::ExprKind;
using jet::sql::IsNumeric;
using jet::sql::Op;
using jet::sql::Printer;

namespace {

bool IsWhole(jet::sql::Type t) {
  return t == jet::sql::Type::kInteger || t == jet::sql::Type::kBoolean || t == jet::sql::Type::kNull;
}

}  // namespace

// ---- values

void ServerPrinter::PrintColumn(const Source& source, int column, Printed* p) const {
  p->sql = source.table ? dialect_.Read(source.sql_alias + "." + dialect_.Name(p->name),
                                        source.table->TypeOfColumn(column))
                        : fmt::format("{}.c{}", source.sql_alias, column);
  p->truth = p->type == Type::kBoolean;
}

// A text that is to be a number must be one, too.
std::string ServerPrinter::NumberSql(const Printed& p, Type as) const {
  const std::string sql = p.type == Type::kDate ? dialect_.DateToDays(p.sql) : ValueSql(p);
  if (as == Type::kInteger) return dialect_.ToWhole(IsWhole(p.type) ? sql : dialect_.ToReal(sql));
  if (as == Type::kDecimal) return p.exact.empty() ? dialect_.ToExact(sql) : p.exact;
  return dialect_.ToReal(sql);
}

std::string ServerPrinter::TextSql(const Printed& p) const {
  if (p.type == Type::kText || p.type == Type::kNull) return p.sql;
  if (p.type == Type::kDate || (p.table && p.table->TypeOfColumn(p.column) == jet::ColumnType::kSingle)) {
    throw Error(ErrorKind::kNotSupported,
                "On a server a date or a number of single precision cannot be joined to a text.");
  }
  ServerColumn text;
  text.type = jet::ColumnType::kMemo;
  return dialect_.Cast(p.type == Type::kReal ? dialect_.ToExact(p.sql) : ValueSql(p), text);
}

std::string ServerPrinter::DateSql(const Printed& p) const {
  return p.type == Type::kDate ? p.sql : dialect_.DaysToDate(NumberSql(p, Type::kReal));
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
      return p.type == Type::kText ? dialect_.Cast(p.sql, column) : DateSql(p);
    case Type::kText:
      return p.constant && p.type == Type::kText ? p.sql : dialect_.Cast(TextSql(p), column);
    default:
      return p.sql;
  }
}

Printer::Printed ServerPrinter::PrintParameter(const Expr& e) {
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

Printer::Printed ServerPrinter::AsCondition(Printed p) const {
  // Each operator keeps its parentheses: a server's parser does not count them.
  p.chain = Op::kNone;
  if (p.truth) return p;
  if (p.type == Type::kNull) return Truth("(NULL IS NOT NULL)");
  return Truth("(" + NumberSql(p, Type::kReal) + " <> 0)");
}

Printer::Printed ServerPrinter::Scalar(const std::string& sql, Type type, bool) const {
  Printed p;
  p.sql = sql;
  p.type = type;
  p.truth = type == Type::kBoolean;
  return p;
}

ServerPrinter::Type ServerPrinter::Unified(std::vector<Printed>* values) const {
  Type type = Type::kNull;
  bool decimals = false, reals = false, wholes = true;
  for (const Printed& v : *values) {
    type = Common(type, v.type);
    decimals = decimals || v.type == Type::kDecimal;
    reals = reals || (v.type == Type::kReal && v.exact.empty());
    wholes = wholes && IsWhole(v.type);
  }
  if (type == Type::kReal) type = wholes ? Type::kInteger : decimals && !reals ? Type::kDecimal : Type::kReal;
  if (type == Type::kUnknown) {
    throw Error(ErrorKind::kNotSupported,
                "On a server a value cannot be a text in one row and a number in another.");
  }
  for (Printed& v : *values) {
    if (v.type == type || v.type == Type::kNull) continue;
    v.sql = type == Type::kDate ? DateSql(v) : NumberSql(v, type);
    v.truth = false;
    v.type = type;
  }
  return type;
}

Printer::Printed ServerPrinter::OneOf(const std::vector<std::string>& heads, std::vector<Printed> values,
                                      const std::string& tail) {
  Printed p;
  p.type = Unified(&values);
  p.truth = p.type == Type::kBoolean;
  for (std::size_t i = 0; i < values.size(); ++i) p.sql += heads[i] + values[i].sql;
  p.sql += tail;
  return p;
}

// ---- operators

// A decimal beside a constant is compared exactly; the server itself compares numbers of different types.
std::string ServerPrinter::CompareSql(Op op, const Printed& a, const Printed& b) {
  const auto side = [&](const Printed& p, const Printed& other) {
    if (!p.exact.empty() && other.type == Type::kDecimal) return p.exact;
    const bool is_number = IsNumeric(other.type) && other.type != Type::kDate;
    return p.type == Type::kDate && is_number ? dialect_.DateToDays(p.sql) : p.sql;
  };
  return "(" + side(a, b) + jet::sql::CompareText(op) + side(b, a) + ")";
}

void ServerPrinter::CompareExactly(std::vector<Printed>* operands) const {
  if (operands->front().type != Type::kDecimal) return;
  for (Printed& p : *operands) {
    if (!p.exact.empty()) p.sql = p.exact;
  }
}

std::string ServerPrinter::BetweenSql(const std::vector<Printed>& operands, bool negated) const {
  return dialect_.Between(operands[0].sql, operands[1].sql, operands[2].sql, negated);
}

std::string ServerPrinter::LikeSql(const Printed& text, const Expr& pattern, Scope*) {
  if (pattern.kind != ExprKind::kConstant || pattern.value.kind() != ValueKind::kText)
    throw Error(ErrorKind::kNotSupported, "On a server the pattern of LIKE must be a constant text.");
  const auto capitals = dialect_.Function("ucase", {TextSql(text)}, &helpers_);
  return dialect_.Like(*capitals, jet::UpperText(pattern.value.bytes()));
}

Printer::Printed ServerPrinter::Negated(const Printed& operand) {
  Printed p;
  p.type = operand.type == Type::kBoolean || operand.type == Type::kInteger ? Type::kInteger
           : operand.type == Type::kDecimal                                 ? Type::kDecimal
                                                                            : Type::kReal;
  if (!operand.exact.empty()) p.exact = "(-" + operand.exact + ")";
  p.constant = operand.constant;
  const bool stays = operand.constant && operand.type == Type::kInteger;
  p.sql = "(-" + (stays ? operand.sql : NumberSql(operand, p.type)) + ")";
  return p;
}

Printer::Printed ServerPrinter::Concatenated(const Printed& left, const Printed& right) {
  Printed p;
  p.type = Type::kText;
  p.sql = "(COALESCE(" + TextSql(left) + ", '') || COALESCE(" + TextSql(right) + ", ''))";
  return p;
}

Printer::Printed ServerPrinter::Arithmetic(const Expr& e, const Printed& left, const Printed& right) {
  const Type ta = left.type, tb = right.type;
  Printed p;
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
  const auto exact = [&](const Printed& v) {
    return IsWhole(v.type) || v.type == Type::kDecimal || !v.exact.empty();
  };
  switch (e.op) {
    case Op::kPlus:
    case Op::kMinus:
    case Op::kTimes: {
      const char* op = e.op == Op::kPlus ? " + " : e.op == Op::kMinus ? " - " : " * ";
      const bool decides =
          ta == Type::kDecimal || tb == Type::kDecimal || !left.exact.empty() || !right.exact.empty();
      both(IsWhole(ta) && IsWhole(tb)               ? Type::kInteger
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

}  // namespace vnt::db
