#include "db/access_provider/keyset.h"

#include <string>
#include <utility>
#include <vector>

#include "access/store/names.h"
#include "db/access_provider/errors.h"
#include "db/access_provider/values.h"
#include "db/connection_string.h"
#include "db/positioned_recordset.h"
#include "db/row_list.h"

namespace vnt::db {
namespace {

class KeysetRecordset final : public PositionedRecordset, private Attachment {
 public:
  KeysetRecordset(AccessConnection& from, std::shared_ptr<jet::Table> table, jet::sql::Query& query,
                  bool forward_only, bool updatable)
      : PositionedRecordset(kAccessSource, forward_only),
        Attachment(from),
        table_(std::move(table)),
        updatable_(updatable) {
    BindColumns(query.columns());
    table_->HoldRowIds();
    try {
      Collect(query);
      Start();
    } catch (...) {
      table_->ReleaseRowIds();
      throw;
    }
  }

  ~KeysetRecordset() override {
    if (table_) table_->ReleaseRowIds();
  }

 private:
  static constexpr int kComputed = -1;

  void BindColumns(const std::vector<jet::sql::ResultColumn>& columns) {
    const jet::TableDef& def = table_->def();
    fields_.reserve(columns.size());
    columns_.reserve(columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string& name = columns[i].column;
      int column = kComputed;
      if (!name.empty()) {
        // The usual case is "select *": the same place.
        const bool same_place = i < def.columns.size() && jet::SameName(def.columns[i].name, name);
        column = same_place ? static_cast<int>(i) : def.FindColumn(name);
      }
      const bool writable = column != kComputed && !Def(column).calculated;
      fields_.push_back({columns[i].name, writable});
      columns_.push_back(column);
      if (column == kComputed) computed_fields_.push_back(i);
    }
    values_.resize(columns.size());
  }

  void Collect(jet::sql::Query& query) {
    std::vector<Value> computed(computed_fields_.size());
    while (query.Step()) {
      rows_.push_back(query.row_id());
      if (computed_fields_.empty()) continue;
      for (std::size_t i = 0; i < computed.size(); ++i) {
        const int field = computed_fields_[i];
        computed[i] = FromEngine(query.Get(field), query.columns()[field].type);
      }
      computed_.Append(computed);
    }
  }

  const jet::ColumnDef& Def(int column) const { return table_->def().columns[column]; }

  std::int64_t Size() const override { return rows_.size(); }

  bool Load(std::int64_t position) override {
    return Translated([&] {
      jet::Row row;
      if (!table_->Fetch(rows_[position], &row)) return false;
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i] == kComputed) continue;
        const jet::ColumnType type = Def(columns_[i]).type;
        if (IsLong(type) && !row.IsNull(columns_[i])) {
          values_[i] = Value();  // read when it is asked for
        } else {
          values_[i] = FromRow(row, columns_[i], type);
        }
      }
      if (!computed_fields_.empty()) LoadComputed(position);
      current_ = rows_[position];
      return true;
    });
  }

  void LoadComputed(std::int64_t position) {
    std::vector<Value> computed(computed_fields_.size(), Value::Null());
    // Rows that were added here have no computed values.
    if (position < computed_.size()) computed_.Read(position, &computed);
    for (std::size_t i = 0; i < computed.size(); ++i) values_[computed_fields_[i]] = std::move(computed[i]);
  }

  Value LoadLong(int field) const override {
    return Translated([&] {
      const int column = columns_[field];
      jet::Row row;
      if (column == kComputed || !table_->Fetch(current_, &row)) return Value::Null();
      return FromRow(row, column, Def(column).type);
    });
  }

  void UpdateRow(std::int64_t position, const FieldChanges& changes) override {
    const jet::RowId id = rows_[position];
    std::vector<jet::ColumnChange> columns;
    columns.reserve(changes.size());
    for (const auto& [field, value] : changes) {
      const int column = columns_[field];
      columns.push_back({column, ToColumn(*value, Def(column).type)});
    }
    Translated([&] {
      RequireAlive(id);
      jet::StatementScope scope(Attachment::connection().database());
      table_->Update(id, columns);
      scope.Commit();
    });
  }

  void InsertRow(const FieldChanges& changes) override {
    const jet::TableDef& def = table_->def();
    std::vector<jet::Value> row(def.columns.size());
    std::vector<bool> given(def.columns.size());
    for (const auto& [field, value] : changes) {
      const std::size_t column = columns_[field];
      row[column] = ToColumn(*value, def.columns[column].type);
      given[column] = true;
    }
    Translated([&] {
      for (std::size_t i = 0; i < row.size(); ++i) {
        if (!given[i]) row[i] = DefaultValue(def.columns[i]);
      }
      jet::StatementScope scope(Attachment::connection().database());
      const jet::RowId id = table_->Insert(row);
      scope.Commit();
      rows_.push_back(id);
    });
  }

  void DeleteRow(std::int64_t position) override {
    const jet::RowId id = rows_[position];
    Translated([&] {
      RequireAlive(id);
      jet::StatementScope scope(Attachment::connection().database());
      table_->Delete(id);
      scope.Commit();
    });
  }

  // What a column that was not set gets: its default, an expression that the engine evaluates.
  jet::Value DefaultValue(const jet::ColumnDef& column) {
    if (!column.default_value.empty() && !column.auto_number) {
      std::string_view expression = column.default_value;
      if (expression.front() == '=') expression.remove_prefix(1);
      const auto query = Attachment::connection().session().Open("SELECT " + std::string(expression));
      if (query->Step()) return ToColumn(FromEngine(query->Get(0), {}), column.type);
    }
    return column.type == jet::ColumnType::kBoolean ? jet::Value::Integer(0) : jet::Value::Null();
  }

  void RequireAlive(jet::RowId id) {
    jet::Row row;
    if (table_->Fetch(id, &row)) return;
    throw DbError(kErrRowGone, kAccessSource,
                  "The current record of table \"" + table_->def().name + "\" has been deleted meanwhile.");
  }

  void RequireUpdatable() const override {
    if (!updatable_) {
      throw DbError(kErrReadOnlyRecordset, kAccessSource, "The recordset does not allow changes.");
    }
    Attachment::connection().RequireWritable();
  }

  void RequireOpen() const override { Attachment::connection(); }

  void Release() override {
    table_->ReleaseRowIds();
    table_ = nullptr;
  }

  std::shared_ptr<jet::Table> table_;
  bool updatable_;
  std::vector<jet::RowId> rows_;
  std::vector<int> columns_;  // per field: position in the table's columns, or kComputed
  std::vector<int> computed_fields_;
  RowList computed_;
  jet::RowId current_;
};

}  // namespace

std::unique_ptr<ProviderRecordset> OpenKeyset(AccessConnection& connection, std::shared_ptr<jet::Table> table,
                                              jet::sql::Query& query, bool forward_only, bool updatable) {
  return std::make_unique<KeysetRecordset>(connection, std::move(table), query, forward_only, updatable);
}

}  // namespace vnt::db
