#include "db/server_provider/server_session.h"

#include <algorithm>
#include <utility>

#include "access/base/interruption.h"
#include "access/base/text.h"
#include "db/engine_errors.h"

namespace vnt::db {
namespace {

constexpr std::size_t kQueuedChanges = 2000;
constexpr std::size_t kQueuedBytes = 256 << 10;
constexpr char kSavepoint[] = "vnt_mark";

const SqlDialect* DialectOf(const std::string& server_name) {
  for (const SqlDialect* dialect : {&PostgresDialect()}) {
    if (jet::EqualWords(dialect->server_name(), server_name)) return dialect;
  }
  return nullptr;
}

// The settings as a connection string, and the driver's.
std::string TextOf(const ConnectionSettings& settings, std::string_view more) {
  std::string text;
  for (const auto& [key, value] : settings.all()) {
    if (jet::EqualWords(key, "provider")) continue;
    text += key + "=\"";
    for (const char c : value) text += c == '"' ? "\"\"" : std::string(1, c);
    text += "\";";
  }
  return text + std::string(more);
}

}  // namespace

ServerSession::ServerSession(const ConnectionSettings& settings) {
  // Which driver settings are understood is only known when somebody has answered; each data source is asked
  // once.
  static std::map<std::string, std::string, std::less<>> servers;
  std::string& server = servers[TextOf(settings, {})];
  if (server.empty()) server = OdbcSession(settings).ServerName();
  dialect_ = DialectOf(server);
  if (dialect_ == nullptr) {
    throw DbError(kErrFailed, kOdbcSource,
                  "The data source is served by \"" + server + "\", whose SQL is not known here.");
  }
  odbc_ = std::make_unique<OdbcSession>(ConnectionSettings(TextOf(settings, dialect_->driver_settings())));
  odbc_->SetErrorMaker(
      [this](std::string_view state, const std::string& text) { return dialect_->ErrorOf(state, text); });
  for (const std::string& sql : dialect_->SessionSetup(OdbcStatement::kSeconds)) {
    OdbcStatement statement(*odbc_);
    statement.ExecuteDirect(sql);
  }
}

ServerSession::~ServerSession() {
  // The server takes back what was not committed.
  if (!in_transaction_ || odbc_->is_lost()) return;
  try {
    odbc_->EndTransaction(false);
  } catch (const DbError&) {
  }
}

// ---- tables

ServerTablePtr ServerSession::Find(std::string_view name) {
  if (!tables_read_) ReadTables();
  const auto changed =
      std::ranges::find_if(changed_, [&](const std::string& of) { return jet::EqualNames(of, name); });
  if (changed != changed_.end()) ReadTables(std::string(*changed));
  const auto found = tables_.find(jet::LowerText(name));
  return found == tables_.end() ? nullptr : found->second;
}

std::vector<ServerTablePtr> ServerSession::Tables() {
  if (!tables_read_ || !changed_.empty()) ReadTables();
  std::vector<ServerTablePtr> tables;
  for (const auto& [name, table] : tables_) tables.push_back(table);
  return tables;
}

namespace {

// Calls `row` with each row's cells as text.
template <class Row>
void ForEach(OdbcStatement& statement, Row&& row) {
  statement.DescribeColumns();
  std::vector<Value> values;
  while (statement.Fetch(&values)) {
    std::vector<std::string> cells;
    for (const Value& value : values) cells.push_back(value.is_null() ? std::string() : value.ToText());
    row(cells);
  }
}

}  // namespace

void ServerSession::ReadTables(const std::string& name) {
  std::map<std::string, std::shared_ptr<ServerTable>> tables;
  ForEach(*Open(dialect_->ColumnsQuery(name)), [&](const std::vector<std::string>& cells) {
    std::shared_ptr<ServerTable>& table = tables[jet::LowerText(cells[0])];
    if (!table) {
      table = std::make_shared<ServerTable>();
      table->name = cells[0];
      table->spread = cells[9] == "1";
    }
    if (cells[1] == kOrderColumn) {
      table->has_order = true;
      return;
    }
    ServerColumn column;
    column.name = cells[1];
    dialect_->SetType(cells[2], std::stoi(cells[3]), std::stoi(cells[4]), cells[8], &column);
    column.required = cells[5] == "1";
    column.default_value = dialect_->DefaultOf(cells[6]);
    column.auto_number = cells[7] == "1";
    table->columns.push_back(std::move(column));
    if (!table->key.empty() || cells[10].empty()) return;
    // Complete when the last column of the key has come.
    std::vector<int> key;
    for (const std::string& of_key : dialect_->KeyOfRemark(cells[10])) {
      const int position = table->FindColumn(of_key);
      if (position < 0) return;
      key.push_back(position);
    }
    table->key = std::move(key);
  });
  ForEach(*Open(dialect_->IndexesQuery(name)), [&](const std::vector<std::string>& cells) {
    const auto found = tables.find(jet::LowerText(cells[0]));
    if (found == tables.end()) return;
    ServerTable& table = *found->second;
    const int column = table.FindColumn(cells[4]);
    if (column < 0) return;
    const std::string index_name = dialect_->IndexName(table.name, cells[1]);
    if (table.indexes.empty() || table.indexes.back().name != index_name) {
      table.indexes.push_back({index_name, {}, cells[2] == "1", cells[3] == "1"});
    }
    ServerIndex& index = table.indexes.back();
    index.columns.emplace_back(column, cells[5] == "1");
    if (!index.primary) return;
    table.key.clear();
    for (const auto& [position, descending] : index.columns) table.key.push_back(position);
  });
  if (name.empty()) {
    tables_.clear();
    changed_.clear();
    tables_read_ = true;
  } else {
    tables_.erase(jet::LowerText(name));
    changed_.erase(name);
  }
  for (auto& [key, table] : tables) tables_[key] = std::move(table);
}

// ---- statements

void ServerSession::Begin() {
  odbc_->RequireUsable();
  if (in_transaction_) return;
  odbc_->BeginTransaction();
  in_transaction_ = true;
}

void ServerSession::MakeHelpers(const std::vector<std::string>& helpers) {
  for (const std::string& helper : helpers) {
    if (helpers_.contains(helper)) continue;
    OdbcStatement statement(*odbc_);
    statement.ExecuteDirect(helper);
    ++round_trips_;
    helpers_.insert(helper);
  }
}

std::string ServerSession::Prepared(const std::string& sql, std::size_t numbers) {
  const auto known = prepared_.find(sql);
  if (known != prepared_.end()) return known->second;
  std::string name = "vnt_" + std::to_string(prepared_.size());
  Run(dialect_->Prepare(name, sql, numbers));
  prepared_.emplace(sql, name);
  return name;
}

std::int64_t ServerSession::Run(std::string_view sql, const std::vector<std::string>& helpers) {
  Flush();
  Begin();
  MakeHelpers(helpers);
  OdbcStatement statement(*odbc_);
  ++round_trips_;
  dirty_ = true;
  statement.ExecuteDirect(sql);
  return statement.RowCount();
}

std::unique_ptr<OdbcStatement> ServerSession::Open(std::string_view sql,
                                                   const std::vector<std::string>& helpers) {
  Flush();
  Begin();
  MakeHelpers(helpers);
  auto statement = std::make_unique<OdbcStatement>(*odbc_);
  ++round_trips_;
  statement->ExecuteDirect(sql);
  return statement;
}

void ServerSession::Enqueue(QueuedChange change, const std::vector<std::string>& helpers) {
  Begin();
  MakeHelpers(helpers);
  dirty_ = true;
  queue_.Add(std::move(change));
  if (queue_.size() >= kQueuedChanges || queue_.bytes() >= kQueuedBytes) Flush();
}

namespace {

// The rows that a statement affected, or the number that a query for them gives.
std::int64_t CountOf(OdbcStatement& statement) {
  statement.DescribeColumns();
  std::vector<Value> row;
  if (statement.columns().empty() || !statement.Fetch(&row)) return statement.RowCount();
  return row[0].raw_integer();
}

}  // namespace

void ServerSession::Flush() {
  if (queue_.empty()) return;
  const std::string all = queue_.Text();
  const std::vector<bool> counted = queue_.Counted();
  queue_.Clear();
  Begin();
  OdbcStatement statement(*odbc_);
  ++round_trips_;
  std::int64_t rows = 0;
  try {
    statement.ExecuteDirect(all);
    std::size_t number = 0;
    do {
      if (number < counted.size() && counted[number]) rows += CountOf(statement);
      ++number;
    } while (statement.NextResult());
  } catch (const DbError& error) {
    if (error.is_environment()) throw;
    throw DbError(kErrRepeat, error.source(), error.description(), true);
  }
  if (told_ && rows > 0) told_(rows);
}

void ServerSession::Defer(bool on, std::function<void(std::int64_t)> told) {
  Flush();
  defers_ = on;
  told_ = std::move(told);
}

// ---- what was written

std::int64_t ServerSession::Version(const std::string& table) const {
  const auto found = writes_.find(table);
  return found == writes_.end() ? 0 : found->second.all;
}

std::int64_t ServerSession::Version(const std::string& table, const WrittenPart& part) const {
  const auto found = writes_.find(table);
  if (found == writes_.end()) return 0;
  const auto of_column = found->second.parts.find(part.column);
  if (of_column == found->second.parts.end()) return found->second.all;
  const auto writes = of_column->second.of.find(part.number);
  return found->second.all - of_column->second.all +
         (writes == of_column->second.of.end() ? 0 : writes->second);
}

void ServerSession::NoteWrite(const std::string& table, const std::vector<WrittenPart>& parts) {
  TableWrites& writes = writes_[table];
  ++writes.all;
  for (const WrittenPart& part : parts) {
    PartWrites& of = writes.parts[part.column];
    ++of.all;
    ++of.of[part.number];
  }
}

void ServerSession::NoteEmptied(const std::string& table, const WrittenPart& part) {
  writes_[table].parts[part.column].emptied[part.number] = Version(table, part);
}

bool ServerSession::IsEmptied(const std::string& table, const WrittenPart& part) const {
  const auto found = writes_.find(table);
  if (found == writes_.end()) return false;
  const auto of_column = found->second.parts.find(part.column);
  if (of_column == found->second.parts.end()) return false;
  const auto since = of_column->second.emptied.find(part.number);
  return since != of_column->second.emptied.end() && since->second == Version(table, part);
}

// ---- transactions

void ServerSession::SetSavepoint() {
  if (dirty_) Run(std::string("SAVEPOINT ") + kSavepoint);
}

void ServerSession::RollbackToSavepoint() {
  queue_.Clear();
  Run(std::string("ROLLBACK TO SAVEPOINT ") + kSavepoint);
  helpers_.clear();
  ForgetTables();
}

void ServerSession::Commit() {
  Flush();
  if (!in_transaction_) return;
  odbc_->RequireUsable();
  in_doubt_ = dirty_;
  in_transaction_ = false;
  ++round_trips_;
  odbc_->EndTransaction(true);
  in_doubt_ = false;
  dirty_ = false;
}

void ServerSession::Rollback() {
  queue_.Clear();
  helpers_.clear();
  ForgetTables();
  dirty_ = false;
  if (!std::exchange(in_transaction_, false)) return;
  if (!odbc_->is_lost()) odbc_->EndTransaction(false);
}

namespace {

// Sent together.
std::string EachOf(const std::vector<std::int32_t>& numbers,
                   const std::function<std::string(std::int32_t)>& text) {
  std::string all;
  for (const std::int32_t number : numbers) all += text(number) + "; ";
  return all;
}

}  // namespace

bool ServerSession::TryLock(const std::vector<std::int32_t>& numbers, bool shared) {
  std::vector<std::int32_t> had;
  {
    const auto statement = Open(EachOf(numbers, [&](auto n) { return dialect_->TryLock(n, shared); }));
    std::vector<Value> row;
    std::size_t i = 0;
    do {
      statement->DescribeColumns();
      if (statement->Fetch(&row) && row[0].ToInt32() != 0) had.push_back(numbers[i]);
      ++i;
    } while (i < numbers.size() && statement->NextResult());
  }
  Commit();
  if (had.size() == numbers.size()) return true;
  if (!had.empty()) Unlock(had, shared);
  return false;
}

void ServerSession::Unlock(const std::vector<std::int32_t>& numbers, bool shared) {
  Open(EachOf(numbers, [&](auto n) { return dialect_->Unlock(n, shared); }));
  Commit();
}

}  // namespace vnt::db
