// The inside of a session: its SQLite connection, the plans of statements sent before, and the carrying out
// of changes. session.cpp: connection, cache, queries; change.cpp: INSERT, UPDATE, DELETE, SELECT INTO;
// definition.cpp: CREATE, DROP, ALTER.
#pragma once

#include <sqlite3.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/lexer.h"
#include "access/sql/session.h"
#include "access/sql/translate.h"
#include "access/sql/virtual_table.h"

namespace jet::sql {

// The connection, shared with the queries that run on it.
class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  TableHost host;

  // Steps; raises what a callback raised, or kSql with SQLite's text.
  bool Step(sqlite3_stmt* statement);
  sqlite3_stmt* Prepare(const std::string& sql);
  [[noreturn]] void Raise();
  // False while a statement still reads it.
  bool Drop(const DeclaredTable& table);
};

// How a statement is carried out. Shared by the cache and by queries that run it.
struct Plan {
  // Other files that are read, and their tables: given up with the plan. First, so that they go last.
  std::vector<std::shared_ptr<DeclaredTable>> other_tables;
  std::shared_ptr<Connection> connection;
  StatementKind kind = StatementKind::kSelect;
  std::string sql;  // of the query or row source; empty when there is none
  std::vector<OutputColumn> columns;
  std::shared_ptr<Table> base_table;
  std::vector<std::shared_ptr<Table>> tables;
  std::vector<ResultColumn> result_columns;
  int parameters = 0;
  bool keep = true;  // false: reads other files, which may change between statements

  // Changes.
  bool joined = false;            // UPDATE, DELETE: the FROM list has more than one table
  std::shared_ptr<Table> target;  // of INSERT
  std::string new_table;          // of SELECT INTO
  std::vector<UpdateTarget> update_targets;
  std::vector<UpdateColumn> update_columns;
  std::unique_ptr<CandidateRows> candidates;  // of UPDATE and DELETE on one table that is mentioned once
  // DELETE with alternatives (OR) of different kinds: a plan for each kind; a row goes when one of them finds
  // it.
  std::vector<std::shared_ptr<Plan>> alternatives;
  // INSERT: per column of the target, the output column it comes from, or -1: its default.
  std::vector<int> insert_sources;
  // INSERT ... VALUES, per value: constants need no SQLite. `place`: the parameter, from 0; lifted constants
  // stand behind the statement's own.
  struct InsertValue {
    enum Kind : std::uint8_t { kNull, kTrue, kFalse, kParameter, kNegated, kComputed } kind = kNull;
    int place = 0;
  };
  std::vector<InsertValue> insert_values;
  std::unique_ptr<Statement> definition;

  // UPDATE, DELETE: no subquery or second mention reads the (only) table that is changed.
  bool MentionsTargetOnce() const;

  static constexpr std::size_t kMostIdle = 4;
  std::vector<sqlite3_stmt*> idle;
  sqlite3_stmt* Take();
  void Release(sqlite3_stmt* statement);
  ~Plan();
};

// A statement of a plan, in use; goes back to it at the end.
class Running {
 public:
  Running(std::shared_ptr<Plan> plan, const std::vector<Value>& parameters, const std::vector<Value>& lifted);
  ~Running();
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  bool Step();
  Value Get(int column) const;
  std::int64_t GetInteger(int column) const { return sqlite3_column_int64(statement_, column); }
  bool IsNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  const Plan& plan() const { return *plan_; }

 private:
  std::shared_ptr<Plan> plan_;
  sqlite3_stmt* statement_ = nullptr;
};

struct Session::Impl : TableCatalog {
  Impl(std::shared_ptr<Database> database, Opener opener);
  ~Impl() override;

  CatalogTable Find(const std::string& name, const std::string& file) override;
  std::optional<std::string> FindQuery(const std::string& name, const std::string& file) override;
  // Of the session's own database when `file` is empty.
  std::shared_ptr<Database> DatabaseOf(const std::string& file);
  // A translator for the statement in `tokens`.
  Translator TranslatorOf(std::string_view text, int parameters);

  // The plan of a statement and its lifted constants, from the cache if it is there.
  std::shared_ptr<Plan> PlanOf(std::string_view statement, std::vector<Value>* lifted);
  std::shared_ptr<Plan> MakePlan(std::string_view statement);
  void PlanChange(const Statement& s, std::string_view text, Plan* plan);
  void PlanAlternatives(Statement* s, std::string_view text, Plan* plan);
  void PlanQuery(const Statement& s, std::string_view text, Plan* plan);
  void PlanInsert(Statement& s, std::string_view text, Plan* plan);
  static void RequireNoSystemTable(const Table& table);
  void GiveOtherFilesTo(Plan* plan);
  void CheckSchema();
  void ForgetTables();

  std::int64_t Execute(std::string_view statement, const std::vector<Value>& parameters);
  std::int64_t RunChange(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                         const std::vector<Value>& lifted);
  std::int64_t RunUpdate(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                         const std::vector<Value>& lifted);
  std::int64_t RunDelete(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                         const std::vector<Value>& lifted);
  std::int64_t RunInsertValues(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                               const std::vector<Value>& lifted);
  std::int64_t RunInsertSelect(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                               const std::vector<Value>& lifted);
  std::int64_t RunSelectInto(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                             const std::vector<Value>& lifted);
  // The rows that a DELETE finds; or, where that is safe, deletes them at once and gives their number.
  std::int64_t FindRowsToDelete(const std::shared_ptr<Plan>& plan, const std::vector<Value>& parameters,
                                const std::vector<Value>& lifted, bool may_delete,
                                std::vector<std::uint32_t>* ids);
  void RunDefinition(const Statement& s);
  std::int64_t InsertRows(Table& target, const std::vector<int>& sources, Running& rows);
  // The value of a column that an INSERT does not name.
  Value DefaultOf(const TableDef& table, const ColumnDef& column);

  std::shared_ptr<Database> database;
  Opener opener;
  std::shared_ptr<Connection> connection;

  // Declared tables by folded name; those of other files live only while their statement is planned.
  std::unordered_map<std::string, std::shared_ptr<DeclaredTable>> declared;
  std::map<std::string, std::shared_ptr<Database>> files;
  bool other_files = false;
  int next_table_id = 1;
  std::uint64_t schema_version = 0;

  // The plans, the one used last first.
  static constexpr std::size_t kMaxPlans = 200;
  using PlanList = std::list<std::pair<std::string, std::shared_ptr<Plan>>>;
  PlanList plans;
  std::unordered_map<std::string_view, PlanList::iterator> plan_by_key;
  std::vector<Token> tokens;
  std::string key;
};

}  // namespace jet::sql
