// One connection to a server: its dialect, its tables, its transaction, and the statements that wait to be
// sent together.
//
// Everything is in one transaction from the first statement to Commit() or Rollback(). A statement that fails
// takes back what it did itself, and nothing else.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "db/odbc_provider/session.h"
#include "db/odbc_provider/statement.h"
#include "db/server_provider/printer.h"
#include "db/server_provider/server_table.h"
#include "db/server_provider/sql_dialect.h"

namespace vnt::db {

class ServerSession : public ServerTables {
 public:
  // Connects. DbError also for a server whose dialect is not known.
  explicit ServerSession(const ConnectionSettings& settings);
  ~ServerSession() override;

  const SqlDialect& dialect() const { return *dialect_; }
  const OdbcSession& odbc() const { return *odbc_; }

  ServerTablePtr Find(std::string_view name) override;
  // By name.
  std::vector<ServerTablePtr> Tables();
  // After a definition has changed.
  void ForgetTables() { tables_read_ = false; }

  // Sends a statement at once, behind those that wait; gives the number of rows affected.
  std::int64_t Run(std::string_view sql, const std::vector<std::string>& helpers = {});
  // Sends a query at once, behind those that wait.
  std::unique_ptr<OdbcStatement> Open(std::string_view sql, const std::vector<std::string>& helpers = {});
  // Sends a statement that may wait. What it says is only known after the next Flush(), Run(), Open() or
  // Commit(), which then raises kErrRepeat.
  void Enqueue(std::string sql, const std::vector<std::string>& helpers = {});
  void Flush();
  // While it is off, Enqueue() is Run(). Rows that statements of the queue affected are told to `told`.
  void Defer(bool on, std::function<void(std::int64_t rows)> told);
  bool defers() const { return defers_; }

  bool is_dirty() const { return dirty_; }
  void SetSavepoint();
  void RollbackToSavepoint();
  void Commit();
  void Rollback();
  // Whether the outcome of the last Commit() is not known.
  bool is_in_doubt() const { return in_doubt_; }

  // A lock that lasts as long as the connection. False: another connection has it.
  bool TryLock(std::int64_t number);

  std::int64_t round_trips() const { return round_trips_; }

  // How often a table has been written on this connection; recordsets tell by it whether what they have read
  // still holds.
  std::int64_t Writes(const std::string& table) const {
    const auto found = writes_.find(table);
    return found == writes_.end() ? 0 : found->second;
  }
  void NoteWrite(const std::string& table) { ++writes_[table]; }

 private:
  void Begin();
  void MakeHelpers(const std::vector<std::string>& helpers);
  void ReadTables();

  std::unique_ptr<OdbcSession> odbc_;
  const SqlDialect* dialect_ = nullptr;
  bool tables_read_ = false;
  std::map<std::string, ServerTablePtr> tables_;  // by the name in small letters
  std::set<std::string> helpers_;                 // that there are
  std::vector<std::string> queue_;
  std::size_t queue_bytes_ = 0;
  bool defers_ = false;
  std::function<void(std::int64_t)> told_;
  bool in_transaction_ = false;
  bool dirty_ = false;
  bool in_doubt_ = false;
  std::int64_t round_trips_ = 0;
  std::map<std::string, std::int64_t> writes_;
};

}  // namespace vnt::db
