#include "access/sql/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/saved_query.h"
#include "access/sql/session_impl.h"

namespace jet::sql {

Session::Impl::Impl(std::shared_ptr<Database> db, Opener open)
    : database(std::move(db)), opener(std::move(open)), connection(std::make_shared<Connection>()) {
  schema_version = database->schema_version();
}

Session::Impl::~Impl() = default;

void Session::Impl::ForgetTables() {
  plans.Clear();
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

std::shared_ptr<const CatalogTable> Session::Impl::Find(const std::string& name, const std::string& file) {
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
  return std::make_shared<CatalogTable>(it->second->sql_name, it->second->table);
}

namespace {

class SessionQuery : public Query {
 public:
  SessionQuery(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
               const std::vector<Value>& lifted)
      : running_(plan, parameters, lifted), row_id_column_(plan->columns.size()) {}

  const std::vector<ResultColumn>& columns() const override { return running_.plan().result_columns; }
  bool Step() override {
    if (done_) return false;
    done_ = !running_.Step();
    return !done_;
  }
  Value Get(int column) override { return running_.Get(column); }
  std::shared_ptr<Table> base_table() const override { return running_.plan().base_table; }
  RowId row_id() const override { return RowId::FromPacked(running_.GetInteger(row_id_column_)); }

 private:
  Running running_;
  int row_id_column_;
  bool done_ = false;
};

void CheckParameters(const Plan& plan, const std::vector<Value>& parameters) {
  if (std::ssize(parameters) < plan.parameters) {
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
  while (tokens[first].op == Op::kOpen) ++first;
  if (first == 0 && tokens.size() == 2) {
    return tokens[0].kind == TokenKind::kName || tokens[0].kind == TokenKind::kBracketName;
  }
  if (!IsWord(statement, tokens[first], "SELECT")) return false;
  return std::none_of(tokens.begin(), tokens.end(),
                      [&](const Token& t) { return IsWord(statement, t, "INTO"); });
}

}  // namespace jet::sql
