#include "db/server_provider/server_recordset.h"

#include <cmath>
#include <limits>
#include <utility>

#include "access/base/text.h"
#include "db/access_provider/errors.h"
#include "db/access_provider/values.h"
#include "db/forward_recordset.h"
#include "db/positioned_recordset.h"
#include "db/row_list.h"

namespace vnt::db {

Value FromServer(Value value, const ServerOutput& column) {
  if (value.is_null()) return value;
  if (column.column_type) return FromEngine(ToColumn(value, *column.column_type), column.column_type);
  switch (column.type) {
    case jet::sql::Type::kBoolean:
      return Value::Boolean(value.ToBoolean());
    case jet::sql::Type::kInteger: {
      if (value.type() == ValueType::kInt16) return Value::Int32(value.ToInt32());
      if (value.type() != ValueType::kInt64) return value;
      const std::int64_t number = value.raw_integer();
      using Limits = std::numeric_limits<std::int32_t>;
      return number < Limits::min() || number > Limits::max()
                 ? value
                 : Value::Int32(static_cast<std::int32_t>(number));
    }
    case jet::sql::Type::kReal:
      return Value::Double(value.ToDouble());
    default:
      return value;
  }
}

namespace {

class ServerRecordset final : public PositionedRecordset {
 public:
  ServerRecordset(std::shared_ptr<ServerSession> session, ServerQuery query, const RecordsetOptions& options)
      : PositionedRecordset(kServerSource, options.forward_only),
        session_(std::move(session)),
        query_(std::move(query)),
        updatable_(options.updatable && query_.base) {
    for (const ServerOutput& column : query_.columns)
      fields_.push_back({column.name, updatable_ && column.column >= 0});
    if (query_.base) {
      for (const int column : query_.base->key) {
        const ServerColumn& of = query_.base->columns[column];
        keys_.push_back({of.name, of.type, column});
      }
      if (keys_.empty()) {
        const bool numbered = query_.base->has_order;
        keys_.push_back({numbered ? kOrderColumn : std::string(session_->dialect().place_column()),
                         numbered ? jet::ColumnType::kBigInt : jet::ColumnType::kMemo, -1});
      }
    }
    const auto statement = session_->Open(query_.sql, query_.helpers);
    statement->DescribeColumns();
    while (Fetch(*statement, &values_)) rows_.Append(values_);
    values_.resize(fields_.size() + keys_.size(), Value::Null());
    if (query_.base) seen_ = session_->Writes(query_.base->name);
    Start();
  }

 private:
  struct Key {
    std::string name;
    jet::ColumnType type;
    int column;  // in the table; -1: not one of it
  };

  bool Fetch(OdbcStatement& statement, std::vector<Value>* values) const {
    if (!statement.Fetch(values)) return false;
    for (std::size_t i = 0; i < fields_.size(); ++i)
      (*values)[i] = FromServer(std::move((*values)[i]), query_.columns[i]);
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      Value& value = (*values)[fields_.size() + i];
      value = FromEngine(ToColumn(value, keys_[i].type), keys_[i].type);
    }
    return true;
  }

  std::int64_t Size() const override { return rows_.size(); }

  bool Load(std::int64_t position) override {
    rows_.Read(position, &values_);
    if (!query_.base || seen_ == session_->Writes(query_.base->name)) return true;
    return ReadAgain(position);
  }

  // Somebody has changed the table since.
  bool ReadAgain(std::int64_t position) {
    const SqlDialect& dialect = session_->dialect();
    std::string list;
    for (const ServerOutput& column : query_.columns) {
      if (column.column < 0) return true;  // a computed value stays what it was
      const ServerColumn& of = query_.base->columns[column.column];
      list += dialect.Read(dialect.Name(of.name), of.type) + ", ";
    }
    for (const Key& key : keys_) list += dialect.Name(key.name) + ", ";
    list.resize(list.size() - 2);
    const auto statement = session_->Open("SELECT " + list + " FROM " + dialect.Name(query_.base->name) +
                                          WhereKey());
    statement->DescribeColumns();
    if (!Fetch(*statement, &values_)) return false;
    rows_.Replace(position, values_);
    return true;
  }

  // Finds the row in values_.
  std::string WhereKey() const {
    const SqlDialect& dialect = session_->dialect();
    std::string where;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      const Value& value = values_[fields_.size() + i];
      where += (i == 0 ? " WHERE " : " AND ") + dialect.Name(keys_[i].name) + " = " +
               dialect.Literal(ToColumn(value, keys_[i].type), keys_[i].type);
    }
    return where;
  }

  void Write(const std::string& sql) {
    // What others have done in between is still to be read.
    const bool fresh = seen_ == session_->Writes(query_.base->name);
    if (session_->defers()) {
      session_->Enqueue(sql);
    } else if (session_->Run(sql) == 0) {
      throw DbError(
          kErrRowGone, kServerSource,
          "The current record of table \"" + query_.base->name + "\" has been deleted meanwhile.");
    }
    session_->NoteWrite(query_.base->name);
    if (fresh) seen_ = session_->Writes(query_.base->name);
  }

  // The change of a field, and of what finds the row again.
  void Keep(int field, const jet::Value& value, jet::ColumnType type) {
    values_[field] = FromEngine(value, type);
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      if (keys_[i].column == query_.columns[field].column)
        values_[fields_.size() + i] = values_[field];
    }
  }

  void UpdateRow(std::int64_t position, const FieldChanges& changes) override {
    Translated([&] {
      const SqlDialect& dialect = session_->dialect();
      std::string sets;
      std::vector<std::pair<int, jet::Value>> kept;
      for (const auto& [field, value] : changes) {
        const ServerColumn& column = query_.base->columns[query_.columns[field].column];
        kept.emplace_back(field, ToColumn(*value, column.type));
        sets += (sets.empty() ? "" : ", ") + dialect.Name(column.name) + " = " +
                dialect.Literal(kept.back().second, column.type);
      }
      rows_.Read(position, &values_);
      Write("UPDATE " + dialect.Name(query_.base->name) + " SET " + sets + WhereKey());
      for (const auto& [field, value] : kept)
        Keep(field, value, query_.base->columns[query_.columns[field].column].type);
      rows_.Replace(position, values_);
    });
  }

  void InsertRow(const FieldChanges& changes) override {
    Translated([&] {
      const SqlDialect& dialect = session_->dialect();
      std::string names, literals;
      std::vector<Value> row(fields_.size() + keys_.size(), Value::Null());
      values_ = row;
      for (const auto& [field, value] : changes) {
        const ServerColumn& column = query_.base->columns[query_.columns[field].column];
        const jet::Value stored = ToColumn(*value, column.type);
        names += (names.empty() ? "" : ", ") + dialect.Name(column.name);
        literals += (literals.empty() ? "" : ", ") + dialect.Literal(stored, column.type);
        Keep(field, stored, column.type);
      }
      Write("INSERT INTO " + dialect.Name(query_.base->name) +
            (names.empty() ? " DEFAULT VALUES" : " (" + names + ") VALUES (" + literals + ")"));
      rows_.Append(values_);
    });
  }

  void DeleteRow(std::int64_t position) override {
    Translated([&] {
      rows_.Read(position, &values_);
      Write("DELETE FROM " + session_->dialect().Name(query_.base->name) + WhereKey());
    });
  }

  void RequireUpdatable() const override {
    if (!updatable_) ThrowNotUpdatable(kServerSource);
  }

  void RequireOpen() const override { session_->odbc().RequireUsable(); }

  std::shared_ptr<ServerSession> session_;
  ServerQuery query_;
  bool updatable_;
  std::vector<Key> keys_;
  RowList rows_;
  std::int64_t seen_ = 0;
};

}  // namespace

std::unique_ptr<ProviderRecordset> OpenServerRecordset(std::shared_ptr<ServerSession> session,
                                                       ServerQuery query, const RecordsetOptions& options) {
  return std::make_unique<ServerRecordset>(std::move(session), std::move(query), options);
}

}  // namespace vnt::db
