// Statements that change rows: their row source runs as a query, the store takes the changes.
//
// A row source that reads the table it changes must not meet its own changes. It does not when the table is
// walked from end to end (rows never move to another address) or through an index whose columns stay as they
// are; then changes are made while it runs. Otherwise they are set aside first.

#include <fmt/format.h>

#include <algorithm>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/base/text.h"
#include "access/sql/dates.h"
#include "access/sql/parser.h"
#include "access/sql/row_buffer.h"
#include "access/sql/session_impl.h"

namespace jet::sql {
namespace {

bool HoldsText(ColumnType type) { return type == ColumnType::kText || type == ColumnType::kMemo; }

// A date that goes into a text column is written out.
void Adapt(Type from, const ColumnDef& column, Value* v) {
  if (from == Type::kDate && HoldsText(column.type) && v->kind() == ValueKind::kReal) {
    *v = Value::Text(DateText(v->real()));
  }
}

DeclaredTable* DeclaredOf(const TableHost& host, const Table* table) {
  DeclaredTable* found = nullptr;
  for (const auto& [id, d] : host.tables) {
    if (d->table.get() == table) found = d.get();
  }
  return found;
}

// Asked after the first step, when it is known how the table is searched.
bool MayChangeWhileReading(const Plan& plan, const std::vector<int>& changed_columns) {
  // A second mention could make a row come twice, or a subquery see what was changed.
  if (!plan.MentionsTargetOnce()) return false;
  const Table* table = plan.update_targets[0].table.get();
  const DeclaredTable* declared = DeclaredOf(plan.connection->host, table);
  if (declared == nullptr) return false;
  if (declared->last_index < 0) return true;
  if (changed_columns.empty()) return false;  // DELETE takes entries out of the index
  for (const IndexColumn& c : table->def().indexes[declared->last_index].columns) {
    if (std::find(changed_columns.begin(), changed_columns.end(), c.column) != changed_columns.end())
      return false;
  }
  return true;
}

// Lets the table that a plan changes be searched among its candidate rows, for as long as this lives.
class CandidateSearch {
 public:
  explicit CandidateSearch(const Plan& plan) {
    if (!plan.candidates) return;
    declared_ = DeclaredOf(plan.connection->host, plan.update_targets[0].table.get());
    if (declared_ != nullptr) declared_->candidates = plan.candidates.get();
  }
  ~CandidateSearch() {
    if (declared_ != nullptr) declared_->candidates = nullptr;
  }
  CandidateSearch(const CandidateSearch&) = delete;
  CandidateSearch& operator=(const CandidateSearch&) = delete;

 private:
  DeclaredTable* declared_ = nullptr;
};

std::uint32_t PackedId(const Running& rows, int column) { return rows.GetInteger(column); }

}  // namespace

bool Plan::MentionsTargetOnce() const {
  return update_targets.size() == 1 && std::count(tables.begin(), tables.end(), update_targets[0].table) == 1;
}

std::int64_t Session::Impl::RunUpdate(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                                      const std::vector<Value>& lifted) {
  const std::vector<UpdateTarget>& targets = plan->update_targets;
  const std::vector<UpdateColumn>& columns = plan->update_columns;
  std::vector<int> changed;
  changed.reserve(columns.size());
  for (const UpdateColumn& c : columns) changed.push_back(c.column);
  std::vector<std::vector<ColumnChange>> changes(targets.size());
  std::vector<std::pair<std::size_t, std::size_t>> places;
  for (const UpdateColumn& c : columns) {
    auto& list = changes[c.target];
    ColumnChange change;
    change.column = c.column;
    places.emplace_back(c.target, list.size());
    list.push_back(std::move(change));
  }

  std::int64_t count = 0;
  RowBuffer buffer;
  std::vector<std::uint32_t> ids(targets.size());
  std::vector<Value> values(columns.size());
  {
    const CandidateSearch search(*plan);
    Running rows(plan, parameters, lifted);
    bool more = rows.Step();
    // In a join a row may match several times and each match counts from the old values.
    const bool direct = more && !plan->joined && MayChangeWhileReading(*plan, changed);
    for (; more; more = rows.Step()) {
      ++count;
      for (std::size_t i = 0; i < targets.size(); ++i) {
        // The outer side of a LEFT JOIN may have no row.
        ids[i] = rows.IsNull(targets[i].row_id_column) ? 0 : PackedId(rows, targets[i].row_id_column);
      }
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const UpdateColumn& c = columns[i];
        Value v = rows.Get(c.source_column);
        Adapt(c.source_type, targets[c.target].table->def().columns[c.column], &v);
        if (direct) {
          changes[places[i].first][places[i].second].value = std::move(v);
        } else {
          values[i] = std::move(v);
        }
      }
      if (direct) {
        targets[0].table->Update(RowId::FromPacked(ids[0]), changes[0]);
      } else {
        buffer.Append(ids, values);
      }
    }
    if (direct || count == 0) return count;
  }
  while (buffer.Next(&ids, &values)) {
    ThrowIfInterrupted();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      changes[places[i].first][places[i].second].value = std::move(values[i]);
    }
    for (std::size_t i = 0; i < targets.size(); ++i) {
      if (ids[i] != 0) targets[i].table->Update(RowId::FromPacked(ids[i]), changes[i]);
    }
  }
  return count;
}

std::int64_t Session::Impl::FindRowsToDelete(const std::shared_ptr<Plan>& plan,
                                             const std::vector<Value>& parameters,
                                             const std::vector<Value>& lifted, bool may_delete,
                                             std::vector<std::uint32_t>* ids) {
  Table& table = *plan->update_targets[0].table;
  const CandidateSearch search(*plan);
  Running rows(plan, parameters, lifted);
  bool more = rows.Step();
  const bool direct = more && may_delete && !plan->joined && MayChangeWhileReading(*plan, {});
  std::int64_t count = 0;
  for (; more; more = rows.Step()) {
    if (direct) {
      table.Delete(RowId::FromPacked(PackedId(rows, 0)));
      ++count;
    } else if (!rows.IsNull(0)) {
      ids->push_back(PackedId(rows, 0));
    }
  }
  return count;
}

std::int64_t Session::Impl::RunDelete(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                                      const std::vector<Value>& lifted) {
  Table& table = *plan->update_targets[0].table;
  std::vector<std::uint32_t> ids;
  std::int64_t count = 0;
  if (plan->alternatives.empty()) {
    count = FindRowsToDelete(plan, parameters, lifted, true, &ids);
  } else {
    for (const auto& part : plan->alternatives) FindRowsToDelete(part, parameters, lifted, false, &ids);
  }
  if (plan->joined || !plan->alternatives.empty()) {
    // A row that is found several times goes once.
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  }
  Row row;
  for (const std::uint32_t id : ids) {
    ThrowIfInterrupted();
    // A row that refers to one deleted before it may have gone with that one.
    if (table.Fetch(RowId::FromPacked(id), &row)) table.Delete(RowId::FromPacked(id));
  }
  count += ids.size();
  if (count > 0) {
    for (const auto& part : plan->alternatives) {
      if (part->candidates) part->candidates->DropDeleted(table);
    }
    if (plan->candidates) plan->candidates->DropDeleted(table);
  }
  return count;
}

// ---- INSERT

namespace {

Plan::InsertValue InsertValueOf(const Expr& e, int parameters) {
  using V = Plan::InsertValue;
  switch (e.kind) {
    case ExprKind::kNull:
      return {V::kNull};
    case ExprKind::kBoolean:
      return {e.number != 0 ? V::kTrue : V::kFalse};
    case ExprKind::kParameter:
      return {V::kParameter, e.number};
    case ExprKind::kConstant:
      if (e.lifted >= 0) return {V::kParameter, parameters + e.lifted};
      break;
    case ExprKind::kNegate:
      if (e.args[0]->kind == ExprKind::kConstant && e.args[0]->lifted >= 0 &&
          e.args[0]->value.kind() != ValueKind::kText && !e.args[0]->is_date) {
        return {V::kNegated, parameters + e.args[0]->lifted};
      }
      break;
    default:
      break;
  }
  return {V::kComputed};
}

Value Negated(const Value& v) {
  if (v.kind() == ValueKind::kInteger) return Value::Integer(-v.integer());
  if (v.kind() == ValueKind::kReal) return Value::Real(-v.real());
  Decimal d = v.decimal();
  d.negative = !d.negative;
  return Value::Dec(d);
}

}  // namespace

void Session::Impl::PlanInsert(Statement& s, std::string_view text, Plan* plan) {
  plan->target = database->FindTable(s.table);
  if (!plan->target) throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", s.table));
  RequireNoSystemTable(*plan->target);
  const TableDef& def = plan->target->def();
  Translator translator = TranslatorOf(text, s.parameters);
  const bool values = s.kind == StatementKind::kInsertValues;
  Translation t = values ? translator.Values(s.values) : translator.Query(*s.select, false);
  plan->sql = std::move(t.sql);
  plan->columns = std::move(t.columns);
  plan->tables = std::move(t.tables);
  plan->insert_sources.assign(def.columns.size(), -1);
  const std::vector<int> columns = InsertColumns(CatalogTable({}, plan->target), s, plan->columns);
  for (std::size_t i = 0; i < columns.size(); ++i) plan->insert_sources[columns[i]] = static_cast<int>(i);
  if (!values) return;
  for (const ExprPtr& e : s.values) plan->insert_values.push_back(InsertValueOf(*e, s.parameters));
}

Value Session::Impl::DefaultOf(const TableDef& table, const ColumnDef& column) {
  if (column.default_value.empty() || column.auto_number) return Value::Null();
  std::string text = column.default_value;
  if (text[0] == '=') text.erase(0, 1);
  std::vector<Token> default_tokens;
  auto plan = std::make_shared<Plan>();
  plan->connection = connection;
  plan->keep = false;
  try {
    Lex(text, &default_tokens);
    for (Token& t : default_tokens) t.lifted = -1;
    std::vector<ExprPtr> expressions;
    expressions.push_back(Parser(text, default_tokens).ParseWholeExpression());
    Translation t = Translator(*this, text, 0).Values(expressions);
    plan->sql = std::move(t.sql);
    plan->columns = std::move(t.columns);
    Running row(plan, {}, {});
    row.Step();
    Value v = row.Get(0);
    Adapt(plan->columns[0].type, column, &v);
    return v;
  } catch (const Error& e) {
    if (e.is_environment()) throw;
    throw Error(ErrorKind::kNotSupported,
                fmt::format("The default value of column '{}' of '{}' cannot be computed: {}", column.name,
                            table.name, e.what()));
  }
}

std::int64_t Session::Impl::RunInsertValues(const std::shared_ptr<Plan>& plan,
                                            const std::vector<Value>& parameters,
                                            const std::vector<Value>& lifted) {
  Table& target = *plan->target;
  const TableDef& def = target.def();
  std::vector<Value> values(def.columns.size());
  using V = Plan::InsertValue;
  std::optional<Running> row;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const int source = plan->insert_sources[i];
    if (source < 0) {
      values[i] = DefaultOf(def, def.columns[i]);
      continue;
    }
    const V& v = plan->insert_values[source];
    const auto constant = [&]() -> const Value& {
      return v.place < plan->parameters ? parameters[v.place] : lifted[v.place - plan->parameters];
    };
    switch (v.kind) {
      case V::kNull:
        break;
      case V::kTrue:
      case V::kFalse:
        values[i] = Value::Integer(v.kind == V::kTrue ? -1 : 0);
        break;
      case V::kParameter:
        values[i] = constant();
        break;
      case V::kNegated:
        values[i] = Negated(constant());
        break;
      case V::kComputed:
        if (!row) {
          row.emplace(plan, parameters, lifted);
          row->Step();
        }
        values[i] = row->Get(source);
        break;
    }
    Adapt(plan->columns[source].type, def.columns[i], &values[i]);
  }
  target.Insert(values);
  return 1;
}

std::int64_t Session::Impl::InsertRows(Table& target, const std::vector<int>& sources, Running& rows) {
  const TableDef& def = target.def();
  const std::vector<OutputColumn>& from = rows.plan().columns;
  std::vector<Value> defaults(def.columns.size());
  for (std::size_t i = 0; i < defaults.size(); ++i) {
    if (sources[i] < 0) defaults[i] = DefaultOf(def, def.columns[i]);
  }
  const auto read = [&](std::vector<Value>* values) {
    for (std::size_t i = 0; i < values->size(); ++i) {
      if (sources[i] < 0) {
        (*values)[i] = defaults[i];
        continue;
      }
      (*values)[i] = rows.Get(sources[i]);
      Adapt(from[sources[i]].type, def.columns[i], &(*values)[i]);
    }
  };
  std::vector<Value> values(def.columns.size());
  const auto& tables = rows.plan().tables;
  const bool reads_target =
      std::any_of(tables.begin(), tables.end(), [&](const auto& t) { return t.get() == &target; });
  std::int64_t count = 0;
  if (!reads_target) {
    for (; rows.Step(); ++count) {
      read(&values);
      target.Insert(values);
    }
    return count;
  }
  RowBuffer buffer;
  std::vector<std::uint32_t> no_ids;
  while (rows.Step()) {
    read(&values);
    buffer.Append(no_ids, values);
  }
  for (; buffer.Next(&no_ids, &values); ++count) {
    ThrowIfInterrupted();
    target.Insert(values);
  }
  return count;
}

std::int64_t Session::Impl::RunInsertSelect(const std::shared_ptr<Plan>& plan,
                                            const std::vector<Value>& parameters,
                                            const std::vector<Value>& lifted) {
  Running rows(plan, parameters, lifted);
  return InsertRows(*plan->target, plan->insert_sources, rows);
}

// ---- SELECT INTO

std::int64_t Session::Impl::RunSelectInto(const std::shared_ptr<Plan>& plan,
                                          const std::vector<Value>& parameters,
                                          const std::vector<Value>& lifted) {
  if (database->FindTable(plan->new_table)) {
    throw Error(ErrorKind::kExists, fmt::format("The table '{}' exists already.", plan->new_table));
  }
  std::vector<NewColumn> columns;
  for (const OutputColumn& c : plan->columns) {
    NewColumn n;
    n.name = c.name;
    if (const ColumnDef* def = StoredColumn(c)) {
      // A column shown unchanged keeps its type and length, nothing else.
      n.type = def->type;
      n.characters = def->type == ColumnType::kText ? def->max_characters() : def->length;
      n.fixed_length = def->fixed && (def->type == ColumnType::kText || def->type == ColumnType::kBinary);
      n.precision = def->precision;
      n.scale = def->scale;
      n.auto_number = def->auto_number && plan->tables.size() == 1;
    } else {
      n.type = ColumnTypeFor(c.type);
    }
    columns.push_back(std::move(n));
  }
  database->CreateTable(plan->new_table, columns, {});
  const std::shared_ptr<Table> target = database->FindTable(plan->new_table);
  std::vector<int> sources;
  for (std::size_t i = 0; i < columns.size(); ++i) sources.push_back(i);
  Running rows(plan, parameters, lifted);
  return InsertRows(*target, sources, rows);
}

}  // namespace jet::sql
