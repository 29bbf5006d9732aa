#include "access/sql/translate.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"

namespace jet::sql {
namespace {
std::string Join(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& p : parts) out += (out.empty() ? "" : ", ") + p;
  return out;
}
}  // namespace

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

std::string Translator::ColumnSql(const Source& s, int column, bool exact) {
  const bool twin = exact && s.table && TypeOf(s.table->def().columns[column].type) == Type::kDecimal;
  std::string sql = fmt::format("{}.{}{}", s.sql_alias, twin ? 'e' : 'c', column);
  // A query in a FROM list gives decimals exactly.
  if (!exact && !s.table && s.columns[column].type == Type::kDecimal) return "x_dreal(" + sql + ")";
  return sql;
}

// ---- public

Translation Translator::Query(const Select& select, bool want_row_id) {
  Translation t;
  t.sql = PrintSelect(select, nullptr, Use::kResult, want_row_id, &t.columns, &t.base_table);
  t.tables = mentions_;
  return t;
}

Translation Translator::Values(const std::vector<ExprPtr>& values) {
  Translation t;
  Scope scope;
  for (const ExprPtr& e : values) {
    OutputColumn column;
    const Printed value = PrintExact(*e, &scope);
    column.type = value.type;
    t.sql += (t.sql.empty() ? "SELECT " : ", ") + value.sql;
    t.columns.push_back(std::move(column));
  }
  t.tables = mentions_;
  return t;
}

// What a changing statement reads.
std::string Translator::RowSource(const Statement& s, const std::string& items, const std::string& from,
                                  Scope* scope) {
  return "SELECT " + items + from + WhereSql(*s.select, scope);
}

std::string Translator::WhereSql(const Select& select, Scope* scope) {
  return select.where ? " WHERE " + PrintCondition(*select.where, scope) : std::string();
}

UpdateTranslation Translator::Update(const Statement& s) {
  UpdateTranslation u;
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  std::vector<std::string> ids, values;
  std::vector<const Source*> sources;
  for (const Assignment& a : s.assignments) {
    Found found;
    if (!FindColumn(a.table, a.column, scope, &found)) {
      Expr name;
      name.table = a.table;
      name.name = a.column;
      UnknownColumn(name, scope);
    }
    if (!found.source->table) {
      throw Error(ErrorKind::kNotSupported,
                  fmt::format("The column '{}' belongs to a query and cannot be updated.", a.column));
    }
    const auto it = std::find(sources.begin(), sources.end(), found.source);
    const int target = it - sources.begin();
    if (it == sources.end()) {
      sources.push_back(found.source);
      u.targets.push_back({found.source->table, target});
      ids.push_back(RowIdSql(*found.source));
    }
    Printed value = PrintExact(*a.expr, &scope);
    u.columns.push_back({target, found.column, static_cast<int>(values.size()), value.type});
    values.push_back(std::move(value.sql));
  }
  std::string items;
  for (const std::string& sql : ids) items += (items.empty() ? "" : ", ") + sql;
  for (const std::string& sql : values) items += ", " + sql;
  for (UpdateColumn& c : u.columns) c.source_column += ids.size();
  u.source.sql = RowSource(s, items, from, &scope);
  // Of several rows that match, the last one counts.
  if (scope.row_ids.size() > 1) u.source.sql += " ORDER BY " + Join(scope.row_ids);
  u.source.tables = mentions_;
  return u;
}

UpdateTranslation Translator::Delete(const Statement& s) {
  UpdateTranslation u;
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
    if (target == nullptr) {
      throw Error(ErrorKind::kNoTable, fmt::format("The table \'{}\' is not in the FROM list.", s.table));
    }
  }
  if (!target->table) throw Error(ErrorKind::kNotSupported, "Rows of a query cannot be deleted.");
  u.targets.push_back({target->table, 0});
  u.source.sql = RowSource(s, RowIdSql(*target), from, &scope);
  u.source.tables = mentions_;
  return u;
}

// ---- output columns

void Translator::StarItems(const Scope& scope, const SelectItem& item, bool exact, std::vector<Item>* items,
                           std::vector<OutputColumn>* columns) {
  bool any = false;
  for (const Source& s : scope.sources) {
    if (!item.star_table.empty() && !EqualNames(SourceName(s), item.star_table)) continue;
    any = true;
    const std::size_t count = s.table ? s.table->def().columns.size() : s.columns.size();
    for (std::size_t i = 0; i < count; ++i) {
      OutputColumn c;
      if (s.table) {
        const ColumnDef& def = s.table->def().columns[i];
        c.name = def.name;
        c.type = TypeOf(def.type);
        c.table = s.table;
        c.column = i;
      } else {
        c = s.columns[i];
      }
      const std::string sql = ColumnSql(s, i, exact);
      items->push_back({sql, c.type == Type::kDecimal ? "x_dkey(" + sql + ")" : sql});
      columns->push_back(std::move(c));
    }
  }
  if (!any) {
    if (item.star_table.empty()) ThrowSyntax(text_, item.offset, 1);
    throw Error(ErrorKind::kNoTable,
                fmt::format("The table \'{}\' is not in the FROM list.", item.star_table));
  }
}

void Translator::PrintItems(const Select& select, Scope* scope, bool exact, std::vector<Item>* items,
                            std::vector<OutputColumn>* columns) {
  int unnamed = 0;
  for (const SelectItem& item : select.items) {
    if (item.star) {
      StarItems(*scope, item, exact, items, columns);
      continue;
    }
    Printed p = PrintExact(*item.expr, scope);
    OutputColumn c;
    c.type = p.type;
    c.table = p.table;
    c.column = p.column;
    c.name = item.alias;
    std::string sorted = p.sql;
    if (p.type == Type::kDecimal) {
      sorted = KeySql(p);
      if (!exact) p.sql = PrintValue(*item.expr, scope);
    }
    if (item.expr->kind == ExprKind::kColumn) {
      if (c.name.empty()) {
        c.name = p.table ? p.table->def().columns[p.column].name : item.expr->name;
      }
    } else if (c.name.empty()) {
      // The name Access makes up.
      c.name = fmt::format("Expr{}", 1000 + unnamed++);
      c.named = false;
    }
    items->push_back({std::move(p.sql), std::move(sorted)});
    columns->push_back(std::move(c));
  }
}

// ---- ORDER BY and TOP

std::vector<std::string> Translator::PrintOrder(const Select& select, Scope* scope,
                                                const std::vector<Item>& items,
                                                const std::vector<OutputColumn>& columns) {
  std::vector<std::string> order;
  for (const OrderTerm& term : select.order_by) {
    const Expr& e = *term.expr;
    std::string sql;
    if (e.kind == ExprKind::kConstant && e.value.kind() == ValueKind::kInteger) {
      const std::int64_t position = e.value.integer();
      if (position < 1 || position > std::ssize(items)) {
        ThrowSyntax(text_, e.offset, "ORDER BY names an output column that does not exist,");
      }
      sql = items[position - 1].sorted;
    } else if (e.kind == ExprKind::kColumn && e.table.empty()) {
      // A column of the tables comes before an alias of the same name.
      Found found;
      if (!FindColumn("", e.name, *scope, &found)) {
        for (std::size_t i = 0; i < columns.size() && sql.empty(); ++i) {
          if (EqualNames(columns[i].name, e.name)) sql = items[i].sorted;
        }
      }
    }
    if (sql.empty()) {
      const Printed value = PrintOperand(e, scope);
      sql = AreDecimals({&value}) ? KeySql(value) : value.sql;
    }
    // A number would be taken for a position.
    order.push_back("+(" + sql + ")" + (term.descending ? " DESC" : ""));
    if (sql.size() > 2 && sql[0] == 'a' && sql.find_first_of(" (,") == std::string::npos) {
      order.back() = sql + (term.descending ? " DESC" : "");
    }
  }
  return order;
}

// Whatever plan finds the rows, they come in one order: rows of tables as the tables hold them, the table
// that stands first in the FROM list first; groups and distinct rows by their values. It decides, too, what
// comes first among rows that the statement's own order leaves equal.
void Translator::CompleteOrder(const Select& select, const Scope& scope, const std::vector<Item>& items,
                               const std::vector<std::string>& groups, std::vector<std::string>* order) {
  const auto add = [&](const std::string& term) {
    if (std::find(order->begin(), order->end(), term) == order->end()) order->push_back(term);
  };
  if (select.distinct) {
    for (std::size_t i = 0; i < items.size(); ++i) {
      // By position, so that the value is computed once.
      add(items[i].shown == items[i].sorted ? fmt::format("{}", i + 1) : items[i].sorted);
    }
  } else if (!groups.empty()) {
    for (const std::string& group : groups) add(group);
  } else if (!scope.aggregates && !select.having) {
    for (const std::string& id : scope.row_ids) add(id);
  }
}

// TOP n keeps every row that compares equal to the n-th, as Access does; without ORDER BY it is the first n.
std::string Translator::WithTop(const Select& select, const std::vector<Item>& items, const std::string& rest,
                                const std::vector<std::string>& order, std::size_t key_count,
                                bool name_columns) const {
  std::string list;
  for (std::size_t i = 0; i < items.size(); ++i) {
    list += (i == 0 ? "" : ", ") + items[i].shown;
    if (name_columns) list += fmt::format(" AS c{}", i);
  }
  const char* head = select.distinct ? "SELECT DISTINCT " : "SELECT ";
  std::string plain = head + list + rest + (order.empty() ? "" : " ORDER BY " + Join(order));
  if (!select.top) return plain;
  const auto n = static_cast<std::int64_t>(std::max(0.0, std::min(*select.top, 9e15)));
  if (!select.top_percent && (key_count == 0 || select.distinct)) return plain + fmt::format(" LIMIT {}", n);
  if (select.distinct)
    throw Error(ErrorKind::kNotSupported, "TOP ... PERCENT with DISTINCT is not supported.");
  std::string inner, outer;
  for (std::size_t i = 0; i < items.size(); ++i) {
    inner += fmt::format("{} AS n{}, ", items[i].shown, i);
    outer += fmt::format("{}n{}", i == 0 ? "" : ", ", i);
    if (name_columns) outer += fmt::format(" AS c{}", i);
  }
  // What breaks ties stands behind and takes no part in the ranking.
  const std::vector<std::string> keys(order.begin(), order.begin() + key_count);
  const std::string place =
      order.empty() ? "row_number() OVER ()" : "row_number() OVER (ORDER BY " + Join(order) + ")";
  const std::string rank = keys.empty() ? place : "rank() OVER (ORDER BY " + Join(keys) + ")";
  const std::string limit =
      select.top_percent
          ? fmt::format("max(1, CAST(total * {:.10g} / 100.0 + 0.999999 AS INTEGER))", *select.top)
          : fmt::format("{}", n);
  return fmt::format(
      "SELECT {} FROM (SELECT {}{} AS ranked, {} AS place, count(*) OVER () AS total{}) WHERE ranked <= {} "
      "ORDER BY "
      "place",
      outer, inner, rank, place, rest, limit);
}

// ---- SELECT

// Equal names of columns of several tables are told apart by their tables.
void Translator::TellNamesApart(std::vector<OutputColumn>* columns) {
  std::unordered_map<std::string, std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < columns->size(); ++i) {
    if ((*columns)[i].table) places[LowerText((*columns)[i].name)].push_back(i);
  }
  for (const auto& [name, same] : places) {
    const Table* first = (*columns)[same[0]].table.get();
    if (std::all_of(same.begin(), same.end(),
                    [&](std::size_t i) { return (*columns)[i].table.get() == first; }))
      continue;
    for (const std::size_t i : same) {
      OutputColumn& c = (*columns)[i];
      c.name = c.table->def().name + "." + c.name;
    }
  }
}

std::string Translator::PrintSelect(const Select& select, const Scope* outer, Use use, bool want_row_id,
                                    std::vector<OutputColumn>* columns, std::shared_ptr<Table>* base_table) {
  if (!select.into.empty() && use != Use::kResult)
    ThrowSyntax(text_, select.into_offset, "INTO has no place");
  if (select.nested || !select.unions.empty()) return PrintCompound(select, outer, columns);
  return PrintSingle(select, outer, use, want_row_id, true, columns, base_table);
}

std::string Translator::PrintSingle(const Select& select, const Scope* outer, Use use, bool want_row_id,
                                    bool has_order, std::vector<OutputColumn>* columns,
                                    std::shared_ptr<Table>* base_table) {
  const bool is_result = use == Use::kResult;
  const bool is_exact = use != Use::kMember && use != Use::kOperand;
  Scope scope;
  std::string rest = PrintFrom(select, outer, &scope);
  std::vector<Item> items;
  PrintItems(select, &scope, is_exact, &items, columns);
  rest += WhereSql(select, &scope);
  std::vector<std::string> groups;
  for (const ExprPtr& e : select.group_by) {
    const Printed value = PrintOperand(*e, &scope);
    groups.push_back(AreDecimals({&value}) ? KeySql(value) : value.sql);
  }
  if (!groups.empty()) rest += " GROUP BY " + Join(groups);
  if (select.having) rest += " HAVING " + PrintCondition(*select.having, &scope);
  if (scope.aggregates || !groups.empty() || select.having) {
    RequireGrouped(select, scope);
  } else if (select.distinct_row && !select.distinct && scope.sources.size() > 1) {
    groups = DistinctRows(select, scope);
    if (!groups.empty()) rest += " GROUP BY " + Join(groups);
  }
  std::vector<std::string> order;
  if (has_order) order = PrintOrder(select, &scope, items, *columns);
  const std::size_t keys = order.size();
  // Of an operand only the values count, but for those that TOP leaves.
  if ((use != Use::kOperand && use != Use::kScalar) || select.top)
    CompleteOrder(select, scope, items, groups, &order);

  const bool rows_of_one_table = scope.sources.size() == 1 && scope.sources[0].table && !select.distinct &&
                                 select.group_by.empty() && !select.having && !scope.aggregates;
  if (rows_of_one_table && want_row_id) {
    items.push_back({RowIdSql(scope.sources[0]), ""});
    if (base_table != nullptr) *base_table = scope.sources[0].table;
  }
  if (is_result) TellNamesApart(columns);
  return WithTop(select, items, rest, order, keys, !is_result);
}

// A member keeps its own order in parentheses.
std::string Translator::PrintMember(const Select& select, const Scope* outer, bool is_first,
                                    std::vector<OutputColumn>* columns) {
  const std::string sql = select.nested
                              ? PrintSelect(*select.nested, outer, Use::kSource, false, columns, nullptr)
                              : PrintSingle(select, outer, Use::kSource, false, !is_first, columns, nullptr);
  return "SELECT * FROM (" + sql + ")";
}

std::string Translator::PrintCompound(const Select& select, const Scope* outer,
                                      std::vector<OutputColumn>* columns) {
  // The first member's own lists stand in `select` itself; its unions and order belong to the whole.
  std::string sql = PrintMember(select, outer, true, columns);
  for (const Select::Member& member : select.unions) {
    std::vector<OutputColumn> others;
    sql += (member.all ? " UNION ALL " : " UNION ") + PrintMember(*member.select, outer, false, &others);
    if (others.size() != columns->size()) {
      throw Error(ErrorKind::kInvalid, "The queries that a UNION joins have different numbers of columns.");
    }
    for (std::size_t i = 0; i < others.size(); ++i) {
      if (others[i].type != (*columns)[i].type) (*columns)[i].type = Type::kUnknown;
    }
  }
  for (OutputColumn& c : *columns) c.table.reset(), c.column = -1;
  std::string order;
  std::vector<bool> ordered(columns->size());
  for (const OrderTerm& term : select.order_by) {
    std::size_t position = 0;
    const Expr& e = *term.expr;
    if (e.kind == ExprKind::kConstant && e.value.kind() == ValueKind::kInteger) {
      position = e.value.integer();
    } else if (e.kind == ExprKind::kColumn) {
      for (std::size_t i = 0; i < columns->size() && position == 0; ++i) {
        if (EqualNames((*columns)[i].name, e.name)) position = i + 1;
      }
    }
    if (position < 1 || position > columns->size()) {
      ThrowSyntax(text_, e.offset, "The ORDER BY of a UNION must name an output column,");
    }
    order +=
        fmt::format("{}{}{}", order.empty() ? " ORDER BY " : ", ", position, term.descending ? " DESC" : "");
    ordered[position - 1] = true;
  }
  for (std::size_t i = 0; i < ordered.size() && !order.empty(); ++i) {
    if (!ordered[i]) order += fmt::format(", {}", i + 1);
  }
  return sql + order;
}

}  // namespace jet::sql
