#include "access/sql/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/base/text.h"
#include "access/sql/parser.h"
#include "access/sql/saved_query.h"
#include "access/sql/session_impl.h"

namespace jet::sql {

// ---- connection

namespace {

// How many steps of its machine SQLite makes, at most some milliseconds of work, before it asks whether it is
// to go on.
constexpr int kStepsBetweenAsking = 1000;

int IsInterrupted(void*) { return interruption.load(std::memory_order_relaxed) != 0 ? 1 : 0; }

void CloseConnection(sqlite3* db) { sqlite3_close_v2(db); }

}  // namespace

Connection::Connection() {
  const int rc = sqlite3_open_v2(":memory:", &host.db,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX, nullptr);
  std::unique_ptr<sqlite3, decltype(&CloseConnection)> opened(host.db, &CloseConnection);
  if (rc == SQLITE_NOMEM || host.db == nullptr) throw std::bad_alloc();
  if (rc != SQLITE_OK) throw Error(ErrorKind::kSql, "SQLite cannot be started.");
  sqlite3* db = host.db;
  sqlite3_progress_handler(db, kStepsBetweenAsking, IsInterrupted, nullptr);
  // A text literal that was not translated must fail, not become a name or the other way round.
  sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, 8 << 20);
  sqlite3_limit(db, SQLITE_LIMIT_TRIGGER_DEPTH, 1);
  sqlite3_limit(db, SQLITE_LIMIT_WORKER_THREADS, 0);
  // Results that are sorted go to temporary files past this cache (8 MB).
  if (sqlite3_exec(db, "PRAGMA cache_size=-8000; PRAGMA temp_store=FILE", nullptr, nullptr, nullptr) !=
      SQLITE_OK) {
    Raise();
  }
  RegisterFunctions(db, &host);
  RegisterTableModule(&host);
  opened.release();
}

Connection::~Connection() { sqlite3_close_v2(host.db); }

void Connection::Raise() {
  if (host.failure) std::rethrow_exception(std::exchange(host.failure, nullptr));
  ErrorKind kind = ErrorKind::kSql;
  const char* what = "The statement failed";
  switch (sqlite3_errcode(host.db) & 0xFF) {
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_INTERRUPT:
      ThrowInterrupted();
    // Results that are sorted and do not fit into memory.
    case SQLITE_FULL:
      kind = ErrorKind::kFull;
      what = "There is no space for a temporary file";
      break;
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
      kind = ErrorKind::kIo;
      what = "A temporary file failed";
      break;
    default:
      break;
  }
  throw Error(kind, fmt::format("{}: {}.", what, sqlite3_errmsg(host.db)));
}

sqlite3_stmt* Connection::Prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(host.db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                         &statement, nullptr) != SQLITE_OK) {
    Raise();
  }
  return statement;
}

bool Connection::Step(sqlite3_stmt* statement) {
  ThrowIfInterrupted();
  ++host.epoch;
  const int rc = sqlite3_step(statement);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  Raise();
}

bool Connection::Drop(const DeclaredTable& table) {
  // Destructors come here: nothing that needs memory of its own.
  std::array<char, 64> sql{};
  std::snprintf(sql.data(), sql.size(), "DROP TABLE IF EXISTS %s", table.sql_name.c_str());
  return sqlite3_exec(host.db, sql.data(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

// ---- plans

sqlite3_stmt* Plan::Take() {
  idle.reserve(kMostIdle);  // coming back must not need memory
  if (idle.empty()) return connection->Prepare(sql);
  sqlite3_stmt* statement = idle.back();
  idle.pop_back();
  return statement;
}

void Plan::Release(sqlite3_stmt* statement) {
  sqlite3_reset(statement);
  // What the reset reports was reported by the step.
  connection->host.failure = nullptr;
  if (idle.size() >= kMostIdle || !keep) {
    sqlite3_finalize(statement);
    return;
  }
  sqlite3_clear_bindings(statement);
  idle.push_back(statement);
}

Plan::~Plan() {
  for (sqlite3_stmt* s : idle) sqlite3_finalize(s);
  for (const auto& table : other_tables) {
    if (connection->Drop(*table)) connection->host.tables.erase(table->id);
  }
}

namespace {

int TryBind(sqlite3_stmt* statement, int number, const Value& v) {
  switch (v.kind()) {
    case ValueKind::kNull:
      return sqlite3_bind_null(statement, number);
    case ValueKind::kInteger:
      return sqlite3_bind_int64(statement, number, v.integer());
    case ValueKind::kReal:
      return sqlite3_bind_double(statement, number, v.real());
    case ValueKind::kDecimal:
      return sqlite3_bind_double(statement, number, v.decimal().ToDouble());
    case ValueKind::kText:
      return sqlite3_bind_text64(statement, number, v.bytes().data(), v.bytes().size(), SQLITE_TRANSIENT,
                                 SQLITE_UTF8);
    case ValueKind::kBlob:
      return sqlite3_bind_blob64(statement, number, v.bytes().data(), v.bytes().size(), SQLITE_TRANSIENT);
  }
  return SQLITE_OK;
}

}  // namespace

Running::Running(std::shared_ptr<Plan> plan, const std::vector<Value>& parameters,
                 const std::vector<Value>& lifted)
    : plan_(std::move(plan)), statement_(plan_->Take()) {
  const auto bind = [this](int number, const Value& value) {
    const int rc = TryBind(statement_, number, value);
    // Where a statement is carried out in parts, a part does not mention every constant of it.
    if (rc == SQLITE_OK || rc == SQLITE_RANGE) return;
    // A value that is left out would be Null.
    plan_->Release(statement_);
    if (rc == SQLITE_NOMEM) throw std::bad_alloc();
    throw Error(ErrorKind::kTooLong, "A value of the statement is too long.");
  };
  for (int i = 0; i < plan_->parameters; ++i) bind(i + 1, parameters[static_cast<std::size_t>(i)]);
  const auto count = static_cast<int>(lifted.size());
  for (int i = 0; i < count; ++i) bind(plan_->parameters + i + 1, lifted[static_cast<std::size_t>(i)]);
  // Once more as exact numbers, where the plan uses them.
  const int used = sqlite3_bind_parameter_count(statement_) - plan_->parameters - count;
  for (int i = 0; i < std::min(used, count); ++i) {
    const Value& v = lifted[static_cast<std::size_t>(i)];
    const bool decimal = v.kind() == ValueKind::kDecimal;
    bind(plan_->parameters + count + i + 1, decimal ? Value::Text(v.decimal().ToText()) : v);
  }
}

Running::~Running() { plan_->Release(statement_); }

bool Running::Step() { return plan_->connection->Step(statement_); }

Value Running::Get(int column) const {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_INTEGER:
      return Value::Integer(sqlite3_column_int64(statement_, column));
    case SQLITE_FLOAT:
      return Value::Real(sqlite3_column_double(statement_, column));
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
      if (text == nullptr) throw std::bad_alloc();
      std::string s(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
      // The exact text of a decimal column.
      Decimal d;
      if (static_cast<std::size_t>(column) < plan_->columns.size() &&
          plan_->columns[static_cast<std::size_t>(column)].type == Type::kDecimal &&
          Decimal::FromText(s, &d)) {
        return Value::Dec(d);
      }
      return Value::Text(std::move(s));
    }
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
      if (size != 0 && bytes == nullptr) throw std::bad_alloc();
      return Value::Blob(size == 0 ? std::string() : std::string(bytes, size));
    }
    default:
      return Value::Null();
  }
}

// ---- catalog

Session::Impl::Impl(std::shared_ptr<Database> db, Opener open)
    : database(std::move(db)), opener(std::move(open)), connection(std::make_shared<Connection>()) {
  schema_version = database->schema_version();
}

Session::Impl::~Impl() = default;

void Session::Impl::ForgetTables() {
  plan_by_key.clear();
  plans.clear();
  declared.clear();
  files.clear();
  // A table that a running query reads cannot be dropped now; it goes with the next change of the schema, and
  // the query ends with an error when its table is no longer what it was.
  TableHost& host = connection->host;
  for (auto it = host.tables.begin(); it != host.tables.end();) {
    if (connection->Drop(*it->second)) {
      it = host.tables.erase(it);
    } else {
      DeclaredTable& d = *it->second;
      d.gone = d.gone || (d.database ? d.database : database)->FindTable(d.table->def().name) != d.table;
      ++it;
    }
  }
}

void Session::Impl::CheckSchema() {
  if (database->schema_version() == schema_version) return;
  ForgetTables();
  schema_version = database->schema_version();
}

std::shared_ptr<Database> Session::Impl::DatabaseOf(const std::string& file) {
  if (file.empty()) return database;
  other_files = true;
  std::shared_ptr<Database>& slot = files[LowerText(file)];
  if (!slot) {
    if (!opener)
      throw Error(ErrorKind::kNotSupported,
                  fmt::format("The database '{}' cannot be opened from here.", file));
    slot = opener(file);
    if (!slot) throw Error(ErrorKind::kNotFound, fmt::format("The database '{}' does not exist.", file));
  }
  return slot;
}

std::optional<std::string> Session::Impl::FindQuery(const std::string& name, const std::string& file) {
  Database& from = *DatabaseOf(file);
  if (from.FindTable(name)) return {};
  return SavedQueryText(from, name);
}

CatalogTable Session::Impl::Find(const std::string& name, const std::string& file) {
  const std::string id = LowerText(file) + '\n' + LowerText(name);
  auto it = declared.find(id);
  if (it == declared.end()) {
    std::shared_ptr<Database> other;
    if (!file.empty()) other = DatabaseOf(file);
    std::shared_ptr<Table> table = (other ? other : database)->FindTable(name);
    if (!table) {
      throw Error(ErrorKind::kNoTable,
                  file.empty() ? fmt::format("The table '{}' does not exist.", name)
                               : fmt::format("The table '{}' does not exist in '{}'.", name, file));
    }
    auto d = std::make_shared<DeclaredTable>();
    d->id = next_table_id++;
    d->sql_name = fmt::format("t{}", d->id);
    d->database = std::move(other);
    d->table = std::move(table);
    connection->host.tables[d->id] = d;
    DeclareTable(&connection->host, *d);
    it = declared.emplace(id, std::move(d)).first;
  }
  return {it->second->sql_name, it->second->table->def().name, it->second->table};
}

// ---- plans of statements

Translator Session::Impl::TranslatorOf(std::string_view text, int parameters) {
  const auto lifted =
      std::count_if(tokens.begin(), tokens.end(), [](const Token& t) { return t.lifted >= 0; });
  return Translator(*this, text, parameters, static_cast<int>(lifted));
}

std::shared_ptr<Plan> Session::Impl::PlanOf(std::string_view statement, std::vector<Value>* lifted) {
  CheckSchema();
  Lex(statement, &tokens);
  MakeKey(statement, tokens, &key);
  for (const Token& t : tokens) {
    if (t.lifted >= 0) lifted->push_back(ConstantValue(statement, t));
  }
  const auto found = plan_by_key.find(key);
  if (found != plan_by_key.end()) {
    plans.splice(plans.begin(), plans, found->second);
    return found->second->second;
  }
  std::shared_ptr<Plan> plan;
  try {
    plan = MakePlan(statement);
  } catch (...) {
    const auto unused = std::make_shared<Plan>();
    unused->connection = connection;
    GiveOtherFilesTo(unused.get());
    throw;
  }
  GiveOtherFilesTo(plan.get());
  if (!plan->keep) return plan;
  if (plan->definition) return plan;
  plans.emplace_front(key, plan);
  plan_by_key[plans.front().first] = plans.begin();
  if (plans.size() > kMaxPlans) {
    plan_by_key.erase(plans.back().first);
    plans.pop_back();
  }
  return plan;
}

// Other files stay open as long as the plan that reads them; the next statement opens them anew.
void Session::Impl::GiveOtherFilesTo(Plan* plan) {
  if (files.empty()) return;
  std::erase_if(declared, [&](const auto& d) {
    if (d.second->database == nullptr) return false;
    plan->other_tables.push_back(d.second);
    return true;
  });
  files.clear();
}

std::shared_ptr<Plan> Session::Impl::MakePlan(std::string_view statement) {
  std::unique_ptr<Statement> s;
  if (tokens.size() == 2 &&
      (tokens[0].kind == TokenKind::kName || tokens[0].kind == TokenKind::kBracketName)) {
    // A table's name alone stands for all its rows.
    s = std::make_unique<Statement>();
    s->select = std::make_unique<Select>();
    SelectItem all;
    all.star = true;
    s->select->items.push_back(std::move(all));
    auto ref = std::make_unique<TableRef>();
    ref->name = std::string(statement.substr(tokens[0].offset, tokens[0].length));
    if (ref->name[0] == '[') ref->name = ref->name.substr(1, ref->name.size() - 2);
    s->select->from.push_back(std::move(ref));
  } else {
    s = Parse(statement, tokens);
  }
  auto plan = std::make_shared<Plan>();
  plan->connection = connection;
  plan->kind = s->kind;
  plan->parameters = s->parameters;
  other_files = false;
  switch (s->kind) {
    case StatementKind::kSelect:
    case StatementKind::kSelectInto:
      PlanQuery(*s, statement, plan.get());
      plan->new_table = s->select->into;
      break;
    case StatementKind::kUpdate:
    case StatementKind::kDelete:
      PlanChange(*s, statement, plan.get());
      if (s->kind == StatementKind::kDelete && plan->candidates)
        PlanAlternatives(s.get(), statement, plan.get());
      break;
    case StatementKind::kInsertValues:
    case StatementKind::kInsertSelect:
      PlanInsert(*s, statement, plan.get());
      break;
    default:
      plan->definition = std::move(s);
      return plan;
  }
  plan->keep = !other_files;
  return plan;
}

// The catalog keeps these; a change past it would cut tables off from their names and rights.
void Session::Impl::RequireNoSystemTable(const Table& table) {
  if (!table.def().system) return;
  throw Error(ErrorKind::kInvalid,
              fmt::format("'{}' is a system table; its rows cannot be changed.", table.def().name));
}

void Session::Impl::PlanChange(const Statement& s, std::string_view text, Plan* plan) {
  Translator translator = TranslatorOf(text, s.parameters);
  UpdateTranslation u = s.kind == StatementKind::kUpdate ? translator.Update(s) : translator.Delete(s);
  plan->sql = std::move(u.source.sql);
  plan->tables = std::move(u.source.tables);
  plan->update_targets = std::move(u.targets);
  plan->update_columns = std::move(u.columns);
  plan->joined = s.select->from.size() != 1 || s.select->from[0]->kind == TableRef::kJoin;
  // Decimals arrive as exact text.
  plan->columns.resize(plan->update_targets.size());
  for (const UpdateColumn& c : plan->update_columns) {
    OutputColumn column;
    column.type = c.source_type;
    plan->columns.push_back(std::move(column));
  }
  if (other_files) throw Error(ErrorKind::kNotSupported, "Tables of another file cannot be changed.");
  for (const UpdateTarget& target : plan->update_targets) RequireNoSystemTable(*target.table);
  if (!plan->joined && s.select->where && plan->MentionsTargetOnce()) {
    if (auto filter = RowFilter::Make(*s.select->where, *plan->update_targets[0].table)) {
      plan->candidates = std::make_unique<CandidateRows>(std::move(filter));
    }
  }
}

namespace {

// Takes "a OR b OR c" apart.
void TakeAlternatives(ExprPtr e, std::vector<ExprPtr>* alternatives) {
  if (e->kind != ExprKind::kLogic || e->op != 'O') {
    alternatives->push_back(std::move(e));
    return;
  }
  for (ExprPtr& arg : e->args) TakeAlternatives(std::move(arg), alternatives);
}

ExprPtr JoinAlternatives(std::vector<ExprPtr> alternatives) {
  ExprPtr joined;
  for (ExprPtr& e : alternatives) {
    if (!joined) {
      joined = std::move(e);
      continue;
    }
    auto both = std::make_unique<Expr>();
    both->kind = ExprKind::kLogic;
    both->op = 'O';
    both->args.push_back(std::move(joined));
    both->args.push_back(std::move(e));
    joined = std::move(both);
  }
  return joined;
}

}  // namespace

// "DELETE FROM t WHERE a = 'x' OR b = 'y' AND c IN (SELECT ...)": as one search it walks all candidates for
// every notice; taken apart, the first part finds its rows once and the second one by its index.
void Session::Impl::PlanAlternatives(Statement* s, std::string_view text, Plan* plan) {
  const Table& table = *plan->update_targets[0].table;
  std::vector<ExprPtr> all, texts, others;
  TakeAlternatives(std::move(s->select->where), &all);
  for (ExprPtr& e : all) (RowFilter::Decides(*e, table) ? texts : others).push_back(std::move(e));
  if (texts.empty() || others.empty()) return;
  std::vector<ExprPtr> parts;
  parts.push_back(JoinAlternatives(std::move(texts)));
  for (ExprPtr& e : others) parts.push_back(std::move(e));
  for (ExprPtr& e : parts) {
    s->select->where = std::move(e);
    auto part = std::make_shared<Plan>();
    part->connection = connection;
    part->kind = s->kind;
    part->parameters = s->parameters;
    PlanChange(*s, text, part.get());
    plan->alternatives.push_back(std::move(part));
  }
}

void Session::Impl::PlanQuery(const Statement& s, std::string_view text, Plan* plan) {
  Translator translator = TranslatorOf(text, s.parameters);
  Translation t = translator.Query(*s.select, s.kind == StatementKind::kSelect);
  plan->sql = std::move(t.sql);
  plan->columns = std::move(t.columns);
  plan->base_table = std::move(t.base_table);
  plan->tables = std::move(t.tables);
  for (const OutputColumn& c : plan->columns) {
    ResultColumn r;
    r.name = c.name;
    if (c.table && c.column >= 0) {
      const ColumnDef& def = c.table->def().columns[static_cast<std::size_t>(c.column)];
      r.table = c.table->def().name;
      r.column = def.name;
      r.type = def.type;
    } else if (c.type == Type::kDate) {
      r.type = ColumnType::kDateTime;
    } else if (c.type == Type::kBoolean) {
      r.type = ColumnType::kBoolean;
    }
    plan->result_columns.push_back(std::move(r));
  }
}

// ---- queries

namespace {

class SessionQuery : public Query {
 public:
  SessionQuery(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
               const std::vector<Value>& lifted)
      : running_(plan, parameters, lifted), row_id_column_(static_cast<int>(plan->columns.size())) {}

  const std::vector<ResultColumn>& columns() const override { return running_.plan().result_columns; }
  bool Step() override {
    if (done_) return false;
    done_ = !running_.Step();
    return !done_;
  }
  Value Get(int column) override { return running_.Get(column); }
  std::shared_ptr<Table> base_table() const override { return running_.plan().base_table; }
  RowId row_id() const override {
    return RowId::FromPacked(static_cast<std::uint32_t>(running_.GetInteger(row_id_column_)));
  }

 private:
  Running running_;
  int row_id_column_;
  bool done_ = false;
};

void CheckParameters(const Plan& plan, const std::vector<Value>& parameters) {
  if (static_cast<int>(parameters.size()) < plan.parameters) {
    throw Error(ErrorKind::kInvalid, fmt::format("The statement has {} parameters, but {} values were given.",
                                                 plan.parameters, parameters.size()));
  }
}

}  // namespace

Session::Session(std::shared_ptr<Database> database, Opener opener)
    : impl_(std::make_unique<Impl>(std::move(database), std::move(opener))) {}
Session::~Session() = default;

Database& Session::database() { return *impl_->database; }

std::unique_ptr<Query> Session::Open(std::string_view select, const std::vector<Value>& parameters) {
  std::vector<Value> lifted;
  const std::shared_ptr<Plan> plan = impl_->PlanOf(select, &lifted);
  if (plan->kind != StatementKind::kSelect || plan->definition) {
    throw Error(ErrorKind::kInvalid, "The statement is no query: it gives no rows.");
  }
  CheckParameters(*plan, parameters);
  return std::make_unique<SessionQuery>(plan, parameters, lifted);
}

std::int64_t Session::Execute(std::string_view statement, const std::vector<Value>& parameters) {
  return impl_->Execute(statement, parameters);
}

std::int64_t Session::Impl::Execute(std::string_view statement, const std::vector<Value>& parameters) {
  std::vector<Value> lifted;
  const std::shared_ptr<Plan> plan = PlanOf(statement, &lifted);
  CheckParameters(*plan, parameters);
  if (plan->kind == StatementKind::kSelect && !plan->definition) {
    Running rows(plan, parameters, lifted);
    rows.Step();
    return 0;
  }
  const bool defines = plan->definition || plan->kind == StatementKind::kSelectInto;
  std::int64_t count = 0;
  try {
    count = RunChange(plan, parameters, lifted);
  } catch (...) {
    // What a definition made and took back again must not be found by the next statement.
    if (defines) ForgetTables();
    throw;
  }
  if (defines) CheckSchema();
  return count;
}

// A statement that changes something, whole or not at all.
std::int64_t Session::Impl::RunChange(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                                      const std::vector<Value>& lifted) {
  StatementScope scope(*database);
  std::int64_t count = 0;
  switch (plan->kind) {
    case StatementKind::kUpdate:
      count = RunUpdate(plan, parameters, lifted);
      break;
    case StatementKind::kDelete:
      count = RunDelete(plan, parameters, lifted);
      break;
    case StatementKind::kInsertValues:
      count = RunInsertValues(plan, parameters, lifted);
      break;
    case StatementKind::kInsertSelect:
      count = RunInsertSelect(plan, parameters, lifted);
      break;
    case StatementKind::kSelectInto:
      count = RunSelectInto(plan, parameters, lifted);
      break;
    default:
      RunDefinition(*plan->definition);
      break;
  }
  scope.Commit();
  return count;
}

bool Session::IsQuery(std::string_view statement) {
  std::vector<Token> tokens;
  try {
    Lex(statement, &tokens);
  } catch (const Error&) {
    return false;
  }
  std::size_t first = 0;
  while (tokens[first].kind == TokenKind::kOperator && tokens[first].op == '(') ++first;
  if (first == 0 && tokens.size() == 2) {
    return tokens[0].kind == TokenKind::kName || tokens[0].kind == TokenKind::kBracketName;
  }
  if (!IsWord(statement, tokens[first], "SELECT")) return false;
  return std::none_of(tokens.begin(), tokens.end(),
                      [&](const Token& t) { return IsWord(statement, t, "INTO"); });
}

namespace {

// Takes every table and column as it is named.
class OpenCatalog : public TableCatalog {
 public:
  CatalogTable Find(const std::string& name, const std::string& file) override {
    return {"\"" + name + "\"" + (file.empty() ? "" : " /* " + file + " */"), name, nullptr};
  }
  std::optional<std::string> FindQuery(const std::string&, const std::string&) override { return {}; }
};

}  // namespace

std::string TranslateForTest(std::string_view statement) {
  std::vector<Token> tokens;
  Lex(statement, &tokens);
  const std::unique_ptr<Statement> s = Parse(statement, tokens);
  OpenCatalog catalog;
  Translator translator(catalog, statement, s->parameters);
  switch (s->kind) {
    case StatementKind::kUpdate:
      return translator.Update(*s).source.sql;
    case StatementKind::kDelete:
      return translator.Delete(*s).source.sql;
    case StatementKind::kInsertValues:
      return translator.Values(s->values).sql;
    default:
      return s->select ? translator.Query(*s->select, false).sql : std::string();
  }
}

}  // namespace jet::sql
