// The plans of statements sent before.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/connection.h"
#include "access/sql/session.h"
#include "access/sql/translate.h"

namespace jet::sql {

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

// The plans by the keys of their statements (lexer.h): those used last.
class PlanCache {
 public:
  // Null when there is none.
  std::shared_ptr<Plan> Find(const std::string& key);
  void Add(const std::string& key, std::shared_ptr<Plan> plan);
  void Clear();

 private:
  static constexpr std::size_t kMost = 200;
  using List = std::list<std::pair<std::string, std::shared_ptr<Plan>>>;

  List plans_;  // the one used last first
  std::unordered_map<std::string_view, List::iterator> by_key_;
};

}  // namespace jet::sql
