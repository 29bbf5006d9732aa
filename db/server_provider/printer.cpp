#include "db/server_provider/printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"
#include "access/sql/translate_support.h"

namespace vnt::db {

using jet::EqualNames;
using jet::Error;
using jet::ErrorKind;
using jet::sql::Assignment;
using jet::sql::ExprKind;
using jet::sql::Op;
using jet::sql::OrderTerm;
using jet::sql::Select;
using jet::sql::SelectItem;
using jet::sql::Statement;
using jet::sql::TableRef;

namespace {

std::string Join(const std::vector<std::string>& parts, const char* between = ", ") {
  std::string out;
  for (const std::string& p : parts) out += (out.empty() ? "" : between) + p;
  return out;
}

}  // namespace

int ServerTable::FindColumn(std::string_view wanted) const {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (EqualNames(columns[i].name, wanted)) return static_cast<int>(i);
  }
  return -1;
}

bool ServerTable::Divides(std::string_view column) const {
  return std::ranges::all_of(indexes, [&](const ServerIndex& index) {
    return !index.unique || std::ranges::any_of(index.columns, [&](const auto& of) {
      return columns[of.first].name == column;
    });
  });
}

// ---- rows

std::vector<std::string> ServerPrinter::RowNames(const ServerTable& table) const {
  std::vector<std::string> names;
  for (const int column : table.key) names.push_back(dialect_.Name(table.columns[column].name));
  if (names.empty()) {
    names.push_back(table.has_order ? dialect_.Name(kOrderColumn) : std::string(dialect_.place_column()));
  }
  return names;
}

std::vector<std::string> ServerPrinter::RowSql(const Source& source) const {
  std::vector<std::string> names = RowNames(*source.table);
  for (std::string& name : names) name = source.sql_alias + "." + name;
  return names;
}

std::vector<std::string> ServerPrinter::OrderSql(const Source& source) const {
  if (source.table->has_order) return {source.sql_alias + "." + dialect_.Name(kOrderColumn)};
  return RowSql(source);
}

ServerTablePtr ServerPrinter::Target(const std::string& name) {
  ServerTablePtr table = catalog_.Find(name);
  if (!table) throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", name));
  return table;
}

ServerStatement ServerPrinter::Finished(std::string sql, const ServerTable& target) {
  ServerStatement printed;
  printed.sql = std::move(sql);
  printed.target = target.name;
  printed.tables = std::move(mentions_);
  printed.helpers = std::move(helpers_);
  return printed;
}

// ---- statements

ServerQuery ServerPrinter::Query(const Select& select, bool want_row) {
  ServerQuery query;
  query.sql = PrintSelect(select, nullptr, true, true, want_row, &query.columns, &query.base);
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
    Found found;
    if (!FindColumn(a.table, a.column, scope, &found)) {
      Expr name;
      name.table = a.table;
      name.name = a.column;
      UnknownColumn(name, scope);
    }
    if (!found.source->table)
      throw Error(ErrorKind::kNotSupported,
                  fmt::format("The column '{}' belongs to a query and cannot be updated.", a.column));
    if (target != nullptr && target != found.source)
      throw Error(ErrorKind::kNotSupported, "An UPDATE of two tables at once is not supported on a server.");
    target = found.source;
    const ServerColumn& column = target->table->columns[found.column];
    values.emplace_back(&column, AssignSql(Print(*a.expr, &scope), column));
  }
  const std::string where = WhereSql(*s.select, &scope);
  std::string sets;
  const auto set = [&](const ServerColumn& column, const std::string& value) {
    sets += (sets.empty() ? "" : ", ") + dialect_.Name(column.name) + " = " + value;
  };
  if (scope.sources.size() == 1) {
    std::string differs;
    for (const auto& [column, value] : values) {
      set(*column, value);
      differs += (differs.empty() ? "" : " OR ") +
                 dialect_.Differs(target->sql_alias + "." + dialect_.Name(column->name), value, *column);
    }
    const std::string update = "UPDATE " + target->from_sql + " SET " + sets;
    ServerStatement printed = Finished(update + where, *target->table);
    printed.change = update + (where.empty() ? " WHERE (" : where + " AND (") + differs + ")";
    printed.count = "SELECT count(*)" + from + where;
    return printed;
  }
  // Of several rows that match, the last one counts.
  const std::vector<std::string> rows = RowSql(*target);
  const std::vector<std::string> names = RowNames(*target->table);
  std::string items, match;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    items += fmt::format("{} AS r{}, ", rows[i], i);
    match += fmt::format("{}u.{} = s.r{}", i == 0 ? "" : " AND ", names[i], i);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    items += fmt::format("{} AS v{}, ", values[i].second, i);
    set(*values[i].first, fmt::format("s.v{}", i));
  }
  std::vector<std::string> last = scope.row_order;
  for (std::string& term : last) term = dialect_.Order(term, true);
  items += fmt::format("row_number() OVER (PARTITION BY {} ORDER BY {}) AS place", Join(rows), Join(last));
  return Finished(fmt::format("UPDATE {} AS u SET {} FROM (SELECT {}{}{}) AS s WHERE {} AND s.place = 1",
                              dialect_.Name(target->table->name), sets, items, from, where, match),
                  *target->table);
}

ServerStatement ServerPrinter::Delete(const Statement& s) {
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source* target = nullptr;
  if (s.table.empty()) {
    if (scope.sources.size() != 1) {
      throw Error(ErrorKind::kInvalid,
                  "A DELETE from several tables must name the one whose rows go: DELETE t.* FROM ...");
    }
    target = &scope.sources[0];
  } else {
    for (const Source& source : scope.sources) {
      if (EqualNames(SourceName(source), s.table)) target = &source;
    }
    if (target == nullptr)
      throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' is not in the FROM list.", s.table));
  }
  if (!target->table) throw Error(ErrorKind::kNotSupported, "Rows of a query cannot be deleted.");
  const std::string where = WhereSql(*s.select, &scope);
  if (scope.sources.size() == 1) return Finished("DELETE" + from + where, *target->table);
  return Finished(
      fmt::format("DELETE FROM {} AS u WHERE ({}) IN (SELECT {}{}{})", dialect_.Name(target->table->name),
                  "u." + Join(RowNames(*target->table), ", u."), Join(RowSql(*target)), from, where),
      *target->table);
}

ServerStatement ServerPrinter::ChangeRows(
    const Statement& s, const std::vector<std::pair<const ServerColumn*, jet::Value>>& constants) {
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source& target = scope.sources[0];
  ServerStatement printed;
  if (s.kind == jet::sql::StatementKind::kUpdate) {
    printed.head = "UPDATE " + target.from_sql + " SET ";
    for (const Assignment& a : s.assignments) {
      Found found;
      Expr name;
      name.table = a.table;
      name.name = a.column;
      if (!FindColumn(a.table, a.column, scope, &found)) UnknownColumn(name, scope);
      const ServerColumn& column = target.table->columns[found.column];
      printed.head += (&a == &s.assignments[0] ? "" : ", ") + dialect_.Name(column.name) + " = " +
                      AssignSql(Print(*a.expr, &scope), column);
    }
    printed.head += " FROM (VALUES ";
  } else {
    printed.head = "DELETE" + from + " USING (VALUES ";
  }
  std::string names, match;
  for (std::size_t i = 0; i < constants.size(); ++i) {
    const auto& [column, value] = constants[i];
    printed.row += (i == 0 ? "(" : ", ") + dialect_.Cast(dialect_.Literal(value, column->type), *column);
    names += fmt::format("{}k{}", i == 0 ? "" : ", ", i);
    match += fmt::format(" AND {}.{} = v.k{}", target.sql_alias, dialect_.Name(column->name), i);
  }
  printed.row += ")";
  const std::string where = s.select->where ? Condition(*s.select->where, &scope) : "TRUE";
  printed.tail = ") AS v(" + names + ") WHERE " + where + match;
  ServerStatement finished = Finished(printed.head + printed.row + printed.tail, *target.table);
  finished.head = std::move(printed.head);
  finished.row = std::move(printed.row);
  finished.tail = std::move(printed.tail);
  return finished;
}

std::vector<int> ServerPrinter::TargetColumns(const ServerTable& target,
                                              const std::vector<std::string>& names) {
  std::vector<int> columns;
  for (const std::string& name : names) {
    const int column = target.FindColumn(name);
    if (column < 0)
      throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}' in '{}'.", name, target.name));
    if (std::ranges::find(columns, column) != columns.end())
      throw Error(ErrorKind::kInvalid, fmt::format("The column '{}' is given two values.", name));
    columns.push_back(column);
  }
  return columns;
}

namespace {

std::vector<std::string> NamesOf(const Statement& s) {
  std::vector<std::string> names;
  for (const auto& [name, offset] : s.columns) names.push_back(name);
  return names;
}

void RequireAsMany(const ServerTable& target, std::size_t names, std::size_t values) {
  if (names != values) {
    throw Error(ErrorKind::kInvalid, fmt::format("INSERT INTO '{}' names {} columns but gives {} values.",
                                                 target.name, names, values));
  }
}

}  // namespace

ServerStatement ServerPrinter::InsertValues(const Statement& s) {
  const ServerTablePtr target = Target(s.table);
  std::vector<int> columns = TargetColumns(*target, NamesOf(s));
  if (columns.empty()) {
    if (target->columns.size() != s.values.size()) {
      throw Error(ErrorKind::kInvalid,
                  fmt::format("INSERT INTO '{}' gives {} values, but the table has {} columns.", target->name,
                              s.values.size(), target->columns.size()));
    }
    for (std::size_t i = 0; i < s.values.size(); ++i) columns.push_back(static_cast<int>(i));
  }
  RequireAsMany(*target, columns.size(), s.values.size());
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

ServerStatement ServerPrinter::InsertSelect(const Statement& s) {
  const ServerTablePtr target = Target(s.table);
  std::vector<ServerOutput> given;
  const std::string query = PrintSelect(*s.select, nullptr, false, true, false, &given, nullptr);
  std::vector<std::string> names = NamesOf(s);
  if (names.empty()) {
    for (const ServerOutput& column : given) names.push_back(column.name);
  }
  RequireAsMany(*target, names.size(), given.size());
  const std::vector<int> columns = TargetColumns(*target, names);
  std::string list, values;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const ServerColumn& column = target->columns[columns[i]];
    Printed value;
    value.sql = fmt::format("s.c{}", i);
    value.type = given[i].type;
    value.truth = value.type == Type::kBoolean;
    list += (i == 0 ? "" : ", ") + dialect_.Name(column.name);
    values += (i == 0 ? "" : ", ") + AssignSql(value, column);
  }
  return Finished(fmt::format("INSERT INTO {} ({}) SELECT {} FROM ({}) AS s", dialect_.Name(target->name),
                              list, values, query),
                  *target);
}

ServerStatement ServerPrinter::Fill(const ServerTable& target, const Select& select) {
  std::vector<ServerOutput> given;
  const std::string query = PrintSelect(select, nullptr, false, true, false, &given, nullptr);
  std::string list, values;
  for (std::size_t i = 0; i < given.size(); ++i) {
    Printed value;
    value.sql = fmt::format("s.c{}", i);
    value.type = given[i].type;
    value.truth = value.type == Type::kBoolean;
    list += (i == 0 ? "" : ", ") + dialect_.Name(target.columns[i].name);
    values += (i == 0 ? "" : ", ") + AssignSql(value, target.columns[i]);
  }
  return Finished(fmt::format("INSERT INTO {} ({}) SELECT {} FROM ({}) AS s", dialect_.Name(target.name),
                              list, values, query),
                  target);
}

// ---- FROM

void ServerPrinter::Declare(const TableRef& ref, const Scope* outer, Scope* scope) {
  if (ref.kind == TableRef::kJoin) {
    Declare(*ref.left, outer, scope);
    Declare(*ref.right, outer, scope);
    return;
  }
  Source source;
  source.alias = ref.alias;
  source.sql_alias = fmt::format("a{}", next_alias_++);
  if (ref.kind == TableRef::kTable) {
    source.table = Target(ref.name);
    source.from_sql = dialect_.Name(source.table->name) + " AS " + source.sql_alias;
    mentions_.push_back(source.table->name);
  } else {
    source.from_sql = "(" + PrintSelect(*ref.select, outer, false, true, false, &source.columns, nullptr) +
                      ") AS " + source.sql_alias;
  }
  for (const Source& other : scope->sources) {
    if (!SourceName(source).empty() && EqualNames(SourceName(other), SourceName(source))) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("The FROM list names '{}' twice; give one of them another name.", SourceName(source)));
    }
  }
  scope->sources.push_back(std::move(source));
}

std::string ServerPrinter::PrintRef(const TableRef& ref, Scope* scope, std::size_t* next) {
  if (ref.kind != TableRef::kJoin) {
    const Source& source = scope->sources[(*next)++];
    if (source.table) {
      for (std::string& term : OrderSql(source)) scope->row_order.push_back(std::move(term));
    }
    return source.from_sql;
  }
  const std::string left = PrintRef(*ref.left, scope, next);
  std::string right = PrintRef(*ref.right, scope, next);
  if (ref.right->kind == TableRef::kJoin) right = "(" + right + ")";
  const char* word = ref.join == TableRef::kInner  ? " JOIN "
                     : ref.join == TableRef::kLeft ? " LEFT JOIN "
                                                   : " RIGHT JOIN ";
  return left + word + right + " ON " + Condition(*ref.on, scope);
}

std::string ServerPrinter::PrintFrom(const Select& select, const Scope* outer, Scope* scope) {
  if (!select.in_file.empty()) {
    throw Error(ErrorKind::kNotSupported,
                "On a server IN 'file' can only stand in SELECT ... INTO and INSERT ... SELECT.");
  }
  scope->outer = outer;
  for (const auto& ref : select.from) Declare(*ref, outer, scope);
  std::string sql;
  std::size_t next = 0;
  for (const auto& ref : select.from) sql += (sql.empty() ? " FROM " : ", ") + PrintRef(*ref, scope, &next);
  return sql;
}

std::string ServerPrinter::WhereSql(const Select& select, Scope* scope) {
  return select.where ? " WHERE " + Condition(*select.where, scope) : std::string();
}

// ---- SELECT

void ServerPrinter::PrintItems(const Select& select, Scope* scope, std::vector<Printed>* items,
                               std::vector<ServerOutput>* columns) {
  const auto add = [&](Printed p, std::string name) {
    ServerOutput out;
    out.name = std::move(name);
    out.type = p.type;
    if (p.column != nullptr) {
      out.column_type = p.column->type;
      out.characters = p.column->characters;
      out.precision = p.column->precision;
      out.scale = p.column->scale;
      out.column = p.position;
    }
    columns->push_back(std::move(out));
    items->push_back(std::move(p));
  };
  int unnamed = 0;
  for (const SelectItem& item : select.items) {
    if (!item.star) {
      Printed p = Print(*item.expr, scope);
      std::string name = item.alias;
      if (name.empty() && item.expr->kind == ExprKind::kColumn)
        name = p.column != nullptr ? p.column->name : item.expr->name;
      if (name.empty()) name = fmt::format("Expr{}", 1000 + unnamed++);
      add(std::move(p), std::move(name));
      continue;
    }
    bool any = false;
    for (const Source& s : scope->sources) {
      if (!item.star_table.empty() && !EqualNames(SourceName(s), item.star_table)) continue;
      any = true;
      const std::size_t count = s.table ? s.table->columns.size() : s.columns.size();
      for (std::size_t i = 0; i < count; ++i)
        add(ColumnOf(s, static_cast<int>(i)), s.table ? s.table->columns[i].name : s.columns[i].name);
    }
    if (any) continue;
    if (item.star_table.empty()) jet::sql::ThrowSyntax(text_, item.offset, 1);
    throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' is not in the FROM list.", item.star_table));
  }
}

void ServerPrinter::PrintOrder(const Select& select, Scope* scope, const std::vector<Printed>& items,
                               const std::vector<ServerOutput>& columns, std::vector<std::string>* order) {
  for (const OrderTerm& term : select.order_by) {
    const Expr& e = *term.expr;
    std::string sql;
    if (e.kind == ExprKind::kConstant && e.value.kind() == jet::ValueKind::kInteger) {
      const std::int64_t position = e.value.integer();
      if (position < 1 || position > std::ssize(items)) {
        jet::sql::ThrowSyntax(text_, e.offset, "ORDER BY names an output column that does not exist,");
      }
      sql = fmt::format("{}", position);
    } else if (e.kind == ExprKind::kColumn && e.table.empty()) {
      // A column of the tables comes before an alias of the same name.
      Found found;
      if (!FindColumn("", e.name, *scope, &found)) {
        for (std::size_t i = 0; i < columns.size() && sql.empty(); ++i) {
          if (EqualNames(columns[i].name, e.name)) sql = fmt::format("{}", i + 1);
        }
      }
    }
    if (sql.empty()) {
      sql = ValueSql(Print(e, scope));
      // DISTINCT wants its own columns; a bare number would be a position.
      for (std::size_t i = 0; i < items.size(); ++i) {
        if (select.distinct && ValueSql(items[i]) == sql) {
          sql = fmt::format("{}", i + 1);
          break;
        }
      }
    }
    order->push_back(dialect_.Order(sql, term.descending));
  }
}

// Equal names of columns of several tables are told apart by their tables.
void ServerPrinter::TellNamesApart(const Scope& scope, std::vector<ServerOutput>* columns) const {
  if (scope.sources.size() < 2) return;
  std::vector<std::string> names;
  for (const ServerOutput& c : *columns) names.push_back(c.name);
  for (std::size_t i = 0; i < names.size(); ++i) {
    ServerOutput& c = (*columns)[i];
    if (!c.column_type) continue;
    const bool twice = std::ranges::count_if(
                           names, [&](const std::string& other) { return EqualNames(other, names[i]); }) > 1;
    if (!twice) continue;
    // Which table it is of: columns come in the order of the sources where "*" gave them.
    std::size_t nth = static_cast<std::size_t>(
        std::count_if(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(i),
                      [&](const std::string& other) { return EqualNames(other, names[i]); }));
    for (const Source& s : scope.sources) {
      if (!s.table || s.table->FindColumn(names[i]) < 0) continue;
      if (nth-- == 0) {
        c.name = s.table->name + "." + c.name;
        break;
      }
    }
  }
}

std::string ServerPrinter::PrintSelect(const Select& select, const Scope* outer, bool is_result, bool ordered,
                                       bool want_row, std::vector<ServerOutput>* columns,
                                       ServerTablePtr* base) {
  if (select.nested || !select.unions.empty()) return PrintCompound(select, outer, columns);
  return PrintSingle(select, outer, is_result, ordered, want_row, columns, base);
}

std::string ServerPrinter::PrintSingle(const Select& select, const Scope* outer, bool is_result, bool ordered,
                                       bool want_row, std::vector<ServerOutput>* columns,
                                       ServerTablePtr* base) {
  Scope scope;
  const std::string from = PrintFrom(select, outer, &scope);
  std::vector<Printed> items;
  PrintItems(select, &scope, &items, columns);
  std::string rest = from + WhereSql(select, &scope);
  std::vector<std::string> groups;
  for (const auto& e : select.group_by) groups.push_back(ValueSql(Print(*e, &scope)));
  if (!groups.empty()) rest += " GROUP BY " + Join(groups);
  if (select.having) rest += " HAVING " + Condition(*select.having, &scope);
  if (select.distinct_row && !select.distinct && scope.sources.size() > 1)
    throw Error(ErrorKind::kNotSupported, "DISTINCTROW over several tables is not supported on a server.");

  std::vector<std::string> order;
  if (ordered || select.top) PrintOrder(select, &scope, items, *columns, &order);
  const std::vector<std::string> stated = order;
  const bool ties = select.top && !order.empty() && !select.distinct;
  // Rows of tables as the tables hold them, groups and distinct rows by their values.
  if (ordered || select.top) {
    std::vector<std::string> terms;
    if (select.distinct) {
      for (std::size_t i = 0; i < items.size(); ++i) terms.push_back(fmt::format("{}", i + 1));
    } else if (!groups.empty()) {
      terms = groups;
    } else if (!scope.aggregates && !select.having) {
      terms = scope.row_order;
    }
    for (const std::string& term : terms) {
      std::string sql = dialect_.Order(term, false);
      if (std::ranges::find(order, sql) == order.end()) order.push_back(std::move(sql));
    }
  }
  const bool rows_of_one_table = scope.sources.size() == 1 && scope.sources[0].table && !select.distinct &&
                                 select.group_by.empty() && !select.having && !scope.aggregates;
  std::vector<std::string> shown;
  for (const Printed& item : items) shown.push_back(item.sql);
  if (rows_of_one_table && want_row && base != nullptr) {
    *base = scope.sources[0].table;
    for (std::string& name : RowSql(scope.sources[0])) shown.push_back(std::move(name));
  }
  if (is_result) TellNamesApart(scope, columns);
  if (select.top_percent)
    throw Error(ErrorKind::kNotSupported, "TOP ... PERCENT is not supported on a server.");
  const auto top = static_cast<std::int64_t>(select.top ? std::max(0.0, std::min(*select.top, 9e15)) : 0);
  if (ties) return WithTies(shown, rest, stated, order, top, !is_result);
  std::string list;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    list += (i == 0 ? "" : ", ") + shown[i];
    if (!is_result) list += fmt::format(" AS c{}", i);
  }
  std::string sql = (select.distinct ? "SELECT DISTINCT " : "SELECT ") + list + rest;
  if (!order.empty()) sql += " ORDER BY " + Join(order);
  return select.top ? sql + dialect_.Limit(top) : sql;
}

// Every row that compares equal to the last one comes, too; what breaks ties takes no part in that.
std::string ServerPrinter::WithTies(const std::vector<std::string>& shown, const std::string& rest,
                                    std::vector<std::string> stated, std::vector<std::string> order,
                                    std::int64_t top, bool name_columns) const {
  std::string inner, outer;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    inner += fmt::format("{} AS n{}, ", shown[i], i);
    outer += fmt::format("{}t.n{}", i == 0 ? "" : ", ", i);
    if (name_columns) outer += fmt::format(" AS c{}", i);
  }
  // Positions mean nothing within OVER.
  for (std::vector<std::string>* terms : {&stated, &order}) {
    for (std::string& term : *terms) {
      const std::size_t digits = std::min(term.find_first_not_of("0123456789"), term.size());
      if (digits > 0) term = shown[std::stoul(term.substr(0, digits)) - 1] + term.substr(digits);
    }
  }
  return fmt::format(
      "SELECT {} FROM (SELECT {}rank() OVER (ORDER BY {}) AS ranked, row_number() OVER (ORDER BY {}) AS "
      "place{}) "
      "AS t WHERE t.ranked <= {} ORDER BY t.place",
      outer, inner, Join(stated), Join(order), rest, top);
}

std::string ServerPrinter::PrintCompound(const Select& select, const Scope* outer,
                                         std::vector<ServerOutput>* columns) {
  int member_number = 0;
  const auto member_sql = [&](const Select& member, bool first, std::vector<ServerOutput>* out) {
    // The order of the first member belongs to the whole.
    const std::string sql = member.nested
                                ? PrintSelect(*member.nested, outer, false, true, false, out, nullptr)
                                : PrintSingle(member, outer, false, !first, false, out, nullptr);
    return fmt::format("SELECT * FROM ({}) AS m{}", sql, member_number++);
  };
  std::string sql = member_sql(select, true, columns);
  for (const Select::Member& member : select.unions) {
    std::vector<ServerOutput> others;
    sql += (member.all ? " UNION ALL " : " UNION ") + member_sql(*member.select, false, &others);
    if (others.size() != columns->size())
      throw Error(ErrorKind::kInvalid, "The queries that a UNION joins have different numbers of columns.");
  }
  for (ServerOutput& c : *columns) c.column_type.reset(), c.column = -1;
  std::string order;
  for (const OrderTerm& term : select.order_by) {
    std::size_t position = 0;
    const Expr& e = *term.expr;
    if (e.kind == ExprKind::kConstant && e.value.kind() == jet::ValueKind::kInteger) {
      position = static_cast<std::size_t>(e.value.integer());
    } else if (e.kind == ExprKind::kColumn) {
      for (std::size_t i = 0; i < columns->size() && position == 0; ++i) {
        if (EqualNames((*columns)[i].name, e.name)) position = i + 1;
      }
    }
    if (position < 1 || position > columns->size())
      jet::sql::ThrowSyntax(text_, e.offset, "The ORDER BY of a UNION must name an output column,");
    order +=
        (order.empty() ? " ORDER BY " : ", ") + dialect_.Order(fmt::format("{}", position), term.descending);
  }
  return sql + order;
}

}  // namespace vnt::db
