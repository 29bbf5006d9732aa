// Printing of expressions. Operators stay SQLite's own wherever both agree, so that its planner sees them;
// the others become functions (functions.h).

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "access/base/error.h"
#include "access/sql/functions.h"
#include "access/sql/lexer.h"
#include "access/sql/names.h"
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

std::string Translator::PrintValue(const Expr& e, Scope* scope, Type* type) {
  Printed p = Print(e, scope);
  if (type != nullptr) *type = p.type;
  return p.truth ? "-(" + p.sql + ")" : std::move(p.sql);
}

std::string Translator::PrintCondition(const Expr& e, Scope* scope) { return Print(e, scope).sql; }

Translator::Printed Translator::PrintExact(const Expr& e, Scope* scope) {
  if (e.kind == ExprKind::kColumn) return PrintColumn(e, scope, true);
  Printed p = Print(e, scope);
  if (p.truth) p.sql = "-(" + p.sql + ")";
  p.truth = false;
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
  } else if (e.value.kind() == ValueKind::kText) {
    p.sql = QuoteText(e.value.bytes());
  } else {
    p.sql = e.value.kind() == ValueKind::kInteger ? fmt::format("{}", e.value.integer())
                                                  : RealText(NumberIn(e.value));
  }
  return p;
}

std::string Translator::PrintSubquery(const Expr& e, Scope* scope, Type* type) {
  std::vector<OutputColumn> columns;
  const std::string sql = PrintSelect(*e.select, scope, Use::kOperand, false, &columns, nullptr);
  if (e.kind != ExprKind::kExists && columns.size() != 1) {
    ThrowSyntax(text_, e.select->offset,
                "A subquery in an expression must have one column; this one has " +
                    std::to_string(columns.size()) + ",");
  }
  if (type != nullptr && !columns.empty()) *type = columns[0].type;
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
      std::string operand = PrintValue(*e.args[0], scope, &p.type);
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
      for (int i = 0; i < 3; ++i)
        parts[i].sql = PrintValue(*e.args[static_cast<std::size_t>(i)], scope, &parts[i].type);
      CheckComparable(parts[0], parts[1]);
      CheckComparable(parts[0], parts[2]);
      p.sql = fmt::format("({}{}BETWEEN {} AND {})", parts[0].sql, e.negated ? " NOT " : " ", parts[1].sql,
                          parts[2].sql);
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
      p.sql = "EXISTS " + PrintSubquery(e, scope, nullptr);
      break;
    case ExprKind::kScalar:
      p.sql = PrintSubquery(e, scope, &p.type);
      return p;
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
  Printed sides[2];
  for (std::size_t i = 0; i < 2; ++i) {
    sides[i] = Print(*e.args[i], scope);
    if (sides[i].truth) sides[i].sql = "-(" + sides[i].sql + ")";
  }
  CheckComparable(sides[0], sides[1]);
  Printed p;
  p.sql = "(" + sides[0].sql + CompareText(e.op) + sides[1].sql + ")";
  p.type = Type::kBoolean;
  p.truth = true;
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
  Printed p, left = Print(*e.args[0], scope);
  if (left.truth) left.sql = "-(" + left.sql + ")";
  std::string list;
  if (e.kind == ExprKind::kInSelect) {
    Printed right;
    list = PrintSubquery(e, scope, &right.type);
    CheckComparable(left, right);
  } else {
    for (std::size_t i = 1; i < e.args.size(); ++i) {
      Printed member = Print(*e.args[i], scope);
      if (member.truth) member.sql = "-(" + member.sql + ")";
      CheckComparable(left, member);
      list += (i == 1 ? "(" : ", ") + member.sql;
    }
    list += ")";
  }
  p.sql = "(" + left.sql + (e.negated ? " NOT IN " : " IN ") + list + ")";
  p.type = Type::kBoolean;
  p.truth = true;
  return p;
}

Translator::Printed Translator::PrintArithmetic(const Expr& e, Scope* scope) {
  Printed left = Print(*e.args[0], scope);
  const Type ta = left.type;
  Type tb = Type::kUnknown;
  if (left.truth) left.sql = "-(" + left.sql + ")", left.chain = 0;
  std::string a = left.sql, b = PrintValue(*e.args[1], scope, &tb);
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
      if (ta == Type::kDate) a = "x_datetext(" + a + ")";
      if (tb == Type::kDate) b = "x_datetext(" + b + ")";
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
  Type t = Type::kUnknown;
  const std::string arg = PrintValue(*e.args[0], scope, &t);
  scope->aggregates = true;
  const bool own = name == "first" || name == "last" || name == "stdev" || name == "stdevp" ||
                   name == "var" || name == "varp";
  p.sql = (own ? "x_" + name : name) + "(" + arg;
  // Which row is the first or last is told by its place in the tables, not by when the plan meets it.
  if (name == "first" || name == "last") {
    for (const std::string& id : scope->row_ids) p.sql += ", " + id;
  }
  p.sql += ")";
  if (name == "count") {
    p.type = Type::kInteger;
  } else if (name == "min" || name == "max" || name == "first" || name == "last") {
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
  Type t = Type::kUnknown;
  if (name == "nz") {
    if (n < 1 || n > 2) ThrowSyntax(text_, e.offset, "The function Nz takes one or two values,");
    const std::string a = PrintValue(*e.args[0], scope, &p.type);
    const std::string b = n == 2 ? PrintValue(*e.args[1], scope, &t) : IsNumeric(p.type) ? "0" : "''";
    if (n == 2) p.type = Common(p.type, t);
    p.sql = "ifnull(" + a + ", " + b + ")";
    return p;
  }
  if (name == "iif") {
    if (n != 3) ThrowSyntax(text_, e.offset, "The function IIf takes three values,");
    const std::string condition = PrintCondition(*e.args[0], scope);
    const std::string a = PrintValue(*e.args[1], scope, &p.type), b = PrintValue(*e.args[2], scope, &t);
    p.type = Common(p.type, t);
    p.sql = "(CASE WHEN " + condition + " THEN " + a + " ELSE " + b + " END)";
    return p;
  }
  if (n < 2 || (name == "switch" && n % 2 != 0)) {
    ThrowSyntax(text_, e.offset, "The function " + e.name + " has too few values");
  }
  p.type = Type::kNull;
  if (name == "switch") {
    p.sql = "(CASE";
    for (std::size_t i = 0; i < n; i += 2) {
      p.sql +=
          " WHEN " + PrintCondition(*e.args[i], scope) + " THEN " + PrintValue(*e.args[i + 1], scope, &t);
      p.type = Common(p.type, t);
    }
  } else {
    p.sql = "(CASE CAST(x_fix(" + PrintValue(*e.args[0], scope) + ") AS INTEGER)";
    for (std::size_t i = 1; i < n; ++i) {
      p.sql += fmt::format(" WHEN {} THEN {}", i, PrintValue(*e.args[i], scope, &t));
      p.type = Common(p.type, t);
    }
  }
  p.sql += " END)";
  return p;
}

Translator::Printed Translator::PrintFunction(const Expr& e, Scope* scope) {
  std::string name = LowerText(e.name);
  if (!name.empty() && name.back() == '$') name.pop_back();
  for (const char* aggregate :
       {"count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"}) {
    if (name == aggregate) return PrintAggregate(e, name, scope);
  }
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
  const bool makes_text = f->type == Type::kText && name != "format";
  p.sql = std::string(f->sql_name) + "(";
  for (std::size_t i = 0; i < e.args.size(); ++i) {
    Type t = Type::kUnknown;
    std::string sql = PrintValue(*e.args[i], scope, &t);
    // A date that a text function looks at is its text. Format must know that it is one.
    if (t == Type::kDate && (makes_text || name == "len")) sql.insert(0, "x_datetext(").push_back(')');
    if (i == 0 && name == "format") p.sql += t == Type::kDate ? "1, " : "0, ";
    if (i == 0 && f->type == Type::kUnknown)
      p.type = t == Type::kDate && name != "int" && name != "fix" ? Type::kReal : t;
    p.sql += (i == 0 ? "" : ", ") + sql;
  }
  p.sql += ")";
  return p;
}

}  // namespace jet::sql
