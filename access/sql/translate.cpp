#include "access/sql/translate.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"

namespace jet::sql {
namespace {

const std::shared_ptr<Table>& TableOf(const NamedTable& table) {
  return static_cast<const CatalogTable&>(table).table;
}

}  // namespace

const Table* BaseTable(const OutputColumn& c) { return c.table ? TableOf(*c.table).get() : nullptr; }

const ColumnDef* StoredColumn(const OutputColumn& c) {
  const Table* const table = BaseTable(c);
  return table != nullptr ? &table->def().columns[c.column] : nullptr;
}

// ---- statements

Translation Translator::Query(const Select& select, bool want_row_id) {
  Translation t;
  NamedTablePtr base;
  t.sql = PrintSelect(select, nullptr, Use::kResult, &t.columns, want_row_id ? &base : nullptr);
  if (base) t.base_table = TableOf(*base);
  t.tables = mentions_;
  return t;
}

Translation Translator::Values(const std::vector<ExprPtr>& values) {
  Translation t;
  Scope scope;
  for (const ExprPtr& e : values) {
    OutputColumn column;
    const Printed value = PrintOperand(*e, &scope);
    column.type = value.type;
    t.sql += (t.sql.empty() ? "SELECT " : ", ") + StoredSql(value);
    t.columns.push_back(std::move(column));
  }
  t.tables = mentions_;
  return t;
}

std::string Translator::RowSource(const Statement& s, const std::string& items, const std::string& from,
                                  Scope* scope) {
  return "SELECT " + items + from + WhereSql(*s.select, scope);
}

UpdateTranslation Translator::Update(const Statement& s) {
  UpdateTranslation u;
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  std::vector<std::string> ids, values;
  std::vector<const Source*> sources;
  for (const Assignment& a : s.assignments) {
    const Found found = AssignedColumn(a, scope);
    const auto it = std::find(sources.begin(), sources.end(), found.source);
    const int target = it - sources.begin();
    if (it == sources.end()) {
      sources.push_back(found.source);
      u.targets.push_back({TableOf(*found.source->table), target});
      ids.push_back(RowIdSql(*found.source));
    }
    const Printed value = PrintOperand(*a.expr, &scope);
    u.columns.push_back({target, found.column, static_cast<int>(values.size()), value.type});
    values.push_back(StoredSql(value));
  }
  for (UpdateColumn& c : u.columns) c.source_column += ids.size();
  ids.insert(ids.end(), values.begin(), values.end());
  u.source.sql = RowSource(s, Join(ids), from, &scope);
  // Of several rows that match, the last one counts.
  if (scope.row_order.size() > 1) u.source.sql += " ORDER BY " + Join(scope.row_order);
  u.source.tables = mentions_;
  return u;
}

UpdateTranslation Translator::Delete(const Statement& s) {
  UpdateTranslation u;
  Scope scope;
  const std::string from = PrintFrom(*s.select, nullptr, &scope);
  const Source& target = DeleteTarget(s, scope);
  u.targets.push_back({TableOf(*target.table), 0});
  u.source.sql = RowSource(s, RowIdSql(target), from, &scope);
  u.source.tables = mentions_;
  return u;
}

// ---- tables and queries

std::string Translator::TableSql(const std::string& name, const std::string& file, Source* source) {
  std::shared_ptr<const CatalogTable> found = catalog_.Find(name, file);
  mentions_.push_back(found->table);
  const std::string& sql = found->sql_name;
  source->table = found;
  return sql;
}

std::optional<std::string> Translator::QueryText(const std::string& name, const std::string& file) {
  return catalog_.FindQuery(name, file);
}

std::vector<std::string> Translator::DistinctRows(const Select& select, const Scope& scope) const {
  const std::vector<bool> shown = ShownSources(select, scope);
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

std::string Translator::Order(const std::string& sql, bool descending) const {
  return descending ? sql + " DESC" : sql;
}

std::string Translator::Limit(std::int64_t rows) const { return fmt::format(" LIMIT {}", rows); }

std::string Translator::PercentSql(double percent) const {
  return fmt::format("max(1, CAST(t.total * {:.10g} / 100.0 + 0.999999 AS INTEGER))", percent);
}

Printer::Item Translator::ItemOf(Printed p, bool exact, std::size_t) const {
  p = AsOperand(std::move(p));
  std::string sorted = SortSql(p);
  const bool is_decimal = p.type == Type::kDecimal;
  return {is_decimal && exact ? std::move(p.exact) : std::move(p.sql), std::move(sorted), !is_decimal};
}

std::string Translator::GroupSql(const Printed& operand) const {
  return AreDecimals({&operand}) ? KeySql(operand) : operand.sql;
}

std::string Translator::SortSql(const Printed& operand) const {
  std::string sql = GroupSql(operand);
  // A number would be taken for a position.
  const bool is_column = sql.size() > 2 && sql[0] == 'a' && sql.find_first_of(" (,") == std::string::npos;
  if (!is_column) sql = "+(" + sql + ")";
  return sql;
}

}  // namespace jet::sql
