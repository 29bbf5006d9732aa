#include "db/access_provider/access_recordset.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "db/access_provider/errors.h"
#include "db/access_provider/keyset.h"
#include "db/access_provider/values.h"
#include "db/forward_recordset.h"
#include "db/positioned_recordset.h"
#include "db/row_list.h"

namespace vnt::db {
namespace {

class StreamingRecordset final : public ForwardRecordset, private Attachment {
 public:
  StreamingRecordset(AccessConnection& connection, std::string_view sql,
                     std::unique_ptr<jet::sql::Query> query)
      : ForwardRecordset(kAccessSource), Attachment(connection), sql_(sql), query_(std::move(query)) {
    for (const auto& column : query_->columns()) columns_.push_back({column.name, column.type});
    Start();
  }

  int FieldCount() const override { return columns_.size(); }
  const std::string& FieldName(int index) const override { return columns_[index].name; }
  Value Get(int index) const override {
    RequireRow();
    return Translated([&] { return FromEngine(query_->Get(index), columns_[index].type); });
  }

 private:
  struct Column {
    std::string name;
    std::optional<jet::ColumnType> type;
  };

  // The query that comes with the first call has not begun.
  bool Restart() override {
    return Translated([&] {
      if (std::exchange(begun_, true)) query_ = Attachment::connection().session().Open(sql_);
      return query_->Step();
    });
  }
  bool Step() override {
    return Translated([&] { return query_->Step(); });
  }
  void RequireOpen() const override { Attachment::connection(); }
  void Release() override { query_ = nullptr; }

  std::string sql_;
  std::unique_ptr<jet::sql::Query> query_;
  std::vector<Column> columns_;
  bool begun_ = false;
};

class SnapshotRecordset final : public PositionedRecordset {
 public:
  SnapshotRecordset(jet::sql::Query& query, bool forward_only)
      : PositionedRecordset(kAccessSource, forward_only) {
    const auto& columns = query.columns();
    for (const auto& column : columns) fields_.push_back({column.name, false});
    values_.resize(columns.size());
    while (query.Step()) {
      for (std::size_t i = 0; i < columns.size(); ++i) values_[i] = FromEngine(query.Get(i), columns[i].type);
      rows_.Append(values_);
    }
    Start();
  }

 private:
  std::int64_t Size() const override { return rows_.size(); }
  bool Load(std::int64_t position) override {
    rows_.Read(position, &values_);
    return true;
  }
  void UpdateRow(std::int64_t, const FieldChanges&) override { ThrowNotUpdatable(kAccessSource); }
  void InsertRow(const FieldChanges&) override { ThrowNotUpdatable(kAccessSource); }
  void DeleteRow(std::int64_t) override { ThrowNotUpdatable(kAccessSource); }
  void RequireUpdatable() const override { ThrowNotUpdatable(kAccessSource); }

  RowList rows_;
};

}  // namespace

std::unique_ptr<ProviderRecordset> OpenAccessRecordset(AccessConnection& connection, std::string_view sql,
                                                       CursorType cursor, LockType lock) {
  auto query = connection.session().Open(sql);
  const bool forward_only = cursor == CursorType::kForwardOnly;
  const bool updatable = lock != LockType::kReadOnly;
  if (forward_only && !updatable) {
    return std::make_unique<StreamingRecordset>(connection, sql, std::move(query));
  }
  // A walk that changes rows works on a fixed list too: a running query could meet a row again that a change
  // moved ahead of it in an index.
  if (updatable || cursor == CursorType::kKeyset || cursor == CursorType::kDynamic) {
    if (auto table = query->base_table()) {
      const bool system = table->def().system;  // the engine keeps those
      return OpenKeyset(connection, std::move(table), *query, forward_only, updatable && !system);
    }
  }
  return std::make_unique<SnapshotRecordset>(*query, forward_only);
}

}  // namespace vnt::db
