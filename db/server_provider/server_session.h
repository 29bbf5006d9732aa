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
#include <unordered_map>
#include <vector>

#include "db/odbc_provider/session.h"
#include "db/odbc_provider/statement.h"
#include "db/server_provider/change_queue.h"
#include "db/server_provider/server_printer.h"
#include "db/server_provider/server_table.h"
#include "db/server_provider/sql_dialect.h"

namespace vnt::db {

// A recordset that somebody goes through.
class Walk {
 public:
  virtual ~Walk() = default;
  // The numbers that the column of that name has from the current row on, each once, `most` at most; none
  // when the current row has another one than `current`.
  virtual std::vector<std::int64_t> Upcoming(std::string_view column, std::int64_t current,
                                             std::size_t most) = 0;
};

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
  // After the definition of a table has changed; of any table.
  void ForgetTable(const std::string& name) { changed_.insert(name); }
  void ForgetTables() { tables_read_ = false; }

  // Sends a statement at once, behind those that wait; gives the number of rows affected.
  std::int64_t Run(std::string_view sql, const std::vector<std::string>& helpers = {});
  // Sends a query at once, behind those that wait.
  std::unique_ptr<OdbcStatement> Open(std::string_view sql, const std::vector<std::string>& helpers = {});
  // Sends a statement that may wait. What it says is only known after the next Flush(), Run(), Open() or
  // Commit(), which then raises kErrRepeat.
  void Enqueue(QueuedChange change, const std::vector<std::string>& helpers = {});
  void Flush();
  // The name of a statement that is prepared on this connection, now if it is not yet.
  std::string Prepared(const std::string& sql, std::size_t numbers);
  // Rows that counted changes of the queue affected are told to `told`.
  void Defer(bool on, std::function<void(std::int64_t rows)> told);
  bool defers() const { return defers_; }

  bool is_dirty() const { return dirty_; }
  void SetSavepoint();
  void RollbackToSavepoint();
  void Commit();
  void Rollback();
  // Whether the outcome of the last Commit() is not known.
  bool is_in_doubt() const { return in_doubt_; }

  // Locks that last as long as the connection, or until Unlock(): all of them, or none. False: another
  // connection has one of them, and not shared.
  bool TryLock(const std::vector<std::int32_t>& numbers, bool shared);
  void Unlock(const std::vector<std::int32_t>& numbers, bool shared);

  std::int64_t round_trips() const { return round_trips_; }

  // Counts how often a table, or a part of it, has been written on this connection; recordsets tell by it
  // whether what they have read still holds.
  std::int64_t Version(const std::string& table) const;
  std::int64_t Version(const std::string& table, const WrittenPart& part) const;
  // A change that touches rows of these parts alone, in each of their columns; without any: of the table.
  void NoteWrite(const std::string& table, const std::vector<WrittenPart>& parts = {});
  // All rows of the part have been deleted.
  void NoteEmptied(const std::string& table, const WrittenPart& part);
  bool IsEmptied(const std::string& table, const WrittenPart& part) const;

  // Recordsets that are open, the newest last.
  std::vector<Walk*>& walks() { return walks_; }

 private:
  void Begin();
  void MakeHelpers(const std::vector<std::string>& helpers);
  // All, or that one.
  void ReadTables(const std::string& name = {});

  std::unique_ptr<OdbcSession> odbc_;
  const SqlDialect* dialect_ = nullptr;
  bool tables_read_ = false;
  std::map<std::string, ServerTablePtr> tables_;  // by the name in small letters
  std::set<std::string> changed_;                 // tables whose definition has changed since
  std::set<std::string> helpers_;                 // that there are
  std::map<std::string, std::string> prepared_;   // names of statements
  ChangeQueue queue_;
  bool defers_ = false;
  std::function<void(std::int64_t)> told_;
  bool in_transaction_ = false;
  bool dirty_ = false;
  bool in_doubt_ = false;
  std::int64_t round_trips_ = 0;
  struct PartWrites {
    std::int64_t all = 0;  // that told a number in the column
    std::unordered_map<std::int64_t, std::int64_t> of;
    std::unordered_map<std::int64_t, std::int64_t> emptied;  // the version since when
  };
  struct TableWrites {
    std::int64_t all = 0;
    std::map<std::string, PartWrites, std::less<>> parts;
  };
  std::map<std::string, TableWrites, std::less<>> writes_;
  std::vector<Walk*> walks_;
};

}  // namespace vnt::db
