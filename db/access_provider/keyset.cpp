#include "db/access_provider/keyset.h"

#include <string>
#include <utility>
#include <vector>

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
    fields_.reserve(columns.size());
    columns_.reserve(columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const int column = columns[i].position >= 0 ? columns[i].position : kComputed;
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
      // The values stay Empty: each is decoded when it is asked for, from the row as it is now.
      if (!table_->Fetch(rows_[position], &row_)) return false;
      row_.Detach(&row_bytes_);
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

  Value LoadField(int field) const override {
    return Translated([&] {
      const int column = columns_[field];
      if (column == kComputed) return Value::Null();
      const jet::ColumnType type = Def(column).type;
      if (!IsLong(type)) return FromRow(row_, column, type);
      // A long value stands outside of the row.
      jet::Row row;
      if (!table_->Fetch(current_, &row)) return Value::Null();
      return FromRow(row, column, type);
    });
  }

  void UpdateRow(std::int64_t position, const FieldChanges& changes) override {
    const jet::RowId id = rows_[position];
    changed_.clear();
    for (const auto& [field, value] : changes) {
      const int column = columns_[field];
      changed_.push_back({column, ToColumn(*value, Def(column).type)});
    }
    Translated([&] {
      RequireAlive(id);
      jet::StatementScope scope(Attachment::connection().database());
      table_->Update(id, changed_);
      scope.Commit();
    });
  }

  void InsertRow(const FieldChanges& changes) override {
    const jet::TableDef& def = table_->def();
    new_row_.resize(def.columns.size());
    given_.assign(def.columns.size(), 0);
    for (const auto& [field, value] : changes) {
      const std::size_t column = columns_[field];
      new_row_[column] = ToColumn(*value, def.columns[column].type);
      given_[column] = 1;
    }
    Translated([&] {
      for (std::size_t i = 0; i < new_row_.size(); ++i) {
        if (given_[i] == 0) new_row_[i] = DefaultValue(def.columns[i]);
      }
      jet::StatementScope scope(Attachment::connection().database());
      const jet::RowId id = table_->Insert(new_row_);
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
  jet::Row row_;  // at current_, as it was when it was reached
  std::vector<std::uint8_t> row_bytes_;
  std::vector<jet::ColumnChange> changed_;
  // Of a row that is added.
  std::vector<jet::Value> new_row_;
  std::vector<std::uint8_t> given_;
};

}  // namespace

std::unique_ptr<ProviderRecordset> OpenKeyset(AccessConnection& connection, std::shared_ptr<jet::Table> table,
                                              jet::sql::Query& query, bool forward_only, bool updatable) {
  return std::make_unique<KeysetRecordset>(connection, std::move(table), query, forward_only, updatable);
}

}  // namespace vnt::db
