#include "db/server_provider/read_ahead.h"

#include <algorithm>
#include <utility>

#include "access/base/text.h"
#include "access/sql/lexer.h"

namespace vnt::db {

using jet::EqualNames;
using jet::ValueKind;
using jet::sql::Expr;
using jet::sql::ExprKind;
using jet::sql::ExprPtr;
using jet::sql::Op;
using jet::sql::Select;
using jet::sql::Statement;
using jet::sql::StatementKind;
using jet::sql::TableRef;

namespace {

constexpr std::size_t kMostParts = 512;
constexpr std::size_t kMostRows = 20000;  // that are to be read together

bool IsWhole(jet::ColumnType type) {
  return type == jet::ColumnType::kLong || type == jet::ColumnType::kInteger ||
         type == jet::ColumnType::kByte;
}

// "column = constant" among the conditions that are joined by AND; the places where they stand.
void FindEquals(ExprPtr& e, std::vector<ExprPtr*>* found) {
  if (e->kind == ExprKind::kLogic && e->op == Op::kAnd) {
    FindEquals(e->args[0], found);
    FindEquals(e->args[1], found);
    return;
  }
  if (e->kind == ExprKind::kCompare && e->op == Op::kEqual && e->args[0]->kind == ExprKind::kColumn &&
      e->args[1]->kind == ExprKind::kConstant)
    found->push_back(&e);
}

const ServerColumn* ColumnOf(const ServerTable& table, const Expr& e) {
  const int column = table.FindColumn(e.name);
  return column < 0 ? nullptr : &table.columns[column];
}

bool IsAggregateAlone(const Select& select) {
  return !select.items.empty() && std::ranges::all_of(select.items, [](const jet::sql::SelectItem& item) {
    return item.expr && item.expr->kind == ExprKind::kFunction && jet::sql::IsAggregate(*item.expr);
  });
}

bool HasAggregateOrQuery(const Expr& e) {
  if (e.select || (e.kind == ExprKind::kFunction && jet::sql::IsAggregate(e))) return true;
  return std::ranges::any_of(e.args, [](const ExprPtr& arg) { return HasAggregateOrQuery(*arg); });
}

ExprPtr TrueExpr() {
  auto e = std::make_unique<Expr>();
  e->kind = ExprKind::kBoolean;
  e->number = -1;
  return e;
}

ExprPtr NameExpr(const std::string& name) {
  auto e = std::make_unique<Expr>();
  e->kind = ExprKind::kColumn;
  e->name = name;
  return e;
}

// As a value of a row is compared with the constant of a condition.
std::string FilterText(const Value& value) { return value.is_null() ? std::string() : "=" + value.ToText(); }

}  // namespace

struct ReadAhead::Shape {
  ServerTablePtr table;
  ExprPtr* lead = nullptr;  // the condition with the number
  std::string lead_column;
  std::int64_t number = 0;
  std::vector<ExprPtr*> filters;
  std::string filter;  // what the other constants are
  std::string text;    // without the constants
  bool aggregate = false;
};

bool ReadAhead::FindShape(Select& select, std::string_view text, Shape* shape) const {
  if (select.distinct || select.distinct_row || select.top || !select.into.empty() ||
      select.from.size() != 1 || select.from[0]->kind != TableRef::kTable || !select.in_file.empty() ||
      !select.where || !select.group_by.empty() || select.having || !select.unions.empty() || select.nested)
    return false;
  shape->table = session_->Find(select.from[0]->name);
  if (!shape->table) return false;
  shape->aggregate = IsAggregateAlone(select);
  for (const auto& item : select.items) {
    if (!shape->aggregate && item.expr && HasAggregateOrQuery(*item.expr)) return false;
  }
  if (shape->aggregate && !select.order_by.empty()) return false;
  if (HasAggregateOrQuery(*select.where)) return false;
  std::vector<ExprPtr*> equals;
  FindEquals(select.where, &equals);
  std::vector<std::pair<std::size_t, std::size_t>> cut;
  std::vector<jet::sql::Token> tokens;
  jet::sql::Lex(text, &tokens);
  const auto cut_out = [&](const Expr& constant) {
    for (const jet::sql::Token& token : tokens) {
      if (token.offset == constant.offset) cut.emplace_back(token.offset, token.length);
    }
  };
  for (ExprPtr* place : equals) {
    const Expr& name = *(*place)->args[0];
    const Expr& constant = *(*place)->args[1];
    const ServerColumn* column = ColumnOf(*shape->table, name);
    if (column == nullptr || constant.is_date) return false;
    const bool whole = IsWhole(column->type) && constant.value.kind() == ValueKind::kInteger;
    if (whole && shape->lead == nullptr) {
      shape->lead = place;
      shape->lead_column = column->name;
      shape->number = constant.value.integer();
      cut_out(constant);
    } else if (!shape->aggregate && (whole || (column->type == jet::ColumnType::kText &&
                                               constant.value.kind() == ValueKind::kText))) {
      shape->filters.push_back(place);
      const std::string value = whole ? std::to_string(constant.value.integer()) : constant.value.bytes();
      shape->filter += "=" + value + '\n';
      cut_out(constant);
    }
  }
  if (shape->lead == nullptr || cut.size() != 1 + shape->filters.size()) return false;
  std::ranges::sort(cut);
  std::size_t from = 0;
  for (const auto& [offset, length] : cut) {
    shape->text += std::string(text.substr(from, offset - from)) + '?';
    from = offset + length;
  }
  shape->text += text.substr(from);
  return true;
}

void ReadAhead::Read(Select& select, std::string_view text, bool want_row, const Shape& shape,
                     const std::vector<std::int64_t>& numbers, ReadParts* parts) {
  // The conditions with constants become columns; the one with the number a list of numbers.
  const std::size_t own = select.items.size();
  std::vector<std::string> names;
  for (ExprPtr* place : shape.filters) {
    names.push_back(ColumnOf(*shape.table, *(*place)->args[0])->name);
    *place = TrueExpr();
  }
  names.push_back(shape.lead_column);
  auto list = std::make_unique<Expr>();
  list->kind = ExprKind::kInList;
  list->args.push_back(NameExpr(shape.lead_column));
  for (const std::int64_t number : numbers) {
    auto constant = std::make_unique<Expr>();
    constant->kind = ExprKind::kConstant;
    constant->value = jet::Value::Integer(number);
    list->args.push_back(std::move(constant));
  }
  *shape.lead = std::move(list);
  for (const std::string& name : names) {
    jet::sql::SelectItem item;
    item.expr = NameExpr(name);
    select.items.push_back(std::move(item));
  }
  if (shape.aggregate) select.group_by.push_back(NameExpr(shape.lead_column));
  static const std::vector<jet::Value> kNoParameters;
  ServerQuery query = ServerPrinter(session_->dialect(), *session_, text, kNoParameters)
                          .Query(select, want_row && !shape.aggregate);
  const auto statement = session_->Open(query.sql, query.helpers);
  select.items.resize(own);

  // Columns behind those of the query: filters, number, key.
  const std::size_t columns = query.columns.size() - names.size();
  const std::vector<ServerKey> keys = KeysOf(*session_, query);
  parts->rows = {};
  parts->parts.clear();
  parts->order = numbers;
  for (const std::int64_t number : numbers) {
    parts->parts[number].version =
        session_->Version(shape.table->name, WrittenPart{shape.lead_column, number});
  }
  parts->width = query.columns.size() + keys.size();
  parts->conditions = names;
  statement->DescribeColumns();
  std::vector<Value> row;
  while (FetchRow(*statement, query.columns, keys, &row)) {
    const std::int64_t number = row[query.columns.size() - 1].ToInt32();
    parts->parts[number].rows.push_back(parts->rows.size());
    parts->rows.Append(row);
  }
  query.columns.resize(columns);
  parts->query = std::move(query);
}

std::unique_ptr<ProviderRecordset> ReadAhead::Open(Select& select, std::string_view text, bool want_row,
                                                   const RecordsetOptions& options) {
  Shape shape;
  if (!session_->defers() || !FindShape(select, text, &shape)) return nullptr;
  const std::int64_t version =
      session_->Version(shape.table->name, WrittenPart{shape.lead_column, shape.number});
  const std::string id = shape.text + (want_row ? "\n*" : "");
  auto kept = kept_.find(id);
  const bool is_empty = !shape.aggregate &&
                        session_->IsEmptied(shape.table->name, WrittenPart{shape.lead_column, shape.number});
  if (kept == kept_.end() || !kept->second.parts->parts.contains(shape.number)) {
    std::vector<std::int64_t> numbers;
    const std::size_t reach = kept == kept_.end() ? Kept().reach : kept->second.reach;
    // Found again among the rows of a walk that has just reached this number.
    for (auto walk = session_->walks().rbegin(); walk != session_->walks().rend(); ++walk) {
      numbers = (*walk)->Upcoming(shape.lead_column, shape.number, reach);
      if (!numbers.empty()) break;
    }
    if (numbers.size() < 2 && !is_empty) return nullptr;
    if (numbers.empty()) numbers.push_back(shape.number);
    if (kept == kept_.end()) kept = kept_.emplace(id, Kept{}).first;
    auto parts = std::make_shared<ReadParts>();
    Read(select, text, want_row, shape, numbers, parts.get());
    kept->second.parts = std::move(parts);
    const std::size_t rows = static_cast<std::size_t>(kept->second.parts->rows.size());
    const std::size_t per_part = rows / numbers.size() + 1;
    kept->second.reach = std::clamp<std::size_t>(kMostRows / per_part, 1, std::min(kMostParts, reach * 8));
    if (rows > 4 * kMostRows) kept->second.reach = 1;
  }
  const std::shared_ptr<ReadParts>& parts = kept->second.parts;
  const ReadParts::Part& part = parts->parts[shape.number];
  std::vector<std::vector<Value>> rows;
  std::vector<std::int64_t> places;
  if (part.version != version && !is_empty) return nullptr;
  if (part.version == version && !is_empty) {
    std::vector<Value> row;
    const std::size_t columns = parts->query.columns.size();
    for (const std::int64_t position : part.rows) {
      row.resize(parts->width);
      parts->rows.Read(position, &row);
      std::string filter;
      for (std::size_t i = 0; i < shape.filters.size(); ++i) filter += FilterText(row[columns + i]) + '\n';
      if (filter != shape.filter) continue;
      row.erase(row.begin() + static_cast<std::ptrdiff_t>(columns),
                row.begin() + static_cast<std::ptrdiff_t>(columns + shape.filters.size() + 1));
      rows.push_back(row);
      places.push_back(position);
    }
  }
  if (shape.aggregate && rows.empty()) {
    std::vector<Value> none;
    for (const auto& item : select.items) {
      none.push_back(jet::EqualNames(item.expr->name, "count") ? Value::Int32(0) : Value::Null());
    }
    rows.push_back(std::move(none));
  }
  return OpenReadRecordset(session_, parts, WrittenPart{shape.lead_column, shape.number}, rows,
                           std::move(places), options);
}

namespace {

// Conditions on which more rows depend the more numbers they allow. False when there are others, but for
// those that hold no subquery.
bool FindNested(ExprPtr& e, bool nested, std::vector<ExprPtr*>* found) {
  if (e->kind == ExprKind::kLogic && (e->op == Op::kAnd || e->op == Op::kOr))
    return FindNested(e->args[0], nested, found) && FindNested(e->args[1], nested, found);
  if (e->kind == ExprKind::kInSelect && !e->negated) {
    Select& select = *e->select;
    const bool plain = !select.top && !select.nested && select.unions.empty() && select.group_by.empty() &&
                       !select.having && select.in_file.empty() && select.from.size() == 1 && select.where &&
                       select.from[0]->kind == TableRef::kTable && !HasAggregateOrQuery(*e->args[0]) &&
                       std::ranges::none_of(select.items, [](const auto& item) {
                         return item.expr && HasAggregateOrQuery(*item.expr);
                       });
    return plain && FindNested(select.where, true, found);
  }
  if (HasAggregateOrQuery(*e)) return false;
  if (nested && e->kind == ExprKind::kCompare && e->op == Op::kEqual &&
      e->args[0]->kind == ExprKind::kColumn && e->args[1]->kind == ExprKind::kConstant &&
      !e->args[1]->is_date && e->args[1]->value.kind() == ValueKind::kInteger)
    found->push_back(&e);
  return true;
}

}  // namespace

std::optional<std::int64_t> TakeNestedNumber(Statement& s) {
  if (s.kind != StatementKind::kDelete || s.select->from.size() != 1 || !s.select->where) return {};
  std::vector<ExprPtr*> found;
  if (!FindNested(s.select->where, false, &found) || found.size() != 1) return {};
  ExprPtr& compare = *found[0];
  const std::int64_t number = compare->args[1]->value.integer();
  compare->kind = ExprKind::kInList;
  compare->args[1]->value = jet::Value::Integer(kMark);
  return number;
}

std::vector<std::pair<const ServerColumn*, jet::Value>> TakeConstants(Statement& s,
                                                                      const ServerTable& target) {
  std::vector<std::pair<const ServerColumn*, jet::Value>> constants;
  if ((s.kind != StatementKind::kUpdate && s.kind != StatementKind::kDelete) || s.select->from.size() != 1 ||
      s.select->from[0]->kind != TableRef::kTable || !s.select->where || !s.select->in_file.empty() ||
      HasAggregateOrQuery(*s.select->where))
    return constants;
  for (const auto& a : s.assignments) {
    if (HasAggregateOrQuery(*a.expr)) return constants;
  }
  std::vector<ExprPtr*> equals;
  FindEquals(s.select->where, &equals);
  for (ExprPtr* place : equals) {
    const jet::Value& value = (*place)->args[1]->value;
    const ServerColumn* column = ColumnOf(target, *(*place)->args[0]);
    if (column == nullptr || (*place)->args[1]->is_date) continue;
    const bool taken = IsWhole(column->type)
                           ? value.kind() == ValueKind::kInteger
                           : column->type == jet::ColumnType::kText && value.kind() == ValueKind::kText;
    if (!taken) continue;
    constants.emplace_back(column, value);
    *place = TrueExpr();
  }
  return constants;
}

std::vector<std::int64_t> TakeNumbers(Statement& s, const ServerTable& target,
                                      std::vector<WrittenPart>* parts) {
  std::vector<std::int64_t> numbers;
  Select& select = *s.select;
  if (!select.where || !select.unions.empty() || select.nested || select.top) return numbers;
  std::vector<ExprPtr*> equals;
  FindEquals(select.where, &equals);
  for (ExprPtr* place : equals) {
    const Expr& name = *(*place)->args[0];
    Expr& constant = *(*place)->args[1];
    if (constant.is_date || constant.value.kind() != ValueKind::kInteger) continue;
    const std::int64_t number = constant.value.integer();
    if (number != static_cast<std::int32_t>(number)) continue;
    constant.kind = ExprKind::kParameter;
    constant.number = static_cast<int>(numbers.size());
    numbers.push_back(number);
    // What goes into the target as this very column has this number there.
    for (std::size_t i = 0; i < select.items.size(); ++i) {
      const auto& item = select.items[i];
      if (!item.expr || item.expr->kind != ExprKind::kColumn || !EqualNames(item.expr->name, name.name) ||
          !EqualNames(item.expr->table, name.table))
        continue;
      const std::string& to = i < s.columns.size() ? s.columns[i].first
                              : item.alias.empty() ? name.name
                                                   : item.alias;
      const int column = target.FindColumn(to);
      if (column >= 0 && IsWhole(target.columns[column].type))
        parts->push_back({target.columns[column].name, number});
    }
  }
  return numbers;
}

std::vector<WrittenPart> PartsOf(const Statement& s, const ServerTable& target, bool* whole_part) {
  std::vector<WrittenPart> parts;
  *whole_part = false;
  const auto add = [&](const Expr& name, const Expr& constant) {
    const ServerColumn* column = ColumnOf(target, name);
    if (column == nullptr || !IsWhole(column->type) || constant.kind != ExprKind::kConstant ||
        constant.value.kind() != ValueKind::kInteger)
      return;
    for (const auto& a : s.assignments) {
      if (EqualNames(a.column, column->name)) return;  // rows come to it from another part
    }
    parts.push_back({column->name, constant.value.integer()});
  };
  if (s.kind == StatementKind::kInsertValues) {
    for (std::size_t i = 0; i < s.values.size(); ++i) {
      if (s.columns.empty() && i >= target.columns.size()) break;
      add(*NameExpr(s.columns.empty() ? target.columns[i].name : s.columns[i].first), *s.values[i]);
    }
    return parts;
  }
  const bool one_table = (s.kind == StatementKind::kUpdate || s.kind == StatementKind::kDelete) &&
                         s.select->from.size() == 1 && s.select->from[0]->kind == TableRef::kTable;
  if (!one_table || !s.select->where) return parts;
  std::vector<ExprPtr*> equals;
  FindEquals(s.select->where, &equals);
  for (ExprPtr* place : equals) add(*(*place)->args[0], *(*place)->args[1]);
  *whole_part = s.kind == StatementKind::kDelete && parts.size() == 1 && equals.size() == 1 &&
                equals[0] == &s.select->where;
  return parts;
}

}  // namespace vnt::db
