// Which column a name means, and which expressions mean the same column.

#include <fmt/format.h>

#include <algorithm>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/functions.h"
#include "access/sql/translate.h"
#include "access/sql/translate_support.h"

namespace jet::sql {

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
        if (EqualNames(s.columns[i].name, name)) column = i;
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
    p.sql = ColumnSql(*found.source, found.column, exact);
    if (found.source->table) {
      p.table = found.source->table;
      p.column = found.column;
      p.type = TypeOf(p.table->def().columns[found.column].type);
    } else {
      const OutputColumn& c = found.source->columns[found.column];
      p.type = c.type;
      p.table = c.table;
      p.column = c.column;
    }
    if (p.type == Type::kDecimal) p.exact = ColumnSql(*found.source, found.column, true);
    p.currency =
        p.type == Type::kDecimal && p.table && p.table->def().columns[p.column].type == ColumnType::kCurrency;
    return p;
  }
  // Now, Date and Time may stand without parentheses.
  if (e.table.empty()) {
    const std::string lower = LowerText(e.name);
    if (lower == "now" || lower == "date" || lower == "time") {
      Printed p;
      p.sql = FindFunction(lower)->SqlName() + "()";
      p.type = Type::kDate;
      return p;
    }
  }
  UnknownColumn(e, *scope);
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
  if (e.kind == ExprKind::kColumn && FindColumn(e.table, e.name, scope, &found)) {
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
    (*marks)[found.source - scope.sources.data()] = true;
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
