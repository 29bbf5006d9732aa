// Printing of expressions. Operators stay SQLite's own wherever both agree, so that its planner sees them;
// the others become functions (functions.h).

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/functions.h"
#include "access/sql/lexer.h"
#include "access/sql/translate.h"
#include "access/sql/translate_support.h"

namespace jet::sql {
namespace {

std::string RealText(double v) {
  if (std::isinf(v)) return v > 0 ? "9e999" : "-9e999";
  std::string s = fmt::format("{:.17g}", v);
  if (s.find_first_of(".e") == std::string::npos) s += ".0";
  return s;
}

std::string QuoteText(const std::string& text) {
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

}  // namespace

bool Translator::IsExact(const Printed& p) {
  return !p.exact.empty() || p.type == Type::kInteger || p.type == Type::kBoolean || p.type == Type::kNull;
}

std::string Translator::ExactSql(const Printed& p) { return p.exact.empty() ? p.sql : p.exact; }

// As it is joined to a text.
std::string Translator::TextSql(const Printed& p) {
  if (p.type == Type::kDate) return "x_datetext(" + p.sql + ")";
  if (p.table && p.column >= 0 && p.table->def().columns[p.column].type == ColumnType::kSingle) {
    return "x_sngtext(" + p.sql + ")";
  }
  return p.type == Type::kDecimal ? "x_dtext(" + ExactSql(p) + ")" : p.sql;
}

// Whether they are computed with exactly: one is a decimal and none a double.
bool Translator::AreDecimals(std::initializer_list<const Printed*> values) {
  return std::all_of(values.begin(), values.end(), [](const Printed* p) { return IsExact(*p); }) &&
         std::any_of(values.begin(), values.end(),
                     [](const Printed* p) { return p->type == Type::kDecimal; });
}

Translator::Printed Translator::MakeDecimal(std::string exact, bool currency) {
  Printed p;
  p.sql = "x_dreal(" + exact + ")";
  p.exact = std::move(exact);
  p.type = Type::kDecimal;
  p.currency = currency;
  return p;
}

Translator::Printed Translator::PrintOperand(const Expr& e, Scope* scope) {
  Printed p = Print(e, scope);
  if (p.truth) {
    p.sql = "-(" + p.sql + ")";
    p.chain = Op::kNone;
    p.truth = false;
  }
  return p;
}

std::string Translator::PrintValue(const Expr& e, Scope* scope, Type* type) {
  Printed p = Print(e, scope);
  if (type != nullptr) *type = p.type;
  return p.truth ? "-(" + p.sql + ")" : std::move(p.sql);
}

std::string Translator::PrintCondition(const Expr& e, Scope* scope) { return Print(e, scope).sql; }

Translator::Printed Translator::PrintExact(const Expr& e, Scope* scope) {
  if (e.kind == ExprKind::kColumn) return PrintColumn(e, scope, true);
  Printed p = PrintOperand(e, scope);
  if (p.type == Type::kDecimal) p.sql = ExactSql(p);
  p.table.reset();
  p.column = -1;
  return p;
}

Translator::Printed Translator::PrintConstant(const Expr& e) {
  Printed p;
  p.type = e.is_date                               ? Type::kDate
           : e.value.kind() == ValueKind::kText    ? Type::kText
           : e.value.kind() == ValueKind::kInteger ? Type::kInteger
                                                   : Type::kReal;
  if (e.lifted >= 0) {
    // Whether the number is whole is not known to the plan.
    if (p.type == Type::kInteger) p.type = Type::kReal;
    p.sql = fmt::format("?{}", parameters_ + e.lifted + 1);
    if (p.type == Type::kReal) p.exact = fmt::format("?{}", parameters_ + lifted_ + e.lifted + 1);
  } else if (e.value.kind() == ValueKind::kText) {
    p.sql = QuoteText(e.value.bytes());
  } else {
    p.sql = e.value.kind() == ValueKind::kInteger ? fmt::format("{}", e.value.integer())
                                                  : RealText(NumberIn(e.value));
    // A number with a point is a decimal where nothing else makes it a double.
    Decimal decimal;
    if (p.type == Type::kReal && e.value.kind() == ValueKind::kDecimal) {
      p.exact = "'" + e.value.decimal().ToText() + "'";
    } else if (p.type == Type::kReal && Decimal::FromText(fmt::format("{:.15g}", e.value.real()), &decimal)) {
      p.exact = "'" + decimal.ToText() + "'";
    }
  }
  return p;
}

namespace {

bool HasAggregate(const Expr& e) {
  return (e.kind == ExprKind::kFunction && IsAggregate(e)) ||
         std::any_of(e.args.begin(), e.args.end(), [](const ExprPtr& arg) { return HasAggregate(*arg); });
}

bool GivesOneRow(const Select& s) {
  return s.unions.empty() && !s.nested && s.group_by.empty() && !s.having &&
         std::any_of(s.items.begin(), s.items.end(),
                     [](const SelectItem& item) { return item.expr && HasAggregate(*item.expr); });
}

}  // namespace

std::string Translator::PrintSubquery(const Expr& e, Scope* scope, Use use, Type* type) {
  std::vector<OutputColumn> columns;
  std::string sql = PrintSelect(*e.select, scope, use, false, &columns, nullptr);
  if (e.kind != ExprKind::kExists && columns.size() != 1) {
    ThrowSyntax(text_, e.select->offset,
                "A subquery in an expression must have one column; this one has " +
                    std::to_string(columns.size()) + ",");
  }
  if (type != nullptr && !columns.empty()) *type = columns[0].type;
  // Two rows are one too many.
  if (use == Use::kScalar && !GivesOneRow(*e.select))
    return "(SELECT x_single(c0) FROM (SELECT * FROM (" + sql + ") LIMIT 2))";
  return "(" + sql + ")";
}

Translator::Printed Translator::PrintNegate(const Expr& e, Scope* scope) {
  Printed p, value = PrintOperand(*e.args[0], scope);
  std::string operand = std::move(value.sql);
  p.type = value.type;
  p.currency = value.currency;
  if (!value.exact.empty()) p.exact = "x_dneg(" + value.exact + ")";
  if (p.type == Type::kText || p.type == Type::kUnknown) {
    operand = "x_number(" + operand + ")";
    p.type = Type::kReal;
  }
  if (p.type == Type::kBoolean || p.type == Type::kDate) p.type = Type::kReal;
  p.sql = "(-" + operand + ")";
  return p;
}

// Either bound may be the lower one.
std::string Translator::BetweenSql(const Expr& e, Scope* scope) {
  Printed parts[3];
  for (std::size_t i = 0; i < 3; ++i) parts[i] = PrintOperand(*e.args[i], scope);
  CheckComparable(parts[0], parts[1]);
  CheckComparable(parts[0], parts[2]);
  if (AreDecimals({&parts[0], &parts[1], &parts[2]})) {
    for (Printed& part : parts) part.sql = KeySql(part);
  }
  return fmt::format("({0}{1}BETWEEN min({2}, {3}) AND max({2}, {3}))", parts[0].sql,
                     e.negated ? " NOT " : " ", parts[1].sql, parts[2].sql);
}

Translator::Printed Translator::Print(const Expr& e, Scope* scope) {
  Printed p;
  switch (e.kind) {
    case ExprKind::kNull:
      p.sql = "NULL";
      p.type = Type::kNull;
      return p;
    case ExprKind::kBoolean:
      p.sql = e.number != 0 ? "-1" : "0";
      p.type = Type::kBoolean;
      return p;
    case ExprKind::kConstant:
      return PrintConstant(e);
    case ExprKind::kParameter:
      p.sql = fmt::format("?{}", e.number + 1);
      return p;
    case ExprKind::kColumn:
      return PrintColumn(e, scope, false);
    case ExprKind::kNegate:
      return PrintNegate(e, scope);
    case ExprKind::kNot:
      p.sql = "(NOT " + PrintCondition(*e.args[0], scope) + ")";
      p.type = Type::kBoolean;
      p.truth = true;
      return p;
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
      p.sql = BetweenSql(e, scope);
      break;
    case ExprKind::kIsNull:
      p.sql = "(" + PrintValue(*e.args[0], scope) + (e.negated ? " IS NOT NULL)" : " IS NULL)");
      break;
    case ExprKind::kLike:
      p.sql = fmt::format("{}x_like({}, {})", e.negated ? "NOT " : "", PrintValue(*e.args[0], scope),
                          PrintValue(*e.args[1], scope));
      if (e.negated) p.sql = "(" + p.sql + ")";
      break;
    case ExprKind::kFunction:
      return PrintFunction(e, scope);
    case ExprKind::kExists:
      p.sql = "EXISTS " + PrintSubquery(e, scope, Use::kOperand, nullptr);
      break;
    case ExprKind::kScalar:
      p.sql = PrintSubquery(e, scope, Use::kScalar, &p.type);
      return p.type == Type::kDecimal ? MakeDecimal(p.sql, false) : p;
  }
  p.type = Type::kBoolean;
  p.truth = true;
  return p;
}

void Translator::CheckComparable(const Printed& a, const Printed& b) const {
  const bool mismatch =
      (a.type == Type::kText && IsNumeric(b.type)) || (IsNumeric(a.type) && b.type == Type::kText);
  if (!mismatch) return;
  const Printed& column = a.table ? a : b;
  if (column.table) {
    throw Error(ErrorKind::kType,
                fmt::format("Data type mismatch: the column '{}' is compared with a value of another type.",
                            column.table->def().columns[column.column].name));
  }
  throw Error(ErrorKind::kType, "Data type mismatch: a text is compared with a number.");
}

Translator::Printed Translator::PrintCompare(const Expr& e, Scope* scope) {
  const Printed a = PrintOperand(*e.args[0], scope), b = PrintOperand(*e.args[1], scope);
  CheckComparable(a, b);
  Printed p;
  p.type = Type::kBoolean;
  p.truth = true;
  p.sql = "(" + a.sql + CompareText(e.op) + b.sql + ")";
  if (!AreDecimals({&a, &b})) return p;
  const std::string exact = "(" + KeySql(a) + CompareText(e.op) + KeySql(b) + ")";
  if (e.op == Op::kNotEqual || (!a.table && !b.table)) {
    p.sql = exact;
    return p;
  }
  // The nearest doubles stand in the same order or are equal: tested first, where an index or a filter can.
  Op op = e.op;
  if (op == Op::kLess) op = Op::kLessEqual;
  if (op == Op::kGreater) op = Op::kGreaterEqual;
  p.sql = "((" + a.sql + CompareText(op) + b.sql + ") AND " + exact + ")";
  return p;
}

// SQLite's parser stops at a hundred open parentheses: a chain of one kind of operator needs only one pair.
std::string Translator::AsLeft(const Printed& left, Op chain) {
  return left.chain == chain ? left.sql.substr(1, left.sql.size() - 2) : left.sql;
}

Translator::Printed Translator::PrintLogic(const Expr& e, Scope* scope) {
  const Printed a = Print(*e.args[0], scope), b = Print(*e.args[1], scope);
  Printed p;
  p.type = Type::kBoolean;
  p.truth = true;
  switch (e.op) {
    case Op::kAnd:
    case Op::kOr:
      p.sql = "(" + AsLeft(a, e.op) + (e.op == Op::kAnd ? " AND " : " OR ") + b.sql + ")";
      p.chain = e.op;
      break;
    case Op::kXor:
      p.sql = "((NOT " + a.sql + ") <> (NOT " + b.sql + "))";
      break;
    case Op::kEqv:
      p.sql = "((NOT " + a.sql + ") = (NOT " + b.sql + "))";
      break;
    default:
      p.sql = "((NOT " + a.sql + ") OR " + b.sql + ")";
      break;
  }
  return p;
}

Translator::Printed Translator::PrintIn(const Expr& e, Scope* scope) {
  Printed p, left = PrintOperand(*e.args[0], scope);
  std::string list;
  if (e.kind == ExprKind::kInSelect) {
    Printed right;
    list = PrintSubquery(e, scope, Use::kOperand, &right.type);
    CheckComparable(left, right);
  } else {
    std::vector<Printed> members;
    for (std::size_t i = 1; i < e.args.size(); ++i) {
      members.push_back(PrintOperand(*e.args[i], scope));
      CheckComparable(left, members.back());
    }
    const bool decimals = left.type == Type::kDecimal && std::all_of(members.begin(), members.end(), IsExact);
    if (decimals) left.sql = KeySql(left);
    for (const Printed& member : members)
      list += (list.empty() ? "(" : ", ") + (decimals ? KeySql(member) : member.sql);
    list += ")";
  }
  p.sql = "(" + left.sql + (e.negated ? " NOT IN " : " IN ") + list + ")";
  p.type = Type::kBoolean;
  p.truth = true;
  return p;
}

// Nothing when the operator, or one of the values, is not exact.
std::optional<Translator::Printed> Translator::PrintExactArithmetic(Op op, const Printed& left,
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

Translator::Printed Translator::PrintArithmetic(const Expr& e, Scope* scope) {
  const Printed left = PrintOperand(*e.args[0], scope), right = PrintOperand(*e.args[1], scope);
  if (auto exact = PrintExactArithmetic(e.op, left, right)) return *exact;
  const Type ta = left.type, tb = right.type;
  std::string a = left.sql, b = right.sql;
  const bool numeric = IsNumeric(ta) && IsNumeric(tb);
  // A number on one side decides unless the other is known to be text: then the text must be one, too.
  const bool number_decides =
      numeric || (IsNumeric(ta) && tb == Type::kUnknown && e.args[0]->kind == ExprKind::kConstant) ||
      (IsNumeric(tb) && ta == Type::kUnknown && e.args[1]->kind == ExprKind::kConstant);
  Printed p;
  p.type = Common(ta, tb);
  if (p.type == Type::kBoolean) p.type = Type::kInteger;
  const auto call = [&](const char* name) { p.sql = fmt::format("{}({}, {})", name, a, b); };
  const auto native = [&](const char* op, Op chain) {
    if (a == left.sql) a = AsLeft(left, chain);
    p.sql = "(" + a + op + b + ")";
    p.chain = chain;
  };
  const auto number = [&](std::string* sql, Type t) {
    if (t == Type::kText || t == Type::kUnknown) *sql = "x_number(" + *sql + ")";
  };
  switch (e.op) {
    case Op::kPlus:
      if (ta == Type::kNull || tb == Type::kNull) {
        p.sql = "NULL";
        p.type = Type::kNull;
      } else if (ta == Type::kText && tb == Type::kText) {
        native(" || ", Op::kConcat);
        p.type = Type::kText;
      } else if (number_decides) {
        native(" + ", Op::kPlus);
      } else {
        call("x_add");
      }
      break;
    case Op::kMinus:
    case Op::kTimes:
      number(&a, ta);
      number(&b, tb);
      native(e.op == Op::kMinus ? " - " : " * ", e.op == Op::kMinus ? Op::kPlus : Op::kTimes);
      if (e.op == Op::kMinus && ta == Type::kDate && tb == Type::kDate) p.type = Type::kReal;
      if (p.type == Type::kUnknown || p.type == Type::kText) p.type = Type::kReal;
      break;
    case Op::kDivide: {
      const Expr& divisor = *e.args[1];
      const bool safe = divisor.kind == ExprKind::kConstant && divisor.lifted < 0 && IsNumeric(tb) &&
                        NumberIn(divisor.value) != 0;
      if (safe && IsNumeric(ta)) {
        b = RealText(NumberIn(divisor.value));
        native(" / ", Op::kTimes);
      } else {
        call("x_divide");
      }
      p.type = Type::kReal;
      break;
    }
    case Op::kIntDivide:
      call("x_int_divide");
      p.type = Type::kInteger;
      break;
    case Op::kMod:
      call("x_mod");
      p.type = Type::kInteger;
      break;
    case Op::kPower:
      call("x_power");
      p.type = Type::kReal;
      break;
    default:  // &
      a = TextSql(left);
      b = TextSql(right);
      call("x_concat");
      p.type = Type::kText;
      break;
  }
  return p;
}

}  // namespace jet::sql
