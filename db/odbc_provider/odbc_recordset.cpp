#include "db/odbc_provider/odbc_recordset.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "db/forward_recordset.h"
#include "db/odbc_provider/select_shape.h"
#include "db/odbc_provider/statement.h"
#include "db/positioned_recordset.h"
#include "db/row_list.h"

namespace vnt::db {
namespace {

class StreamingRecordset final : public ForwardRecordset {
 public:
  StreamingRecordset(std::shared_ptr<OdbcSession> session, std::string sql)
      : ForwardRecordset(kOdbcSource), session_(std::move(session)), sql_(std::move(sql)) {
    Start();
  }

  int FieldCount() const override { return statement_->columns().size(); }
  const std::string& FieldName(int index) const override { return statement_->columns()[index].name; }
  Value Get(int index) const override {
    RequireRow();
    return values_[index];
  }

 private:
  bool Restart() override {
    statement_.emplace(*session_);
    statement_->ExecuteDirect(sql_);
    statement_->DescribeColumns();
    return Step();
  }
  bool Step() override { return statement_->Fetch(&values_); }
  void RequireOpen() const override { session_->RequireUsable(); }

  std::shared_ptr<OdbcSession> session_;
  std::string sql_;
  std::optional<OdbcStatement> statement_;
  std::vector<Value> values_;
};

// Where the rows of a recordset stand in the data source; without a table they cannot be changed.
struct RowOrigin {
  std::string table;
  std::string list;                  // of all columns fetched, the added key columns included
  std::vector<std::string> columns;  // of the table, per fetched column
  std::vector<int> key;              // fetched columns that make the primary key; empty: there is none
};

class BufferedRecordset final : public PositionedRecordset {
 public:
  struct Options {
    bool forward_only = false;
    bool updatable = false;
    bool read_again = false;
    int added_columns = 0;  // at the end of the result, not fields
  };

  BufferedRecordset(std::shared_ptr<OdbcSession> session, OdbcStatement& statement, RowOrigin origin,
                    const Options& options)
      : PositionedRecordset(kOdbcSource, options.forward_only),
        session_(std::move(session)),
        columns_(statement.columns()),
        origin_(std::move(origin)),
        updatable_(options.updatable && !origin_.table.empty()),
        read_again_(options.read_again && !origin_.key.empty()) {
    for (std::size_t i = 0; i + options.added_columns < columns_.size(); ++i)
      fields_.push_back({columns_[i].name, updatable_});
    while (statement.Fetch(&values_)) rows_.Append(values_);
    values_.resize(columns_.size());
    statement.CloseResult();
    Start();
    fresh_ = false;
  }

 private:
  std::int64_t Size() const override { return rows_.size(); }

  bool Load(std::int64_t position) override {
    rows_.Read(position, &values_);
    // The first row has just been fetched.
    if (!read_again_ || fresh_) return true;
    return ReadAgain(position);
  }

  bool ReadAgain(std::int64_t position) {
    std::vector<Value> key;
    std::vector<SQLSMALLINT> types;
    for (const int column : origin_.key) {
      key.push_back(values_[column]);
      // A row just added, whose key the server made.
      if (key.back().is_null()) return true;
      types.push_back(columns_[column].type);
    }
    if (!again_) {
      std::string sql = "SELECT " + origin_.list + " FROM " + origin_.table + " WHERE ";
      for (std::size_t i = 0; i < origin_.key.size(); ++i)
        sql += (i == 0 ? "" : " AND ") + ColumnName(origin_.key[i]) + " = ?";
      again_.emplace(*session_);
      again_->Prepare(sql);
    }
    again_->Execute(key, types);
    if (again_->columns().empty()) again_->DescribeColumns();
    const bool found = again_->Fetch(&values_);
    again_->CloseResult();
    if (found) rows_.Replace(position, values_);
    return found;
  }

  std::string ColumnName(int column) const { return session_->Quoted(origin_.columns[column]); }

  // " WHERE ..." that finds the row as it was fetched, and its parameters.
  std::string Condition(std::int64_t position, std::vector<Value>* parameters,
                        std::vector<SQLSMALLINT>* types) const {
    std::vector<Value> old(columns_.size());
    rows_.Read(position, &old);
    std::vector<int> columns = origin_.key;
    if (columns.empty()) {
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        // Long binary values cannot be compared everywhere.
        if (columns_[i].type != SQL_LONGVARBINARY) columns.push_back(i);
      }
    }
    std::string text = " WHERE ";
    for (const int column : columns) {
      const std::size_t i = column;
      if (column != columns.front()) text += " AND ";
      text += ColumnName(column);
      if (old[i].is_null()) {
        text += " IS NULL";
      } else {
        text += " = ?";
        parameters->push_back(old[i]);
        types->push_back(columns_[i].type);
      }
    }
    return text;
  }

  // Runs a change that is to match exactly one row.
  void ChangeOne(const std::string& sql, const std::vector<Value>& parameters,
                 const std::vector<SQLSMALLINT>& types) {
    OdbcStatement statement(*session_);
    statement.Prepare(sql);
    // A primary key cannot match more than one row; old values can, and that change must not stay.
    const bool guarded = origin_.key.empty();
    if (guarded) session_->BeginTransaction();
    std::int64_t rows = 0;
    try {
      statement.Execute(parameters, types);
      rows = statement.RowCount();
    } catch (...) {
      if (guarded) session_->EndTransaction(false);
      throw;
    }
    if (guarded) session_->EndTransaction(rows == 1);
    if (rows == 0) {
      throw DbError(
          kErrRowGone, kOdbcSource,
          "The current record of table \"" + origin_.table + "\" has been changed or deleted meanwhile.");
    }
    if (rows > 1) {
      throw DbError(kErrRowGone, kOdbcSource,
                    "The current record of table \"" + origin_.table +
                        "\" cannot be told from others: the table has no primary key.");
    }
  }

  void UpdateRow(std::int64_t position, const FieldChanges& changes) override {
    std::string sql = "UPDATE " + origin_.table + " SET ";
    std::vector<Value> parameters;
    std::vector<SQLSMALLINT> types;
    std::vector<Value> row(columns_.size());
    rows_.Read(position, &row);
    for (const auto& [field, value] : changes) {
      const std::size_t i = field;
      if (!parameters.empty()) sql += ", ";
      sql += ColumnName(field) + " = ?";
      row[i] = ToColumn(*value, columns_[i]);
      parameters.push_back(row[i]);
      types.push_back(columns_[i].type);
    }
    sql += Condition(position, &parameters, &types);
    ChangeOne(sql, parameters, types);
    rows_.Replace(position, row);
  }

  void InsertRow(const FieldChanges& changes) override {
    std::string names, marks;
    std::vector<Value> parameters;
    std::vector<SQLSMALLINT> types;
    std::vector<Value> row(columns_.size(), Value::Null());
    for (const auto& [field, value] : changes) {
      const std::size_t i = field;
      if (!parameters.empty()) names += ", ", marks += ", ";
      names += ColumnName(field);
      marks += "?";
      row[i] = ToColumn(*value, columns_[i]);
      parameters.push_back(row[i]);
      types.push_back(columns_[i].type);
    }
    OdbcStatement statement(*session_);
    if (parameters.empty()) {
      statement.ExecuteDirect("INSERT INTO " + origin_.table + " DEFAULT VALUES");
    } else {
      statement.Prepare("INSERT INTO " + origin_.table + " (" + names + ") VALUES (" + marks + ")");
      statement.Execute(parameters, types);
    }
    rows_.Append(row);
  }

  void DeleteRow(std::int64_t position) override {
    std::vector<Value> parameters;
    std::vector<SQLSMALLINT> types;
    const std::string condition = Condition(position, &parameters, &types);
    ChangeOne("DELETE FROM " + origin_.table + condition, parameters, types);
  }

  void RequireUpdatable() const override {
    if (!updatable_) ThrowNotUpdatable(kOdbcSource);
  }
  void RequireOpen() const override { session_->RequireUsable(); }

  std::shared_ptr<OdbcSession> session_;
  std::vector<OdbcColumn> columns_;
  RowOrigin origin_;
  bool updatable_;
  bool read_again_;
  bool fresh_ = true;
  RowList rows_;
  std::optional<OdbcStatement> again_;
};

// The names of the table's columns that the result shows, as the catalog spells them, "*" replaced by what
// came back for it.
std::vector<std::string> FetchedColumns(const std::vector<std::string>& listed,
                                        const std::vector<OdbcColumn>& result, std::size_t added) {
  std::vector<std::string> names;
  // "*" stands for as many columns as the other items leave over.
  const std::size_t star = result.size() - added - (listed.size() - 1);
  for (const std::string& column : listed) {
    if (column != "*") {
      names.push_back(column);
      continue;
    }
    for (std::size_t i = 0; i < star; ++i) names.push_back(result[names.size()].name);
  }
  for (std::size_t i = result.size() - added; i < result.size(); ++i) names.push_back(result[i].name);
  return names;
}

int Find(const std::vector<std::string>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  return found == names.end() ? -1 : found - names.begin();
}

std::unique_ptr<ProviderRecordset> OpenBuffered(const std::shared_ptr<OdbcSession>& session, std::string sql,
                                                CursorType cursor, LockType lock) {
  BufferedRecordset::Options options;
  options.forward_only = cursor == CursorType::kForwardOnly;
  options.updatable = lock != LockType::kReadOnly;
  options.read_again = cursor == CursorType::kKeyset || cursor == CursorType::kDynamic;

  RowOrigin origin;
  SelectShape shape;
  std::vector<std::string> key;
  const bool wanted = (options.updatable || options.read_again) && ParseSingleTableSelect(sql, &shape);
  if (wanted) {
    for (std::string& column : shape.columns) {
      if (column != "*") column = session->CatalogName(column);
    }
    key = session->PrimaryKey(shape.table);
    std::string added;
    for (const std::string& column : key) {
      if (shape.all_columns || Find(shape.columns, column) >= 0) continue;
      added += ", " + session->Quoted(column);
      ++options.added_columns;
    }
    sql.insert(shape.list_end, added);
    origin.table = shape.table;
    origin.list = shape.list + added;
  }

  OdbcStatement statement(*session);
  statement.ExecuteDirect(sql);
  statement.DescribeColumns();
  if (wanted) {
    origin.columns = FetchedColumns(shape.columns, statement.columns(), options.added_columns);
    for (const std::string& column : key) {
      const int at = Find(origin.columns, column);
      if (at >= 0) origin.key.push_back(at);
    }
    if (origin.key.size() != key.size()) origin.key.clear();
  }
  return std::make_unique<BufferedRecordset>(session, statement, std::move(origin), options);
}

}  // namespace

std::unique_ptr<ProviderRecordset> OpenOdbcRecordset(const std::shared_ptr<OdbcSession>& session,
                                                     std::string_view sql, CursorType cursor, LockType lock) {
  std::string text(sql);
  if (IsTableName(sql)) text = "SELECT * FROM " + text;
  // A server that holds one result at a time could not run the statements that a walk sends in between.
  if (cursor == CursorType::kForwardOnly && lock == LockType::kReadOnly && !session->one_result_at_a_time()) {
    return std::make_unique<StreamingRecordset>(session, std::move(text));
  }
  return OpenBuffered(session, std::move(text), cursor, lock);
}

}  // namespace vnt::db
