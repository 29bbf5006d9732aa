// Statements, tables and rows.
#include "db/server_provider/server_printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"

namespace vnt::db {

using jet::Error;
using jet::ErrorKind;
using jet::sql::Assignment;
using jet::sql::ExprKind;
using jet::sql::Join;
using jet::sql::NamedTable;
using jet::sql::OutputColumn;
using jet::sql::Printer;
using jet::sql::Select;
using jet::sql::Statement;

namespace {

const ServerTable& TableOf(const NamedTable& table) { return static_cast<const ServerTable&>(table); }

ServerOutput OutputOf(const OutputColumn& c) {
  ServerOutput out;
  out.name = c.name;
  out.type = c.type;
  if (!c.table) return out;
  const ServerColumn& of = TableOf(*c.table).columns[c.column];
  out.column_type = of.type;
  out.characters = of.characters;
  out.precision = of.precision;
  out.scale = of.scale;
  out.column = c.column;
  return out;
}

}  // namespace

// ---- tables and rows

ServerTablePtr ServerPrinter::Target(const std::string& name) {
  ServerTablePtr table = catalog_.Find(name);
  if (!table) throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", name));
  return table;
}

std::string ServerPrinter::TableSql(const std::string& name, const std::string& file, Source* source) {
  if (!file.empty()) {
    throw Error(ErrorKind::kNotSupported,
                "On a server IN 'file' can only stand in SELECT ... INTO and INSERT ... SELECT.");
  }
  const ServerTablePtr table = Target(name);
  mentions_.push_back(table->name);
  source->table = table;
  return dialect_.Name(table->name);
}

std::vector<std::string> ServerPrinter::KeyNames(const ServerTable& table) const {
  std::vector<std::string> names;
  for (const int column : table.key) names.push_back(dialect_.Name(table.columns[column].name));
  if (names.empty()) {
    names.push_back(table.has_order ? dialect_.Name(kOrderColumn) : std::string(dialect_.place_column()));
  }
  return names;
}

std::vector<std::string> ServerPrinter::RowNames(const Source& source) const {
  std::vector<std::string> names = KeyNames(TableOf(*source.table));
  for (std::string& name : names) name = source.sql_alias + "." + name;
  return names;
}

std::vector<std::string> ServerPrinter::RowOrder(const Source& source) const {
  if (TableOf(*source.table).has_order) return {source.sql_alias + "." + dialect_.Name(kOrderColumn)};
  return RowNames(source);
}

std::vector<std::string> ServerPrinter::DistinctRows(const Select&, const Scope&) const {
  throw Error(ErrorKind::kNotSupported, "DISTINCTROW over several tables is not supported on a server.");
}

std::string ServerPrinter::Order(const std::string& sql, bool descending) const {
  return dialect_.Order(sql, descending);
}

std::string ServerPrinter::PercentSql(double) const {
  throw Error(ErrorKind::kNotSupported, "TOP ... PERCENT is not supported on a server.");
}

Printer::Item ServerPrinter::ItemOf(Printed p, bool, std::size_t position) const {
  return {std::move(p.sql), fmt::format("{}", position)};
}

// ---- statements

ServerStatement ServerPrinter::Finished(std::string sql, const ServerTable& target) {
  ServerStatement printed;
  printed.sql = std::move(sql);
  printed.target = target.name;
  printed.tables = std::move(mentions_);
  printed.helpers = std::move(helpers_);
  return printed;
}

ServerQuery ServerPrinter::Query(const Select& select, bool want_row) {
  ServerQuery query;
  std::vector<OutputColumn> columns;
  jet::sql::NamedTablePtr base;
  query.sql = PrintSelect(select, nullptr, Use::kResult, &columns, want_row ? &base : nullptr);
  for (const OutputColumn& c : columns) query.columns.push_back(OutputOf(c));
  query.base = std::static_pointer_cast<const ServerTable>(base);
  query.tables = std::move(mentions_);
  query.helpers = std::move(helpers_);
  return query;
}

ServerStatement ServerPrinter::Update(const Statement& s) {
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source* target = nullptr;
  std::vector<std::pair<const ServerColumn*, std::string>> values;
  for (const Assignment& a : s.assignments) {
    const jet::sql::Found found = AssignedColumn(a, scope);
    if (target != nullptr && target != found.source)
      throw Error(ErrorKind::kNotSupported, "An UPDATE of two tables at once is not supported on a server.");
    target = found.source;
    const ServerColumn& column = TableOf(*target->table).columns[found.column];
    values.emplace_back(&column, AssignSql(Print(*a.expr, &scope), column));
  }
  const std::string where = WhereSql(*s.select, &scope);
  if (scope.sources.size() > 1) return UpdateJoined(values, *target, scope, from + where);
  std::string sets, differs;
  for (const auto& [column, value] : values) {
    const std::string name = dialect_.Name(column->name);
    sets += (sets.empty() ? "" : ", ") + name + " = " + value;
    differs +=
        (differs.empty() ? "" : " OR ") + dialect_.Differs(target->sql_alias + "." + name, value, *column);
  }
  const std::string update = "UPDATE " + target->from_sql + " SET " + sets;
  ServerStatement printed = Finished(update + where, TableOf(*target->table));
  printed.change = update + (where.empty() ? " WHERE (" : where + " AND (") + differs + ")";
  printed.count = "SELECT count(*)" + from + where;
  return printed;
}

// Of several rows that match, the last one counts.
ServerStatement ServerPrinter::UpdateJoined(
    const std::vector<std::pair<const ServerColumn*, std::string>>& values, const Source& target,
    const Scope& scope, const std::string& joined) {
  const ServerTable& table = TableOf(*target.table);
  const std::vector<std::string> rows = RowNames(target), names = KeyNames(table);
  std::string sets, items, match;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    items += fmt::format("{} AS r{}, ", rows[i], i);
    match += fmt::format("{}u.{} = s.r{}", i == 0 ? "" : " AND ", names[i], i);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    items += fmt::format("{} AS v{}, ", values[i].second, i);
    sets += fmt::format("{}{} = s.v{}", i == 0 ? "" : ", ", dialect_.Name(values[i].first->name), i);
  }
  std::vector<std::string> last = scope.row_order;
  for (std::string& term : last) term = dialect_.Order(term, true);
  items += fmt::format("row_number() OVER (PARTITION BY {} ORDER BY {}) AS place", Join(rows), Join(last));
  return Finished(fmt::format("UPDATE {} AS u SET {} FROM (SELECT {}{}) AS s WHERE {} AND s.place = 1",
                              dialect_.Name(table.name), sets, items, joined, match),
                  table);
}

ServerStatement ServerPrinter::Delete(const Statement& s) {
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source& target = DeleteTarget(s, scope);
  const ServerTable& table = TableOf(*target.table);
  const std::string where = WhereSql(*s.select, &scope);
  if (scope.sources.size() == 1) return Finished("DELETE" + from + where, table);
  return Finished(fmt::format("DELETE FROM {} AS u WHERE ({}) IN (SELECT {}{}{})", dialect_.Name(table.name),
                              "u." + Join(KeyNames(table), ", u."), Join(RowNames(target)), from, where),
                  table);
}

ServerStatement ServerPrinter::ChangeRows(
    const Statement& s, const std::vector<std::pair<const ServerColumn*, jet::Value>>& constants) {
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source& target = scope.sources[0];
  const ServerTable& table = TableOf(*target.table);
  std::string head, row, names, match;
  if (s.kind == jet::sql::StatementKind::kUpdate) {
    head = "UPDATE " + target.from_sql + " SET ";
    for (const Assignment& a : s.assignments) {
      const ServerColumn& column = table.columns[AssignedColumn(a, scope).column];
      head += (&a == &s.assignments[0] ? "" : ", ") + dialect_.Name(column.name) + " = " +
              AssignSql(Print(*a.expr, &scope), column);
    }
    head += " FROM (VALUES ";
  } else {
    head = "DELETE" + from + " USING (VALUES ";
  }
  for (std::size_t i = 0; i < constants.size(); ++i) {
    const auto& [column, value] = constants[i];
    row += (i == 0 ? "(" : ", ") + dialect_.Cast(dialect_.Literal(value, column->type), *column);
    names += fmt::format("{}k{}", i == 0 ? "" : ", ", i);
    match += fmt::format(" AND {}.{} = v.k{}", target.sql_alias, dialect_.Name(column->name), i);
  }
  row += ")";
  const std::string where = s.select->where ? Condition(*s.select->where, &scope) : "TRUE";
  const std::string tail = ") AS v(" + names + ") WHERE " + where + match;
  ServerStatement printed = Finished(head + row + tail, table);
  printed.head = std::move(head);
  printed.row = std::move(row);
  printed.tail = tail;
  return printed;
}

ServerStatement ServerPrinter::InsertValues(const Statement& s) {
  const ServerTablePtr target = Target(s.table);
  const std::vector<int> columns = InsertColumns(*target, s, {});
  Scope scope;
  std::string names, values;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const ServerColumn& column = target->columns[columns[i]];
    names += (i == 0 ? "" : ", ") + dialect_.Name(column.name);
    values += (i == 0 ? "" : ", ") + AssignSql(Print(*s.values[i], &scope), column);
  }
  const std::string head = fmt::format("INSERT INTO {} ({}) VALUES ", dialect_.Name(target->name), names);
  const bool constant = std::ranges::all_of(s.values, [](const jet::sql::ExprPtr& e) {
    const Expr& value = e->kind == ExprKind::kNegate ? *e->args[0] : *e;
    return value.kind == ExprKind::kConstant || value.kind == ExprKind::kNull;
  });
  ServerStatement printed = Finished(head + "(" + values + ")", *target);
  if (constant) {
    printed.head = head;
    printed.row = "(" + values + ")";
  }
  return printed;
}

ServerStatement ServerPrinter::InsertRows(const ServerTable& target, const std::vector<int>& columns,
                                          const std::vector<OutputColumn>& given, const std::string& query) {
  std::string list, values;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const ServerColumn& column = target.columns[columns[i]];
    Printed value;
    value.sql = fmt::format("s.c{}", i);
    value.type = given[i].type;
    value.truth = value.type == Type::kBoolean;
    list += (i == 0 ? "" : ", ") + dialect_.Name(column.name);
    values += (i == 0 ? "" : ", ") + AssignSql(value, column);
  }
  return Finished(fmt::format("INSERT INTO {} ({}) SELECT {} FROM ({}) AS s", dialect_.Name(target.name),
                              list, values, query),
                  target);
}

ServerStatement ServerPrinter::InsertSelect(const Statement& s) {
  const ServerTablePtr target = Target(s.table);
  std::vector<OutputColumn> given;
  const std::string query = PrintSelect(*s.select, nullptr, Use::kRows, &given);
  return InsertRows(*target, InsertColumns(*target, s, given), given, query);
}

ServerStatement ServerPrinter::Fill(const ServerTable& target, const Select& select) {
  std::vector<OutputColumn> given;
  const std::string query = PrintSelect(select, nullptr, Use::kRows, &given);
  std::vector<int> columns;
  for (std::size_t i = 0; i < given.size(); ++i) columns.push_back(static_cast<int>(i));
  return InsertRows(target, columns, given, query);
}

}  // namespace vnt::db
