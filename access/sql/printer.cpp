// Queries: output columns, their order, TOP and UNION.

#include "access/sql/printer.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"

namespace jet::sql {

std::string Join(const std::vector<std::string>& parts, std::string_view between) {
  std::string out;
  for (const std::string& p : parts) {
    if (!out.empty()) out += between;
    out += p;
  }
  return out;
}

std::string Printer::WhereSql(const Select& select, Scope* scope) {
  return select.where ? " WHERE " + Condition(*select.where, scope) : std::string();
}

// ---- output columns

void Printer::PrintItems(const Select& select, bool exact, Scope* scope, std::vector<Item>* items,
                         std::vector<OutputColumn>* columns) {
  const auto add = [&](Printed p, std::string name) {
    columns->push_back({std::move(name), p.type, p.table, p.column});
    std::string value = select.distinct ? AsOperand(p).sql : std::string();
    items->push_back(ItemOf(std::move(p), exact, columns->size()));
    items->back().value = std::move(value);
  };
  int unnamed = 0;
  for (const SelectItem& item : select.items) {
    if (!item.star) {
      Printed p = Print(*item.expr, scope);
      std::string name = item.alias.empty() ? p.name : item.alias;
      // The name Access makes up.
      if (name.empty()) name = fmt::format("Expr{}", 1000 + unnamed++);
      add(std::move(p), std::move(name));
      continue;
    }
    bool any = false;
    for (const Source& s : scope->sources) {
      if (!item.star_table.empty() && !EqualNames(s.name(), item.star_table)) continue;
      any = true;
      for (int i = 0; i < s.CountColumns(); ++i) {
        Printed p = ColumnOf(s, i);
        std::string name = std::move(p.name);
        add(std::move(p), std::move(name));
      }
    }
    if (any) continue;
    if (item.star_table.empty()) ThrowSyntax(text_, item.offset, 1);
    throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' is not in the FROM list.", item.star_table));
  }
}

// ---- order

namespace {

// Position, from 1, of the output column that a term of ORDER BY names; 0: it names none. A number that is no
// position is given as it is.
std::int64_t PositionOf(const Expr& e, const std::vector<OutputColumn>& columns) {
  if (e.kind == ExprKind::kConstant && e.value.kind() == ValueKind::kInteger) return e.value.integer();
  if (e.kind != ExprKind::kColumn) return 0;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (EqualNames(columns[i].name, e.name)) return static_cast<std::int64_t>(i + 1);
  }
  return 0;
}

bool IsPosition(std::int64_t position, const std::vector<OutputColumn>& columns) {
  return position >= 1 && position <= std::ssize(columns);
}

}  // namespace

std::vector<std::string> Printer::PrintOrder(const Select& select, Scope* scope,
                                             const std::vector<Item>& items,
                                             const std::vector<OutputColumn>& columns) {
  std::vector<std::string> order;
  for (const OrderTerm& term : select.order_by) {
    const Expr& e = *term.expr;
    const bool is_number = e.kind == ExprKind::kConstant && e.value.kind() == ValueKind::kInteger;
    // A column of the tables comes before an alias of the same name.
    Found found;
    const bool may_name = is_number || (e.kind == ExprKind::kColumn && e.table.empty() &&
                                        !FindColumn("", e.name, *scope, &found));
    const std::int64_t position = may_name ? PositionOf(e, columns) : 0;
    if (is_number && !IsPosition(position, columns))
      ThrowSyntax(text_, e.offset, "ORDER BY names an output column that does not exist,");
    std::string sql;
    if (position > 0) {
      sql = items[position - 1].sorted;
    } else {
      const Printed value = PrintOperand(e, scope);
      sql = SortSql(value);
      // DISTINCT wants its own columns.
      for (const Item& item : items) {
        if (!select.distinct || item.value != value.sql) continue;
        sql = item.sorted;
        break;
      }
    }
    order.push_back(Order(sql, term.descending));
  }
  return order;
}

// Whatever plan finds the rows, they come in one order: rows of tables as the tables hold them, the table
// that stands first in the FROM list first; groups and distinct rows by their values. It decides, too, what
// comes first among rows that the statement's own order leaves equal.
void Printer::CompleteOrder(const Select& select, const Scope& scope, const std::vector<Item>& items,
                            const std::vector<std::string>& groups, std::vector<std::string>* order) const {
  std::vector<std::string> terms;
  if (select.distinct) {
    for (std::size_t i = 0; i < items.size(); ++i) {
      // By position, so that the value is computed once.
      terms.push_back(items[i].by_position ? fmt::format("{}", i + 1) : items[i].sorted);
    }
  } else if (!groups.empty()) {
    terms = groups;
  } else if (!scope.aggregates && !select.having) {
    terms = scope.row_order;
  }
  for (const std::string& term : terms) {
    std::string sql = Order(term, false);
    if (std::find(order->begin(), order->end(), sql) == order->end()) order->push_back(std::move(sql));
  }
}

// ---- TOP

std::string Printer::Assemble(const Select& select, const std::vector<Item>& items, const std::string& rest,
                              const std::vector<std::string>& order, std::size_t stated,
                              bool name_columns) const {
  const bool is_plain = !select.top_percent && (stated == 0 || select.distinct);
  if (select.top && !is_plain) return WithTies(select, items, rest, order, stated, name_columns);
  std::string sql = select.distinct ? "SELECT DISTINCT " : "SELECT ";
  for (std::size_t i = 0; i < items.size(); ++i) {
    sql += (i == 0 ? "" : ", ") + items[i].shown;
    if (name_columns) sql += fmt::format(" AS c{}", i);
  }
  sql += rest;
  if (!order.empty()) sql += " ORDER BY " + Join(order);
  return select.top ? sql + Limit(static_cast<std::int64_t>(std::clamp(*select.top, 0.0, 9e15))) : sql;
}

// Every row that compares equal to the last one comes, too, as with Access; what breaks ties stands behind
// the stated order and takes no part in that.
std::string Printer::WithTies(const Select& select, const std::vector<Item>& items, const std::string& rest,
                              std::vector<std::string> order, std::size_t stated, bool name_columns) const {
  if (select.distinct)
    throw Error(ErrorKind::kNotSupported, "TOP ... PERCENT with DISTINCT is not supported.");
  std::string inner, outer;
  for (std::size_t i = 0; i < items.size(); ++i) {
    inner += fmt::format("{} AS n{}, ", items[i].shown, i);
    outer += fmt::format("{}t.n{}", i == 0 ? "" : ", ", i);
    if (name_columns) outer += fmt::format(" AS c{}", i);
  }
  // Positions mean nothing within OVER.
  for (std::string& term : order) {
    const std::size_t digits = std::min(term.find_first_not_of("0123456789"), term.size());
    if (digits > 0) term = items[std::stoul(term.substr(0, digits)) - 1].shown + term.substr(digits);
  }
  const auto over = [](const std::vector<std::string>& terms) {
    return terms.empty() ? std::string(" OVER ()") : " OVER (ORDER BY " + Join(terms) + ")";
  };
  const std::string place = "row_number()" + over(order);
  const std::string rank =
      stated == 0 ? place
                  : "rank()" + over({order.begin(), order.begin() + static_cast<std::ptrdiff_t>(stated)});
  const std::string limit =
      select.top_percent ? PercentSql(*select.top)
                         : fmt::format("{}", static_cast<std::int64_t>(std::clamp(*select.top, 0.0, 9e15)));
  return fmt::format(
      "SELECT {} FROM (SELECT {}{} AS ranked, {} AS place{}{}) AS t WHERE t.ranked <= {} "
      "ORDER BY t.place",
      outer, inner, rank, place, select.top_percent ? ", count(*) OVER () AS total" : "", rest, limit);
}

// ---- SELECT

std::string Printer::PrintSelect(const Select& select, const Scope* outer, Use use,
                                 std::vector<OutputColumn>* columns, NamedTablePtr* base) {
  if (!select.into.empty() && use != Use::kResult && use != Use::kRows)
    ThrowSyntax(text_, select.into_offset, "INTO has no place");
  if (select.nested || !select.unions.empty()) return PrintCompound(select, outer, columns);
  return PrintSingle(select, outer, use, true, columns, base);
}

std::string Printer::PrintSingle(const Select& select, const Scope* outer, Use use, bool has_order,
                                 std::vector<OutputColumn>* columns, NamedTablePtr* base) {
  Scope scope;
  std::string rest = PrintFrom(select, outer, &scope);
  std::vector<Item> items;
  PrintItems(select, use != Use::kOperand, &scope, &items, columns);
  rest += WhereSql(select, &scope);
  std::vector<std::string> groups;
  for (const ExprPtr& e : select.group_by) groups.push_back(GroupSql(PrintOperand(*e, &scope)));
  if (!groups.empty()) rest += " GROUP BY " + Join(groups);
  if (select.having) rest += " HAVING " + Condition(*select.having, &scope);
  const bool is_grouped = scope.aggregates || !groups.empty() || select.having;
  if (is_grouped) {
    RequireGrouped(select, scope);
  } else if (select.distinct_row && !select.distinct && scope.sources.size() > 1) {
    groups = DistinctRows(select, scope);
    if (!groups.empty()) rest += " GROUP BY " + Join(groups);
  }
  std::vector<std::string> order;
  if (has_order) order = PrintOrder(select, &scope, items, *columns);
  std::size_t stated = order.size();
  if ((use != Use::kOperand && use != Use::kScalar) || select.top) {
    CompleteOrder(select, scope, items, groups, &order);
  } else {
    // Of an operand only the values count, but for those that TOP leaves.
    order.clear();
    stated = 0;
  }
  if (base != nullptr && scope.sources.size() == 1 && scope.sources[0].table && !select.distinct &&
      !is_grouped) {
    for (std::string& name : RowNames(scope.sources[0])) items.push_back({std::move(name), {}});
    *base = scope.sources[0].table;
  }
  if (use == Use::kResult) TellNamesApart(columns);
  return Assemble(select, items, rest, order, stated, use != Use::kResult);
}

std::string Printer::PrintCompound(const Select& select, const Scope* outer,
                                   std::vector<OutputColumn>* columns) {
  // The first member's own lists stand in `select` itself; its unions and order belong to the whole. Another
  // keeps its own order in parentheses.
  int number = 0;
  const auto member_sql = [&](const Select& member, std::vector<OutputColumn>* of) {
    const std::string sql = member.nested ? PrintSelect(*member.nested, outer, Use::kSource, of)
                                          : PrintSingle(member, outer, Use::kSource, number > 0, of);
    return fmt::format("SELECT * FROM ({}) AS m{}", sql, number++);
  };
  std::string sql = member_sql(select, columns);
  for (const Select::Member& member : select.unions) {
    std::vector<OutputColumn> others;
    sql += (member.all ? " UNION ALL " : " UNION ") + member_sql(*member.select, &others);
    if (others.size() != columns->size())
      throw Error(ErrorKind::kInvalid, "The queries that a UNION joins have different numbers of columns.");
    for (std::size_t i = 0; i < others.size(); ++i)
      (*columns)[i].type = UnionType((*columns)[i].type, others[i].type);
  }
  for (OutputColumn& c : *columns) c.table.reset(), c.column = -1;
  return sql + UnionOrder(select, *columns);
}

std::string Printer::UnionOrder(const Select& select, const std::vector<OutputColumn>& columns) const {
  if (select.order_by.empty()) return {};
  std::vector<std::string> order;
  std::vector<bool> ordered(columns.size());
  for (const OrderTerm& term : select.order_by) {
    const std::int64_t position = PositionOf(*term.expr, columns);
    if (!IsPosition(position, columns))
      ThrowSyntax(text_, term.expr->offset, "The ORDER BY of a UNION must name an output column,");
    order.push_back(Order(fmt::format("{}", position), term.descending));
    ordered[position - 1] = true;
  }
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    if (!ordered[i]) order.push_back(Order(fmt::format("{}", i + 1), false));
  }
  return " ORDER BY " + Join(order);
}

}  // namespace jet::sql
