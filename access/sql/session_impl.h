// The inside of a session. session.cpp: tables and queries; planner.cpp: from a statement to its plan;
// change.cpp: INSERT, UPDATE, DELETE, SELECT INTO; definition.cpp: CREATE, DROP, ALTER.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "access/sql/connection.h"
#include "access/sql/lexer.h"
#include "access/sql/plan.h"
#include "access/sql/session.h"

namespace jet::sql {

struct Session::Impl : TableCatalog {
  Impl(std::shared_ptr<Database> database, Opener opener);
  ~Impl() override;

  std::shared_ptr<const CatalogTable> Find(const std::string& name, const std::string& file) override;
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

  PlanCache plans;
  std::vector<Token> tokens;
  std::string key;
};

}  // namespace jet::sql
