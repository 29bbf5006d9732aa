#include "db/server_provider/server_connection.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/lexer.h"
#include "access/sql/parser.h"
#include "db/access_provider/errors.h"
#include "db/access_provider/values.h"
#include "db/server_provider/file_rows.h"
#include "db/server_provider/row_loader.h"
#include "db/server_provider/server_provider.h"
#include "db/server_provider/server_recordset.h"

namespace vnt::db {

using jet::Error;
using jet::ErrorKind;
using jet::sql::Statement;
using jet::sql::StatementKind;

namespace {

std::unique_ptr<Statement> Parsed(std::string_view text) {
  std::vector<jet::sql::Token> tokens;
  jet::sql::Lex(text, &tokens);
  for (jet::sql::Token& token : tokens) token.lifted = -1;
  return jet::sql::Parse(text, tokens);
}

// The query alone of "SELECT ... INTO t FROM ..." or "INSERT INTO t SELECT ...".
std::string QueryOf(const Statement& s, std::string_view text) {
  if (s.kind == StatementKind::kInsertSelect) return std::string(text.substr(s.select->offset));
  // INTO and the name behind it go.
  std::vector<jet::sql::Token> tokens;
  jet::sql::Lex(text, &tokens);
  for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
    if (!jet::sql::IsWord(text, tokens[i], "INTO")) continue;
    const std::size_t end = tokens[i + 2].offset;
    return std::string(text.substr(0, tokens[i].offset)) + std::string(text.substr(end));
  }
  return std::string(text);
}

// Puts values in the place of "?".
void Bind(jet::sql::Select& select, const std::vector<jet::Value>& values);
void Bind(jet::sql::Expr& e, const std::vector<jet::Value>& values) {
  if (e.kind == jet::sql::ExprKind::kParameter && e.number < std::ssize(values)) {
    const jet::Value& value = values[e.number];
    e.kind = value.is_null() ? jet::sql::ExprKind::kNull : jet::sql::ExprKind::kConstant;
    e.value = value;
  }
  for (const auto& arg : e.args) Bind(*arg, values);
  if (e.select) Bind(*e.select, values);
}
void Bind(jet::sql::TableRef& ref, const std::vector<jet::Value>& values) {
  if (ref.left) Bind(*ref.left, values);
  if (ref.right) Bind(*ref.right, values);
  if (ref.on) Bind(*ref.on, values);
  if (ref.select) Bind(*ref.select, values);
}
void Bind(jet::sql::Select& select, const std::vector<jet::Value>& values) {
  for (const auto& item : select.items) {
    if (item.expr) Bind(*item.expr, values);
  }
  for (const auto& ref : select.from) Bind(*ref, values);
  if (select.where) Bind(*select.where, values);
  for (const auto& group : select.group_by) Bind(*group, values);
  if (select.having) Bind(*select.having, values);
  for (const auto& member : select.unions) Bind(*member.select, values);
  if (select.nested) Bind(*select.nested, values);
}
void Bind(Statement& s, const std::vector<jet::Value>& values) {
  if (values.empty()) return;
  if (s.select) Bind(*s.select, values);
  for (const auto& a : s.assignments) Bind(*a.expr, values);
  for (const auto& e : s.values) Bind(*e, values);
}

ServerColumn ColumnFor(const ServerOutput& out) {
  ServerColumn column;
  column.name = out.name;
  if (out.column_type) {
    column.type = *out.column_type;
    column.characters = out.characters;
    column.precision = out.precision;
    column.scale = out.scale;
    return column;
  }
  column.type = jet::sql::ColumnTypeFor(out.type);
  if (column.type == jet::ColumnType::kText) column.characters = 255;
  return column;
}

// The default of Access SQL's DDL, an expression, is for the file engine to compute.
ServerColumn ColumnFor(const jet::NewColumn& made) {
  ServerColumn column;
  column.name = made.name;
  column.type = made.type;
  column.characters = made.characters;
  column.precision = made.precision;
  column.scale = made.scale;
  column.required = made.required;
  column.auto_number = made.auto_number;
  return column;
}

ServerIndex IndexFor(const ServerTable& table, const jet::NewIndex& made) {
  ServerIndex index;
  index.name = made.name;
  index.unique = made.unique || made.primary;
  index.primary = made.primary;
  for (const auto& [name, descending] : made.columns) {
    const int column = table.FindColumn(name);
    if (column < 0)
      throw Error(ErrorKind::kNoColumn, fmt::format("No column '{}' in '{}'.", name, table.name));
    index.columns.emplace_back(column, descending);
  }
  return index;
}

}  // namespace

ServerConnection::ServerConnection(std::shared_ptr<ServerSession> session, bool read_only,
                                   std::function<void(std::int64_t)> tell_rows)
    : session_(std::move(session)),
      ahead_(session_),
      read_only_(read_only),
      tell_rows_(std::move(tell_rows)) {}

ServerConnection::~ServerConnection() = default;

void ServerConnection::RequireWritable() const {
  if (read_only_) throw DbError(kErrReadOnly, kServerSource, "The data source was opened for reading only.");
}

std::int64_t ServerConnection::Execute(std::string_view sql, const std::vector<Value>& parameters) {
  return Translated([&]() -> std::int64_t {
    std::vector<jet::Value> values;
    for (const Value& value : parameters) values.push_back(ToEngine(value));
    const std::unique_ptr<Statement> s = Parsed(sql);
    Bind(*s, values);
    if (s->kind == StatementKind::kSelect) {
      session_->Open(ServerPrinter(session_->dialect(), *session_, sql, values).Query(*s->select, false).sql);
      return 0;
    }
    RequireWritable();
    return Change(*s, sql, values);
  });
}

std::int64_t ServerConnection::Change(Statement& s, std::string_view text,
                                      const std::vector<jet::Value>& parameters) {
  switch (s.kind) {
    case StatementKind::kUpdate:
    case StatementKind::kDelete:
    case StatementKind::kInsertValues:
      return ChangeRows(s, text, parameters);
    case StatementKind::kInsertSelect:
      if (s.select->in_file.empty()) return ChangeRows(s, text, parameters);
      return InsertFromFile(s, text);
    case StatementKind::kSelectInto:
      return SelectInto(s, text, parameters);
    default:
      Define(s);
      return 0;
  }
}

namespace {

// See TakeNestedNumber. A statement that reads its own table in the subquery stays alone.
void SplitAtMark(std::int64_t number, ServerStatement* printed) {
  const std::string mark = std::to_string(kMark);
  const std::size_t at = printed->sql.find(mark);
  std::string head = printed->sql.substr(0, at), tail = printed->sql.substr(at + mark.size());
  printed->row = std::to_string(number);
  printed->sql = head + printed->row + tail;
  if (std::ranges::count(printed->tables, printed->target) != 1) return;
  printed->head = std::move(head);
  printed->tail = std::move(tail);
}

}  // namespace

std::int64_t ServerConnection::ChangeRows(Statement& s, std::string_view text,
                                          const std::vector<jet::Value>& parameters) {
  ServerPrinter printer(session_->dialect(), *session_, text, parameters);
  const std::string target_name =
      s.kind == StatementKind::kInsertValues || s.kind == StatementKind::kInsertSelect ? s.table
      : s.select->from.size() == 1 && s.select->from[0]->kind == jet::sql::TableRef::kTable
          ? s.select->from[0]->name
          : std::string();
  const ServerTablePtr target = target_name.empty() ? nullptr : session_->Find(target_name);
  bool whole_part = false;
  std::vector<WrittenPart> parts;
  if (target) parts = PartsOf(s, *target, &whole_part);
  ServerStatement printed;
  std::optional<std::int64_t> nested;
  if (s.kind == StatementKind::kInsertValues) {
    printed = printer.InsertValues(s);
  } else if (s.kind == StatementKind::kInsertSelect) {
    std::vector<std::int64_t> numbers;
    if (target && session_->defers()) numbers = TakeNumbers(s, *target, &parts);
    if (!numbers.empty()) printer.KeepParameters();
    printed = printer.InsertSelect(s);
    if (!numbers.empty()) {
      const std::string name = session_->Prepared(printed.sql, numbers.size());
      printed.head = session_->dialect().ExecutePrepared(name, numbers);
    }
  } else {
    const auto constants = target && session_->defers()
                               ? TakeConstants(s, *target)
                               : std::vector<std::pair<const ServerColumn*, jet::Value>>();
    if (constants.empty() && session_->defers() && text.find(std::to_string(kMark)) == std::string_view::npos)
      nested = TakeNestedNumber(s);
    printed = !constants.empty()                 ? printer.ChangeRows(s, constants)
              : s.kind == StatementKind::kUpdate ? printer.Update(s)
                                                 : printer.Delete(s);
  }
  if (nested) SplitAtMark(*nested, &printed);
  session_->NoteWrite(printed.target, parts);
  if (whole_part) session_->NoteEmptied(printed.target, parts[0]);
  if (!session_->defers()) return session_->Run(printed.sql, printed.helpers);
  QueuedChange change;
  change.table = printed.target;
  change.alone = printed.head.empty();
  change.head = !change.alone            ? std::move(printed.head)
                : printed.change.empty() ? std::move(printed.sql)
                                         : std::move(printed.change);
  if (change.alone) change.count = std::move(printed.count);
  change.row = std::move(printed.row);
  change.tail = std::move(printed.tail);
  change.repeats = s.kind == StatementKind::kUpdate;
  if (s.kind == StatementKind::kInsertSelect) change.joins = false;
  if (s.kind == StatementKind::kInsertSelect || nested) {
    change.reads = std::move(printed.tables);
    if (nested) std::erase(change.reads, change.table);
  }
  for (WrittenPart& part : parts) {
    if (target->Divides(part.column)) change.parts.push_back(std::move(part));
  }
  session_->Enqueue(std::move(change), printed.helpers);
  return 0;
}

std::int64_t ServerConnection::InsertFromFile(const Statement& s, std::string_view text) {
  std::vector<std::string> names;
  for (const auto& [name, offset] : s.columns) names.push_back(name);
  FileRows rows(s.select->in_file, QueryOf(s, text));
  const ServerTablePtr target = session_->Find(s.table);
  if (!target) throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", s.table));
  if (names.empty()) names = rows.names();
  return rows.Load(*session_, *target, jet::sql::ColumnsNamed(*target, names));
}

std::int64_t ServerConnection::SelectInto(const Statement& s, std::string_view text,
                                          const std::vector<jet::Value>& parameters) {
  if (session_->Find(s.select->into))
    throw Error(ErrorKind::kExists, fmt::format("The table '{}' exists already.", s.select->into));
  ServerTable table;
  table.name = s.select->into;
  std::unique_ptr<FileRows> rows;
  if (s.select->in_file.empty()) {
    const ServerQuery query =
        ServerPrinter(session_->dialect(), *session_, text, parameters).Query(*s.select, false);
    for (const ServerOutput& out : query.columns) table.columns.push_back(ColumnFor(out));
  } else {
    rows = std::make_unique<FileRows>(s.select->in_file, QueryOf(s, text));
    table.columns = rows->columns();
  }
  for (const std::string& sql : session_->dialect().CreateTable(table)) session_->Run(sql);
  std::int64_t count = 0;
  if (rows) {
    std::vector<int> columns;
    for (std::size_t i = 0; i < table.columns.size(); ++i) columns.push_back(static_cast<int>(i));
    count = rows->Load(*session_, table, columns);
  } else {
    ServerPrinter printer(session_->dialect(), *session_, text, parameters);
    const ServerStatement fill = printer.Fill(table, *s.select);
    count = session_->Run(fill.sql, fill.helpers);
  }
  for (const std::string& sql : session_->dialect().CreateIndexes(table)) session_->Run(sql);
  session_->ForgetTable(table.name);
  session_->NoteWrite(table.name);
  ahead_.Forget();
  return count;
}

void ServerConnection::Define(const Statement& s) {
  const SqlDialect& dialect = session_->dialect();
  const auto existing = [&] {
    ServerTablePtr table = session_->Find(s.table);
    if (!table) throw Error(ErrorKind::kNoTable, fmt::format("The table '{}' does not exist.", s.table));
    return table;
  };
  switch (s.kind) {
    case StatementKind::kCreateTable: {
      if (session_->Find(s.table))
        throw Error(ErrorKind::kExists, fmt::format("The table '{}' exists already.", s.table));
      ServerTable table;
      table.name = s.table;
      for (const jet::NewColumn& column : s.new_columns) table.columns.push_back(ColumnFor(column));
      for (const jet::NewIndex& index : s.new_indexes) table.indexes.push_back(IndexFor(table, index));
      for (const std::string& sql : dialect.CreateTable(table)) session_->Run(sql);
      for (const std::string& sql : dialect.CreateIndexes(table)) session_->Run(sql);
      break;
    }
    case StatementKind::kDropTable:
      session_->Run("DROP TABLE " + dialect.Name(existing()->name));
      break;
    case StatementKind::kCreateIndex:
    case StatementKind::kAddIndex: {
      const ServerTablePtr table = existing();
      for (const jet::NewIndex& index : s.new_indexes)
        session_->Run(dialect.CreateIndex(*table, IndexFor(*table, index)));
      break;
    }
    case StatementKind::kDropIndex:
      session_->Run(dialect.DropIndex(*existing(), s.object));
      break;
    case StatementKind::kAddColumn: {
      const ServerTablePtr table = existing();
      for (const jet::NewColumn& column : s.new_columns)
        session_->Run(dialect.AddColumn(*table, ColumnFor(column)));
      break;
    }
    default:
      throw Error(ErrorKind::kNotSupported, "The statement is not supported on a server.");
  }
  session_->NoteWrite(s.table);
  session_->ForgetTable(s.table);
  ahead_.Forget();
}

std::unique_ptr<ProviderRecordset> ServerConnection::OpenRecordset(std::string_view sql, CursorType cursor,
                                                                   LockType lock) {
  return Translated([&]() -> std::unique_ptr<ProviderRecordset> {
    std::string text(sql);
    if (sql.find_first_of(" \t\r\n") == std::string_view::npos) text = "SELECT * FROM [" + text + "]";
    const std::unique_ptr<Statement> s = Parsed(text);
    if (s->kind != StatementKind::kSelect)
      throw Error(ErrorKind::kInvalid, "The statement is no query: it gives no rows.");
    const bool updatable = lock != LockType::kReadOnly;
    const bool keyset = updatable || cursor == CursorType::kKeyset || cursor == CursorType::kDynamic;
    const RecordsetOptions options{cursor == CursorType::kForwardOnly, updatable && !read_only_};
    if (auto rows = ahead_.Open(*s->select, text, keyset, options)) return rows;
    static const std::vector<jet::Value> kNoParameters;
    ServerQuery query =
        ServerPrinter(session_->dialect(), *session_, text, kNoParameters).Query(*s->select, keyset);
    return OpenServerRecordset(session_, std::move(query), options);
  });
}

// ---- transactions

void ServerConnection::Checkpoint() {
  session_->Commit();
  marked_ = false;
}

void ServerConnection::Mark() {
  session_->Flush();
  marked_ = session_->is_dirty();
  session_->SetSavepoint();
}

bool ServerConnection::RevertToMark() {
  if (marked_ && !session_->odbc().is_lost()) {
    session_->RollbackToSavepoint();
  } else {
    session_->Rollback();
  }
  return true;
}

Durability ServerConnection::GetDurability() {
  if (session_->is_in_doubt()) return Durability::kUnknown;
  return session_->is_dirty() ? Durability::kPersisted : Durability::kAll;
}

void ServerConnection::SetDeferring(bool on) {
  ahead_.Forget();
  session_->Defer(on, tell_rows_);
}

std::shared_ptr<ProviderConnection> OpenServer(const ConnectionSettings& settings, bool read_only,
                                               std::function<void(std::int64_t)> tell_rows) {
  return std::make_shared<ServerConnection>(std::make_shared<ServerSession>(settings), read_only,
                                            std::move(tell_rows));
}

}  // namespace vnt::db
