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

namespace jet::sql {
namespace {

bool IsNumeric(Type t) {
  return t == Type::kBoolean || t == Type::kInteger || t == Type::kReal || t == Type::kDecimal ||
         t == Type::kDate;
}

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

const char* CompareText(char op) {
  switch (op) {
    case kLessEqual:
      return " <= ";
    case kGreaterEqual:
      return " >= ";
    case kNotEqual:
      return " <> ";
    case '<':
      return " < ";
    case '>':
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

bool IsAggregate(const Expr& e) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  for (const char* aggregate :
       {"count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"}) {
    if (name == aggregate) return true;
  }
  return false;
}

Type Common(Type a, Type b) {
  if (a == b || b == Type::kNull) return a;
  if (a == Type::kNull) return b;
  if (IsNumeric(a) && IsNumeric(b)) return a == Type::kDate || b == Type::kDate ? Type::kDate : Type::kReal;
  return Type::kUnknown;
}

}  // namespace

// ---- names

bool Translator::FindColumn(const std::string& table, const std::string& name, const Scope& scope,
                            Found* found) const {
  found->source = nullptr;
  for (const Source& s : scope.sources) {
    if (!table.empty() && !EqualNames(SourceName(s), table)) continue;
    int column = -1;
    if (s.table) {
      column = s.table->def().FindColumn(name);
    } else {
      for (std::size_t i = 0; i < s.columns.size() && column < 0; ++i) {
        if (EqualNames(s.columns[i].name, name)) column = static_cast<int>(i);
      }
    }
    if (column < 0 && !s.open) continue;
    if (found->source != nullptr && !s.open) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("The column '{}' is in more than one table of the FROM list ('{}' and '{}'); put the "
                      "table's name before it.",
                      name, SourceName(*found->source), SourceName(s)));
    }
    if (found->source == nullptr) {
      found->source = &s;
      found->column = column;
    }
  }
  return found->source != nullptr;
}

void Translator::UnknownColumn(const Expr& e, const Scope& scope) const {
  std::string tables;
  for (const Source& s : scope.sources) tables += (tables.empty() ? "'" : ", '") + SourceName(s) + "'";
  if (!e.table.empty()) {
    for (const Source& s : scope.sources) {
      if (EqualNames(SourceName(s), e.table)) tables = "'" + SourceName(s) + "'";
    }
    if (tables.find('\'' + e.table + '\'') == std::string::npos) {
      const bool known = std::any_of(scope.sources.begin(), scope.sources.end(),
                                     [&](const Source& s) { return EqualNames(SourceName(s), e.table); });
      if (!known) {
        throw Error(ErrorKind::kNoColumn,
                    fmt::format("No column '{}.{}': the table '{}' is not in the FROM list.", e.table, e.name,
                                e.table));
      }
    }
  }
  if (tables.empty())
    throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}': there is no FROM list.", e.name));
  throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}' in {}.", e.name, tables));
}

Translator::Printed Translator::PrintColumn(const Expr& e, Scope* scope, bool exact) {
  Found found;
  for (const Scope* s = scope; s != nullptr; s = s->outer) {
    if (!FindColumn(e.table, e.name, *s, &found)) continue;
    Printed p;
    if (found.column < 0) {
      p.sql = found.source->sql_alias + ".\"" + e.name + "\"";
      return p;
    }
    p.sql = ColumnSql(*found.source, found.column, exact);
    if (found.source->table) {
      p.table = found.source->table;
      p.column = found.column;
      p.type = TypeOf(p.table->def().columns[static_cast<std::size_t>(found.column)].type);
    } else {
      const OutputColumn& c = found.source->columns[static_cast<std::size_t>(found.column)];
      p.type = c.type;
      p.table = c.table;
      p.column = c.column;
    }
    if (p.type == Type::kDecimal) p.exact = ColumnSql(*found.source, found.column, true);
    p.currency = p.type == Type::kDecimal && p.table &&
                 p.table->def().columns[static_cast<std::size_t>(p.column)].type == ColumnType::kCurrency;
    return p;
  }
  // Now, Date and Time may stand without parentheses.
  if (e.table.empty()) {
    const std::string lower = LowerText(e.name);
    if (lower == "now" || lower == "date" || lower == "time") {
      Printed p;
      p.sql = std::string(FindFunction(lower)->sql_name) + "()";
      p.type = Type::kDate;
      return p;
    }
  }
  UnknownColumn(e, *scope);
}

// ---- values and conditions

bool Translator::IsExact(const Printed& p) {
  return !p.exact.empty() || p.type == Type::kInteger || p.type == Type::kBoolean || p.type == Type::kNull;
}

std::string Translator::ExactSql(const Printed& p) { return p.exact.empty() ? p.sql : p.exact; }

// As it is joined to a text.
std::string Translator::TextSql(const Printed& p) {
  if (p.type == Type::kDate) return "x_datetext(" + p.sql + ")";
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
    p.chain = 0;
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
    case ExprKind::kNegate: {
      Printed value = PrintOperand(*e.args[0], scope);
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
    case ExprKind::kBetween: {
      Printed parts[3];
      for (std::size_t i = 0; i < 3; ++i) parts[i] = PrintOperand(*e.args[i], scope);
      CheckComparable(parts[0], parts[1]);
      CheckComparable(parts[0], parts[2]);
      if (AreDecimals({&parts[0], &parts[1], &parts[2]})) {
        for (Printed& part : parts) part.sql = KeySql(part);
      }
      // Either bound may be the lower one.
      p.sql = fmt::format("({0}{1}BETWEEN min({2}, {3}) AND max({2}, {3}))", parts[0].sql,
                          e.negated ? " NOT " : " ", parts[1].sql, parts[2].sql);
      break;
    }
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
                            column.table->def().columns[static_cast<std::size_t>(column.column)].name));
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
  if (e.op == kNotEqual || (!a.table && !b.table)) {
    p.sql = exact;
    return p;
  }
  // The nearest doubles stand in the same order or are equal: tested first, where an index or a filter can.
  char op = e.op;
  if (op == '<') op = kLessEqual;
  if (op == '>') op = kGreaterEqual;
  p.sql = "((" + a.sql + CompareText(op) + b.sql + ") AND " + exact + ")";
  return p;
}

// SQLite's parser stops at a hundred open parentheses: a chain of one kind of operator needs only one pair.
std::string Translator::AsLeft(const Printed& left, char chain) {
  return left.chain == chain ? left.sql.substr(1, left.sql.size() - 2) : left.sql;
}

Translator::Printed Translator::PrintLogic(const Expr& e, Scope* scope) {
  const Printed a = Print(*e.args[0], scope), b = Print(*e.args[1], scope);
  Printed p;
  p.type = Type::kBoolean;
  p.truth = true;
  switch (e.op) {
    case 'A':
    case 'O':
      p.sql = "(" + AsLeft(a, e.op) + (e.op == 'A' ? " AND " : " OR ") + b.sql + ")";
      p.chain = e.op;
      break;
    case 'X':
      p.sql = "((NOT " + a.sql + ") <> (NOT " + b.sql + "))";
      break;
    case 'E':
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

Translator::Printed Translator::PrintArithmetic(const Expr& e, Scope* scope) {
  Printed left = PrintOperand(*e.args[0], scope), right = PrintOperand(*e.args[1], scope);
  const Type ta = left.type, tb = right.type;
  if ((e.op == '+' || e.op == '-' || e.op == '*') && IsExact(left) && IsExact(right)) {
    // A lifted number may be a whole one: with whole numbers it stays SQLite's.
    const auto decides = [](const Printed& p) { return !p.exact.empty() && p.exact[0] != '?'; };
    if (decides(left) || decides(right) || (!left.exact.empty() && !right.exact.empty())) {
      const bool currency = left.currency && right.currency;
      std::string exact = fmt::format("x_d{}({}, {})",
                                      e.op == '+'   ? "add"
                                      : e.op == '-' ? "sub"
                                                    : "mul",
                                      ExactSql(left), ExactSql(right));
      if (currency && e.op == '*') exact = "x_dround(" + exact + ", 4)";
      return MakeDecimal(std::move(exact), currency);
    }
  }
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
  const auto native = [&](const char* op, char chain) {
    if (a == left.sql) a = AsLeft(left, chain);
    p.sql = "(" + a + op + b + ")";
    p.chain = chain;
  };
  const auto number = [&](std::string* sql, Type t) {
    if (t == Type::kText || t == Type::kUnknown) *sql = "x_number(" + *sql + ")";
  };
  switch (e.op) {
    case '+':
      if (ta == Type::kNull || tb == Type::kNull) {
        p.sql = "NULL";
        p.type = Type::kNull;
      } else if (ta == Type::kText && tb == Type::kText) {
        native(" || ", '|');
        p.type = Type::kText;
      } else if (number_decides) {
        native(" + ", '+');
      } else {
        call("x_add");
      }
      break;
    case '-':
    case '*':
      number(&a, ta);
      number(&b, tb);
      native(e.op == '-' ? " - " : " * ", e.op == '-' ? '+' : '*');
      if (e.op == '-' && ta == Type::kDate && tb == Type::kDate) p.type = Type::kReal;
      if (p.type == Type::kUnknown || p.type == Type::kText) p.type = Type::kReal;
      break;
    case '/': {
      const Expr& divisor = *e.args[1];
      const bool safe = divisor.kind == ExprKind::kConstant && divisor.lifted < 0 && IsNumeric(tb) &&
                        NumberIn(divisor.value) != 0;
      if (safe && IsNumeric(ta)) {
        b = RealText(NumberIn(divisor.value));
        native(" / ", '*');
      } else {
        call("x_divide");
      }
      p.type = Type::kReal;
      break;
    }
    case '\\':
      call("x_int_divide");
      p.type = Type::kInteger;
      break;
    case '%':
      call("x_mod");
      p.type = Type::kInteger;
      break;
    case '^':
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

// ---- functions

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

Translator::Printed Translator::PrintFunction(const Expr& e, Scope* scope) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  if (IsAggregate(e)) return PrintAggregate(e, name, scope);
  if (name == "typename") return PrintTypeName(e, scope);
  for (const char* conditional : {"iif", "switch", "choose", "nz", "isnull"}) {
    if (name == conditional) return PrintConditional(e, name, scope);
  }
  const FunctionInfo* f = FindFunction(name);
  if (f == nullptr || e.star) {
    throw Error(ErrorKind::kSyntax, fmt::format("There is no function '{}'.", e.name), Error::kNoPlace,
                static_cast<std::int64_t>(e.offset));
  }
  const int n = static_cast<int>(e.args.size());
  if (n < f->least || n > f->most) {
    ThrowSyntax(text_, e.offset, fmt::format("The function {} takes another number of values,", e.name));
  }
  Printed p;
  p.type = f->type;
  const bool makes_text = f->type == Type::kText && name != "format" && name != "hex" && name != "oct";
  std::vector<Printed> values;
  for (const ExprPtr& arg : e.args) values.push_back(PrintOperand(*arg, scope));
  if (name == "ccur") return MakeDecimal("x_ccur(" + ExactSql(values[0]) + ")", true);
  if (!values.empty() && AreDecimals({&values[0]}) &&
      (name == "round" || name == "abs" || name == "int" || name == "fix")) {
    return MakeDecimal("x_d" + name + "(" + ExactSql(values[0]) + (n > 1 ? ", " + values[1].sql : "") + ")",
                       values[0].currency);
  }
  p.sql = std::string(f->sql_name) + "(";
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Type t = values[i].type;
    // A date or decimal that a text function looks at is its text. Format and IsDate must know that it is a
    // date.
    const std::string sql = makes_text || name == "len" ? TextSql(values[i]) : values[i].sql;
    if (i == 0 && (name == "format" || name == "isdate")) p.sql += t == Type::kDate ? "1, " : "0, ";
    if (i == 0 && f->type == Type::kUnknown)
      p.type = t == Type::kDate && name != "int" && name != "fix" ? Type::kReal : t;
    p.sql += (i == 0 ? "" : ", ") + sql;
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
    switch (value.table->def().columns[static_cast<std::size_t>(value.column)].type) {
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

// ---- grouping

bool Translator::AreSame(const Expr& a, const Expr& b, const Scope& scope) const {
  if (a.kind != b.kind || a.op != b.op || a.negated != b.negated || a.star != b.star ||
      a.number != b.number || a.args.size() != b.args.size() || a.select || b.select || !(a.value == b.value))
    return false;
  if (a.kind == ExprKind::kColumn) {
    Found one, other;
    return FindColumn(a.table, a.name, scope, &one) && FindColumn(b.table, b.name, scope, &other) &&
           one.source == other.source && one.column == other.column;
  }
  if (!EqualNames(a.name, b.name)) return false;
  for (std::size_t i = 0; i < a.args.size(); ++i) {
    if (!AreSame(*a.args[i], *b.args[i], scope)) return false;
  }
  return true;
}

void Translator::RequireGrouped(const Select& select, const Expr& e, const Scope& scope) const {
  for (const ExprPtr& group : select.group_by) {
    if (AreSame(e, *group, scope)) return;
  }
  Found found;
  if (e.kind == ExprKind::kColumn && FindColumn(e.table, e.name, scope, &found) && !found.source->open) {
    throw Error(
        ErrorKind::kInvalid,
        fmt::format("The column '{}' stands beside an aggregate function or GROUP BY, but neither in GROUP "
                    "BY nor in an aggregate function.",
                    e.name));
  }
  if (e.kind == ExprKind::kFunction && IsAggregate(e)) return;
  for (const ExprPtr& arg : e.args) RequireGrouped(select, *arg, scope);
}

void Translator::RequireGrouped(const Select& select, const Scope& scope) const {
  for (const SelectItem& item : select.items) {
    if (item.star) {
      throw Error(ErrorKind::kInvalid,
                  "'*' cannot stand beside an aggregate function or GROUP BY; name the columns.");
    }
    RequireGrouped(select, *item.expr, scope);
  }
  if (select.having) RequireGrouped(select, *select.having, scope);
  for (const OrderTerm& term : select.order_by) RequireGrouped(select, *term.expr, scope);
}

// The sources that an expression takes columns from.
void Translator::MarkSources(const Expr& e, const Scope& scope, std::vector<bool>* marks) const {
  Found found;
  if (e.kind == ExprKind::kColumn && FindColumn(e.table, e.name, scope, &found))
    (*marks)[static_cast<std::size_t>(found.source - scope.sources.data())] = true;
  for (const ExprPtr& arg : e.args) MarkSources(*arg, scope, marks);
}

std::vector<std::string> Translator::DistinctRows(const Select& select, const Scope& scope) const {
  std::vector<bool> shown(scope.sources.size());
  for (const SelectItem& item : select.items) {
    if (item.expr) MarkSources(*item.expr, scope, &shown);
    for (std::size_t i = 0; item.star && i < shown.size(); ++i)
      shown[i] =
          shown[i] || item.star_table.empty() || EqualNames(SourceName(scope.sources[i]), item.star_table);
  }
  std::vector<std::string> ids;
  // When every table is shown, or none, no rows are alike.
  if (std::all_of(shown.begin(), shown.end(), [&](bool b) { return b == shown[0]; })) return ids;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    if (!shown[i]) continue;
    if (!scope.sources[i].table)
      throw Error(ErrorKind::kNotSupported, "DISTINCTROW over a join with a query is not supported.");
    ids.push_back(RowIdSql(scope.sources[i]));
  }
  return ids;
}

}  // namespace jet::sql
