// Values and operators. Operators stay SQLite's own wherever both agree, so that its planner sees them; the
// others become functions (functions.h).

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "access/sql/functions.h"
#include "access/sql/translate.h"

namespace jet::sql {

// ---- exact numbers

bool Translator::IsExact(const Printed& p) {
  return !p.exact.empty() || p.type == Type::kInteger || p.type == Type::kBoolean || p.type == Type::kNull;
}

// As it is joined to a text.
std::string Translator::TextSql(const Printed& p) {
  if (p.type == Type::kDate) return "x_datetext(" + p.sql + ")";
  if (p.table && p.table->TypeOfColumn(p.column) == ColumnType::kSingle) return "x_sngtext(" + p.sql + ")";
  return p.type == Type::kDecimal ? "x_dtext(" + ExactSql(p) + ")" : p.sql;
}

// Whether they are computed with exactly: one is a decimal and none a double.
bool Translator::AreDecimals(std::initializer_list<const Printed*> values) {
  return std::all_of(values.begin(), values.end(), [](const Printed* p) { return IsExact(*p); }) &&
         std::any_of(values.begin(), values.end(),
                     [](const Printed* p) { return p->type == Type::kDecimal; });
}

Printer::Printed Translator::MakeDecimal(std::string exact, bool currency) {
  Printed p;
  p.sql = "x_dreal(" + exact + ")";
  p.exact = std::move(exact);
  p.type = Type::kDecimal;
  p.currency = currency;
  return p;
}

// ---- values

void Translator::PrintColumn(const Source& source, int column, Printed* p) const {
  p->sql = fmt::format("{}.c{}", source.sql_alias, column);
  if (p->type != Type::kDecimal) return;
  p->currency = p->table && p->table->TypeOfColumn(p->column) == ColumnType::kCurrency;
  if (source.table) {
    p->exact = fmt::format("{}.e{}", source.sql_alias, column);
    return;
  }
  // A query in a FROM list gives decimals exactly.
  p->exact = p->sql;
  p->sql = "x_dreal(" + p->exact + ")";
}

Printer::Printed Translator::Boolean(bool value) const {
  Printed p;
  p.sql = value ? "-1" : "0";
  p.type = Type::kBoolean;
  return p;
}

std::string Translator::RealConstant(double value) const {
  if (std::isinf(value)) return value > 0 ? "9e999" : "-9e999";
  std::string s = fmt::format("{:.17g}", value);
  if (s.find_first_of(".e") == std::string::npos) s += ".0";
  return s;
}

std::string Translator::TextConstant(const std::string& text) const {
  // A text with a zero character cannot stand in SQL as it is.
  if (text.find('\0') != std::string::npos) {
    std::string hex = "CAST(x'";
    for (const char c : text) hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
    return hex + "' AS TEXT)";
  }
  std::string out = "'";
  for (const char c : text) {
    out.push_back(c);
    if (c == '\'') out.push_back(c);
  }
  return out + "'";
}

Printer::Printed Translator::PrintConstant(const Expr& e) {
  Printed p = Printer::PrintConstant(e);
  if (e.lifted < 0) return p;
  // Whether the number is whole is not known to the plan.
  if (p.type == Type::kInteger) p.type = Type::kReal;
  p.sql = fmt::format("?{}", parameters_ + e.lifted + 1);
  p.exact = p.type == Type::kReal ? fmt::format("?{}", parameters_ + lifted_ + e.lifted + 1) : std::string();
  return p;
}

Printer::Printed Translator::PrintParameter(const Expr& e) {
  Printed p;
  p.sql = fmt::format("?{}", e.number + 1);
  return p;
}

Printer::Printed Translator::Scalar(const std::string& sql, Type type, bool one_row) const {
  Printed p;
  p.type = type;
  // Two rows are one too many.
  p.sql = one_row ? sql : "(SELECT x_single(c0) FROM (SELECT * FROM " + sql + " LIMIT 2))";
  return type == Type::kDecimal ? MakeDecimal(p.sql, false) : p;
}

// ---- comparisons

void Translator::CompareExactly(std::vector<Printed>* operands) const {
  if (!std::all_of(operands->begin(), operands->end(), IsExact)) return;
  for (Printed& p : *operands) p.sql = KeySql(p);
}

// Either bound may be the lower one.
std::string Translator::BetweenSql(const std::vector<Printed>& operands, bool negated) const {
  return fmt::format("({0}{1}BETWEEN min({2}, {3}) AND max({2}, {3}))", operands[0].sql,
                     negated ? " NOT " : " ", operands[1].sql, operands[2].sql);
}

std::string Translator::CompareSql(Op op, const Printed& a, const Printed& b) {
  if (!AreDecimals({&a, &b})) return "(" + a.sql + CompareText(op) + b.sql + ")";
  std::string exact = "(" + KeySql(a) + CompareText(op) + KeySql(b) + ")";
  if (op == Op::kNotEqual || (!a.table && !b.table)) return exact;
  // The nearest doubles stand in the same order or are equal: tested first, where an index or a filter can.
  if (op == Op::kLess) op = Op::kLessEqual;
  if (op == Op::kGreater) op = Op::kGreaterEqual;
  return "((" + a.sql + CompareText(op) + b.sql + ") AND " + exact + ")";
}

std::string Translator::LikeSql(const Printed& text, const Expr& pattern, Scope* scope) {
  return "x_like(" + text.sql + ", " + PrintOperand(pattern, scope).sql + ")";
}

// ---- arithmetic

Printer::Printed Translator::Negated(const Printed& operand) {
  Printed p;
  std::string sql = operand.sql;
  p.type = operand.type;
  p.currency = operand.currency;
  if (!operand.exact.empty()) p.exact = "x_dneg(" + operand.exact + ")";
  if (p.type == Type::kText || p.type == Type::kUnknown) {
    sql = "x_number(" + sql + ")";
    p.type = Type::kReal;
  }
  if (p.type == Type::kBoolean || p.type == Type::kDate) p.type = Type::kReal;
  p.sql = "(-" + sql + ")";
  return p;
}

// Nothing when the operator, or one of the values, is not exact.
std::optional<Printer::Printed> Translator::ExactArithmetic(Op op, const Printed& left,
                                                            const Printed& right) {
  const char* name = op == Op::kPlus    ? "x_dadd"
                     : op == Op::kMinus ? "x_dsub"
                     : op == Op::kTimes ? "x_dmul"
                                        : nullptr;
  if (name == nullptr || !IsExact(left) || !IsExact(right)) return {};
  // A lifted number may be a whole one: with whole numbers it stays SQLite's.
  const auto decides = [](const Printed& p) { return !p.exact.empty() && p.exact[0] != '?'; };
  if (!decides(left) && !decides(right) && (left.exact.empty() || right.exact.empty())) return {};
  const bool currency = left.currency && right.currency;
  std::string exact = fmt::format("{}({}, {})", name, ExactSql(left), ExactSql(right));
  if (currency && op == Op::kTimes) exact = "x_dround(" + exact + ", 4)";
  return MakeDecimal(std::move(exact), currency);
}

// "(left op right)", which may go on with operators of the same kind.
Printer::Printed Translator::Joined(const Printed& left, const char* op, const Printed& right, Op chain) {
  Printed p;
  p.sql = "(" + AsLeft(left, chain) + op + right.sql + ")";
  p.chain = chain;
  return p;
}

Printer::Printed Translator::Concatenated(const Printed& left, const Printed& right) {
  Printed p;
  p.sql = fmt::format("x_concat({}, {})", TextSql(left), TextSql(right));
  p.type = Type::kText;
  return p;
}

// "+", which joins texts, too.
Printer::Printed Translator::Added(const Expr& e, const Printed& left, const Printed& right) {
  const Type ta = left.type, tb = right.type;
  Printed p;
  if (ta == Type::kNull || tb == Type::kNull) {
    p.sql = "NULL";
    p.type = Type::kNull;
    return p;
  }
  if (ta == Type::kText && tb == Type::kText) {
    p = Joined(left, " || ", right, Op::kConcat);
    p.type = Type::kText;
    return p;
  }
  // A number on one side decides unless the other is known to be text: then the text must be one, too.
  const bool number_decides =
      (IsNumeric(ta) && IsNumeric(tb)) ||
      (IsNumeric(ta) && tb == Type::kUnknown && e.args[0]->kind == ExprKind::kConstant) ||
      (IsNumeric(tb) && ta == Type::kUnknown && e.args[1]->kind == ExprKind::kConstant);
  if (number_decides) {
    p = Joined(left, " + ", right, Op::kPlus);
  } else {
    p.sql = fmt::format("x_add({}, {})", left.sql, right.sql);
  }
  p.type = Common(ta, tb);
  if (p.type == Type::kBoolean) p.type = Type::kInteger;
  return p;
}

Printer::Printed Translator::Arithmetic(const Expr& e, const Printed& left, const Printed& right) {
  if (auto exact = ExactArithmetic(e.op, left, right)) return *exact;
  if (e.op == Op::kPlus) return Added(e, left, right);
  const Type ta = left.type, tb = right.type;
  const auto call = [&](const char* name, Type type) {
    Printed p;
    p.sql = fmt::format("{}({}, {})", name, left.sql, right.sql);
    p.type = type;
    return p;
  };
  const auto number = [](Printed p) {
    if (p.type == Type::kText || p.type == Type::kUnknown)
      p.sql = "x_number(" + p.sql + ")", p.chain = Op::kNone;
    return p;
  };
  switch (e.op) {
    case Op::kMinus:
    case Op::kTimes: {
      const bool minus = e.op == Op::kMinus;
      Printed p = Joined(number(left), minus ? " - " : " * ", number(right), minus ? Op::kPlus : Op::kTimes);
      p.type = Common(ta, tb);
      if (p.type == Type::kBoolean) p.type = Type::kInteger;
      if (minus && ta == Type::kDate && tb == Type::kDate) p.type = Type::kReal;
      if (p.type == Type::kUnknown || p.type == Type::kText) p.type = Type::kReal;
      return p;
    }
    case Op::kDivide: {
      const Expr& divisor = *e.args[1];
      const bool safe = divisor.kind == ExprKind::kConstant && divisor.lifted < 0 && IsNumeric(tb) &&
                        NumberIn(divisor.value) != 0;
      if (!safe || !IsNumeric(ta)) return call("x_divide", Type::kReal);
      Printed constant;
      constant.sql = RealConstant(NumberIn(divisor.value));
      Printed p = Joined(left, " / ", constant, Op::kTimes);
      p.type = Type::kReal;
      return p;
    }
    case Op::kIntDivide:
      return call("x_int_divide", Type::kInteger);
    case Op::kMod:
      return call("x_mod", Type::kInteger);
    default:
      return call("x_power", Type::kReal);
  }
}

}  // namespace jet::sql
