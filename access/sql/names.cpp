#include "access/sql/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"

namespace jet::sql {

// ---- types

Type TypeOf(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return Type::kBoolean;
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kBigInt:
      return Type::kInteger;
    case ColumnType::kSingle:
    case ColumnType::kDouble:
      return Type::kReal;
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
      return Type::kDecimal;
    case ColumnType::kDateTime:
      return Type::kDate;
    case ColumnType::kText:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
    case ColumnType::kDateTimeExtended:
      return Type::kText;
    default:
      return Type::kBlob;
  }
}

ColumnType ColumnTypeFor(Type type) {
  switch (type) {
    case Type::kBoolean:
      return ColumnType::kBoolean;
    case Type::kInteger:
      return ColumnType::kLong;
    case Type::kDecimal:
    case Type::kReal:
      return ColumnType::kDouble;
    case Type::kDate:
      return ColumnType::kDateTime;
    case Type::kBlob:
      return ColumnType::kOle;
    default:
      return ColumnType::kText;
  }
}

bool IsNumeric(Type t) {
  return t == Type::kBoolean || t == Type::kInteger || t == Type::kReal || t == Type::kDecimal ||
         t == Type::kDate;
}

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

bool HasAggregate(const Expr& e) {
  return (e.kind == ExprKind::kFunction && IsAggregate(e)) ||
         std::any_of(e.args.begin(), e.args.end(), [](const ExprPtr& arg) { return HasAggregate(*arg); });
}

// ---- the FROM list

OutputColumn Source::Column(int column) const {
  if (!table) return columns[column];
  OutputColumn c;
  c.name = table->ColumnName(column);
  c.type = TypeOf(table->TypeOfColumn(column));
  c.table = table;
  c.column = column;
  return c;
}

int Source::FindColumn(const std::string& column) const {
  if (table) return table->FindColumn(column);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (EqualNames(columns[i].name, column)) return static_cast<int>(i);
  }
  return -1;
}

void AddSource(Source source, Scope* scope) {
  const std::string& name = source.name();
  for (const Source& other : scope->sources) {
    if (!name.empty() && EqualNames(other.name(), name)) {
      throw Error(ErrorKind::kInvalid,
                  fmt::format("The FROM list names '{}' twice; give one of them another name.", name));
    }
  }
  scope->sources.push_back(std::move(source));
}

bool FindColumn(const std::string& table, const std::string& name, const Scope& scope, Found* found) {
  found->source = nullptr;
  for (const Source& s : scope.sources) {
    if (!table.empty() && !EqualNames(s.name(), table)) continue;
    const int column = s.FindColumn(name);
    if (column < 0) continue;
    if (found->source != nullptr) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("The column '{}' is in more than one table of the FROM list ('{}' and '{}'); put the "
                      "table's name before it.",
                      name, found->source->name(), s.name()));
    }
    found->source = &s;
    found->column = column;
  }
  return found->source != nullptr;
}

void ThrowUnknownColumn(const std::string& table, const std::string& name, const Scope& scope) {
  std::string tables;
  for (const Source& s : scope.sources) {
    if (!table.empty() && !EqualNames(s.name(), table)) continue;
    tables += (tables.empty() ? "'" : ", '") + s.name() + "'";
  }
  throw Error(ErrorKind::kNoColumn,
              !tables.empty() ? fmt::format("No column '{}' in {}.", name, tables)
              : table.empty() ? fmt::format("No column '{}': there is no FROM list.", name)
                              : fmt::format("No column '{}.{}': the table '{}' is not in the FROM list.",
                                            table, name, table));
}

// ---- what changes

Found AssignedColumn(const Assignment& assignment, const Scope& scope) {
  Found found;
  if (!FindColumn(assignment.table, assignment.column, scope, &found))
    ThrowUnknownColumn(assignment.table, assignment.column, scope);
  if (!found.source->table) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("The column '{}' belongs to a query and cannot be updated.", assignment.column));
  }
  return found;
}

const Source& DeleteTarget(const Statement& s, const Scope& scope) {
  const Source* target = nullptr;
  if (s.table.empty()) {
    if (scope.sources.size() != 1) {
      throw Error(ErrorKind::kInvalid,
                  "A DELETE from several tables must name the one whose rows go: DELETE t.* FROM ...");
    }
    target = &scope.sources[0];
  } else {
    for (const Source& source : scope.sources) {
      if (EqualNames(source.name(), s.table)) target = &source;
    }
    if (target == nullptr)
      throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' is not in the FROM list.", s.table));
  }
  if (!target->table) throw Error(ErrorKind::kNotSupported, "Rows of a query cannot be deleted.");
  return *target;
}

std::vector<int> ColumnsNamed(const NamedTable& target, const std::vector<std::string>& names) {
  std::vector<int> columns;
  for (const std::string& name : names) {
    const int column = target.FindColumn(name);
    if (column < 0)
      throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}' in '{}'.", name, target.TableName()));
    if (std::find(columns.begin(), columns.end(), column) != columns.end())
      throw Error(ErrorKind::kInvalid, fmt::format("The column '{}' is given two values.", name));
    columns.push_back(column);
  }
  return columns;
}

std::vector<int> InsertColumns(const NamedTable& target, const Statement& s,
                               const std::vector<OutputColumn>& query) {
  const bool values = s.kind == StatementKind::kInsertValues;
  const std::size_t given = values ? s.values.size() : query.size();
  std::vector<std::string> names;
  if (!s.columns.empty()) {
    if (s.columns.size() != given) {
      throw Error(ErrorKind::kInvalid, fmt::format("INSERT INTO '{}' names {} columns but gives {} values.",
                                                   target.TableName(), s.columns.size(), given));
    }
    for (const auto& [name, offset] : s.columns) names.push_back(name);
  } else if (values) {
    const auto count = static_cast<std::size_t>(target.CountColumns());
    if (count != given) {
      throw Error(ErrorKind::kInvalid,
                  fmt::format("INSERT INTO '{}' gives {} values, but the table has {} columns.",
                              target.TableName(), given, count));
    }
    std::vector<int> all(given);
    std::iota(all.begin(), all.end(), 0);
    return all;
  } else {
    for (const OutputColumn& column : query) names.push_back(column.name);
  }
  return ColumnsNamed(target, names);
}

// ---- grouping

namespace {

bool AreSame(const Expr& a, const Expr& b, const Scope& scope) {
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

void RequireGrouped(const Select& select, const Expr& e, const Scope& scope) {
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

// The sources that an expression takes columns from.
void MarkSources(const Expr& e, const Scope& scope, std::vector<bool>* marks) {
  Found found;
  if (e.kind == ExprKind::kColumn && FindColumn(e.table, e.name, scope, &found))
    (*marks)[found.source - scope.sources.data()] = true;
  for (const ExprPtr& arg : e.args) MarkSources(*arg, scope, marks);
}

}  // namespace

void RequireGrouped(const Select& select, const Scope& scope) {
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

std::vector<bool> ShownSources(const Select& select, const Scope& scope) {
  std::vector<bool> shown(scope.sources.size());
  for (const SelectItem& item : select.items) {
    if (item.expr) MarkSources(*item.expr, scope, &shown);
    for (std::size_t i = 0; item.star && i < shown.size(); ++i)
      shown[i] = shown[i] || item.star_table.empty() || EqualNames(scope.sources[i].name(), item.star_table);
  }
  return shown;
}

void TellNamesApart(std::vector<OutputColumn>* columns) {
  std::unordered_map<std::string, std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < columns->size(); ++i) {
    if ((*columns)[i].table) places[LowerText((*columns)[i].name)].push_back(i);
  }
  for (const auto& [name, same] : places) {
    const std::string& first = (*columns)[same[0]].table->TableName();
    if (std::all_of(same.begin(), same.end(),
                    [&](std::size_t i) { return (*columns)[i].table->TableName() == first; }))
      continue;
    for (const std::size_t i : same) {
      OutputColumn& c = (*columns)[i];
      c.name = c.table->TableName() + "." + c.name;
    }
  }
}

}  // namespace jet::sql
