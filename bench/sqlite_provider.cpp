#include "bench/sqlite_provider.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "db/provider.h"

namespace vnt::bench {
namespace {

using db::DbError;
using db::Value;
using db::ValueType;

[[noreturn]] void Throw(sqlite3* handle, std::string_view sql) {
  throw DbError(db::kErrSyntax, "SQLite", fmt::format("{}: {}", sqlite3_errmsg(handle), sql));
}

void Ucase(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) return;
  std::string text(reinterpret_cast<const char*>(sqlite3_value_text(arguments[0])));
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// left(text, n) and right(text, n); n characters of one byte each, as the samples hold.
void LeftRight(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) return;
  const bool right = sqlite3_user_data(context) != nullptr;
  const char* text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
  const int size = sqlite3_value_bytes(arguments[0]);
  const int count = std::min(size, sqlite3_value_int(arguments[1]));
  sqlite3_result_text(context, right ? text + size - count : text, count, SQLITE_TRANSIENT);
}

std::string Replace(const std::string& text, const char* pattern, const char* format) {
  return std::regex_replace(text, std::regex(pattern, std::regex::icase), format);
}

// The spellings that differ. Everything else goes through as it stands.
std::string ToSqlite(std::string_view access_sql) {
  std::string sql(access_sql);
  const auto has = [&](const char* part) { return sql.find(part) != std::string::npos; };
  if (has("INNER JOIN") && (sql.starts_with("UPDATE"))) {
    sql = Replace(sql, R"(UPDATE (\w+) INNER JOIN (\w+) ON (.+?) SET (.+?) Where (.*))",
                  "UPDATE $1 SET $4 FROM $2 WHERE $3 AND ($5)");
  }
  if (has("SET ") || has("set ")) sql = Replace(sql, R"((SET |, +)(emiss|com_el|grp)\.(\w+) =)", "$1$3 =");
  if (has(" +  '")) sql = Replace(sql, R"( \+  ')", " || '");
  if (has("left(")) sql = Replace(sql, R"(\bleft\()", "left_(");
  if (has("right(")) sql = Replace(sql, R"(\bright\()", "right_(");
  if (has(" into ") || has(" Into ")) {
    sql = Replace(sql, R"( *select (.+) into (\w+) from (\w+) in '[^']*')",
                  "create table $2 as select $1 from reference.$3");
    sql = Replace(sql, R"(^ *select (.+) into (\w+) from (.*))", "create table $2 as select $1 from $3");
  }
  // The sixteenth column, which no build writes, is left out by name in Access.
  if (sql.starts_with("INSERT INTO freq  SELECT")) {
    sql.replace(0, 16,
                "INSERT INTO freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_sym, freq_assgn, "
                "freq_mhz, freq_min, "
                "freq_max, bdwdth, fdg_reg, d_prot_eff, wic_no, ntc_type)");
  }
  if (has("#")) {
    std::smatch date;
    while (std::regex_search(sql, date, std::regex(R"(#(\d+)/(\d+)/(\d+)#)"))) {
      int month = std::stoi(date[1]), day = std::stoi(date[2]);
      if (month > 12) std::swap(month, day);
      const double number = db::JoinDate({std::stoi(date[3]), month, day});
      sql.replace(static_cast<std::size_t>(date.position()), static_cast<std::size_t>(date.length()),
                  fmt::format("{}", number));
    }
  }
  return sql;
}

Value Column(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return Value::Null();
    case SQLITE_INTEGER:
      return Value::Int32(sqlite3_column_int(statement, column));
    case SQLITE_FLOAT:
      return Value::Double(sqlite3_column_double(statement, column));
    default:
      return Value::Text({reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                          static_cast<std::size_t>(sqlite3_column_bytes(statement, column))});
  }
}

void Bind(sqlite3_stmt* statement, int position, const Value& value) {
  switch (value.type()) {
    case ValueType::kEmpty:
    case ValueType::kNull:
      sqlite3_bind_null(statement, position);
      break;
    case ValueType::kText:
    case ValueType::kDecimal:
    case ValueType::kBinary:
      sqlite3_bind_text(statement, position, value.raw_bytes().data(),
                        static_cast<int>(value.raw_bytes().size()), SQLITE_TRANSIENT);
      break;
    case ValueType::kSingle:
    case ValueType::kDouble:
    case ValueType::kDate:
      sqlite3_bind_double(statement, position, value.raw_double());
      break;
    default:
      sqlite3_bind_int64(statement, position, value.raw_integer());
  }
}

// A prepared statement, finalised when it goes.
class Statement {
 public:
  Statement(sqlite3* handle, const std::string& sql) : handle_(handle), sql_(sql) {
    if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) Throw(handle, sql);
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  sqlite3_stmt* get() const { return statement_; }
  bool Step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) Throw(handle_, sql_);
    return result == SQLITE_ROW;
  }
  void Reset() { sqlite3_reset(statement_); }

 private:
  sqlite3* handle_;
  std::string sql_;
  sqlite3_stmt* statement_ = nullptr;
};

class SqliteConnection : public db::ProviderConnection {
 public:
  explicit SqliteConnection(const std::string& path) {
    if (sqlite3_open(path.c_str(), &handle_) != SQLITE_OK) Throw(handle_, path);
    sqlite3_create_function(handle_, "ucase", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, Ucase, nullptr,
                            nullptr);
    sqlite3_create_function(
        handle_, "len", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
        [](sqlite3_context* c, int, sqlite3_value** v) {
          if (sqlite3_value_type(v[0]) != SQLITE_NULL) sqlite3_result_int(c, sqlite3_value_bytes(v[0]));
        },
        nullptr, nullptr);
    static int right;
    sqlite3_create_function(handle_, "left_", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, LeftRight,
                            nullptr, nullptr);
    sqlite3_create_function(handle_, "right_", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, &right, LeftRight,
                            nullptr, nullptr);
    // The reference database lies beside: reference.* for notices.*.
    std::string reference = path;
    const std::size_t name = reference.rfind("notices.");
    if (name != std::string::npos) {
      reference.replace(name, 7, "reference");
      Run(fmt::format("ATTACH '{}' AS reference", reference));
    }
  }
  ~SqliteConnection() override { sqlite3_close(handle_); }

  sqlite3* handle() const { return handle_; }

  std::int64_t Execute(std::string_view access_sql, const std::vector<Value>& parameters) override {
    Begin();
    if (!parameters.empty()) {
      // What a careful program does: prepare a statement with parameters once.
      std::unique_ptr<Statement>& prepared = prepared_[std::string(access_sql)];
      if (!prepared) prepared = std::make_unique<Statement>(handle_, ToSqlite(access_sql));
      for (std::size_t i = 0; i < parameters.size(); ++i)
        Bind(prepared->get(), static_cast<int>(i) + 1, parameters[i]);
      while (prepared->Step()) {
      }
      prepared->Reset();
    } else {
      Statement statement(handle_, ToSqlite(access_sql));
      while (statement.Step()) {
      }
    }
    return sqlite3_changes64(handle_);
  }

  std::unique_ptr<db::ProviderRecordset> OpenRecordset(std::string_view sql, db::CursorType cursor,
                                                       db::LockType lock) override;

  void Checkpoint() override {
    if (!in_transaction_) return;
    prepared_.clear();
    Run("COMMIT");
    in_transaction_ = false;
  }

  void Begin() {
    if (in_transaction_) return;
    Run("BEGIN");
    in_transaction_ = true;
  }

 private:
  void Run(const std::string& sql) {
    if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) Throw(handle_, sql);
  }

  sqlite3* handle_ = nullptr;
  bool in_transaction_ = false;
  std::map<std::string, std::unique_ptr<Statement>> prepared_;
};

// All rows are read when the recordset is opened; changes go to the row by its rowid.
class SqliteRecordset : public db::ProviderRecordset {
 public:
  SqliteRecordset(SqliteConnection& connection, std::string_view access_sql, bool updatable)
      : connection_(connection) {
    std::string sql = ToSqlite(access_sql);
    if (updatable) {
      std::smatch table;
      if (std::regex_search(sql, table, std::regex(R"(\bfrom +(\w+))", std::regex::icase))) table_ = table[1];
      sql = std::regex_replace(sql, std::regex(R"(^\s*select )", std::regex::icase),
                               "select rowid as rowid__, ", std::regex_constants::format_first_only);
      first_ = 1;
    }
    Statement statement(connection.handle(), sql);
    const int columns = sqlite3_column_count(statement.get());
    for (int i = first_; i < columns; ++i) names_.emplace_back(sqlite3_column_name(statement.get(), i));
    while (statement.Step()) {
      auto& row = rows_.emplace_back();
      for (int i = 0; i < columns; ++i) row.push_back(Column(statement.get(), i));
    }
  }

  bool Eof() const override { return position_ >= static_cast<std::int64_t>(rows_.size()); }
  bool Bof() const override { return position_ < 0; }
  void MoveNext() override { ++position_; }
  void MovePrevious() override { --position_; }
  void MoveFirst() override { position_ = 0; }
  void MoveLast() override { position_ = static_cast<std::int64_t>(rows_.size()) - 1; }
  std::int64_t RecordCount() const override { return static_cast<std::int64_t>(rows_.size()); }
  int FieldCount() const override { return static_cast<int>(names_.size()); }
  const std::string& FieldName(int index) const override { return names_[static_cast<std::size_t>(index)]; }
  Value Get(int index) const override {
    for (const auto& [field, value] : changes_) {
      if (field == index) return value;
    }
    if (adding_) return Value::Null();
    if (Eof()) throw DbError(db::kErrNoCurrentRecord, "SQLite", "There is no current record.");
    return Row()[static_cast<std::size_t>(index + first_)];
  }
  void Set(int index, const Value& value) override { changes_.emplace_back(index, value); }
  void AddNew() override {
    adding_ = true;
    changes_.clear();
  }
  std::int64_t Update() override {
    if (changes_.empty()) return 0;
    connection_.Begin();
    std::string sql = adding_ ? "insert into " + table_ + " (" : "update " + table_ + " set ";
    std::string marks;
    for (const auto& [field, value] : changes_) {
      if (!marks.empty()) marks += ", ", sql += ", ";
      marks += '?';
      sql += names_[static_cast<std::size_t>(field)] + (adding_ ? "" : " = ?");
    }
    sql += adding_ ? ") values (" + marks + ")" : " where rowid = ?";
    if (!update_ || update_text_ != sql) update_ = std::make_unique<Statement>(connection_.handle(), sql);
    update_text_ = sql;
    int position = 0;
    for (const auto& [field, value] : changes_) Bind(update_->get(), ++position, value);
    if (!adding_) Bind(update_->get(), ++position, Row()[0]);
    update_->Step();
    update_->Reset();
    if (adding_) {
      rows_.emplace_back(names_.size() + 1);
      position_ = static_cast<std::int64_t>(rows_.size()) - 1;
      rows_.back()[0] = Value::Int64(sqlite3_last_insert_rowid(connection_.handle()));
    }
    for (const auto& [field, value] : changes_)
      rows_[static_cast<std::size_t>(position_)][static_cast<std::size_t>(field + first_)] = value;
    CancelUpdate();
    return 1;
  }
  void CancelUpdate() override {
    adding_ = false;
    changes_.clear();
  }
  void Delete() override {
    Statement statement(connection_.handle(), "delete from " + table_ + " where rowid = ?");
    Bind(statement.get(), 1, Row()[0]);
    statement.Step();
  }

 private:
  const std::vector<Value>& Row() const { return rows_[static_cast<std::size_t>(position_)]; }

  SqliteConnection& connection_;
  std::string table_;
  int first_ = 0;
  std::vector<std::string> names_;
  std::vector<std::vector<Value>> rows_;
  std::int64_t position_ = 0;
  bool adding_ = false;
  std::vector<std::pair<int, Value>> changes_;
  std::unique_ptr<Statement> update_;
  std::string update_text_;
};

std::unique_ptr<db::ProviderRecordset> SqliteConnection::OpenRecordset(std::string_view sql, db::CursorType,
                                                                       db::LockType lock) {
  return std::make_unique<SqliteRecordset>(*this, sql, lock != db::LockType::kReadOnly);
}

}  // namespace

std::shared_ptr<db::ProviderConnection> OpenSqlite(const std::string& data_source) {
  return std::make_shared<SqliteConnection>(data_source);
}

}  // namespace vnt::bench
