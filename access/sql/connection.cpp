#include "access/sql/connection.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "access/base/error.h"
#include "access/base/interruption.h"

namespace jet::sql {
namespace {

// How many steps of its machine SQLite makes, at most some milliseconds of work, before it asks whether it is
// to go on.
constexpr int kStepsBetweenAsking = 1000;

int IsInterrupted(void*) { return interruption.load(std::memory_order_relaxed) != 0 ? 1 : 0; }

void CloseConnection(sqlite3* db) { sqlite3_close_v2(db); }

}  // namespace

Connection::Connection() {
  // Counting its memory would take a lock for every piece. Without effect once SQLite is in use, by whomever.
  static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  static_cast<void>(configured);
  const int rc = sqlite3_open_v2(":memory:", &host.db,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX, nullptr);
  std::unique_ptr<sqlite3, decltype(&CloseConnection)> opened(host.db, &CloseConnection);
  if (rc == SQLITE_NOMEM || host.db == nullptr) throw std::bad_alloc();
  if (rc != SQLITE_OK) throw Error(ErrorKind::kFailed, "SQLite cannot be started.");
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
  static_cast<void>(opened.release());  // the destructor closes it from now on
}

Connection::~Connection() { sqlite3_close_v2(host.db); }

void Connection::Raise() {
  if (host.failure) std::rethrow_exception(std::exchange(host.failure, nullptr));
  ErrorKind kind = ErrorKind::kFailed;
  const char* what = "The statement failed";
  switch (sqlite3_errcode(host.db) & 0xFF) {
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_INTERRUPT:
      ThrowInterrupted();
    // Results that are sorted and do not fit into memory.
    case SQLITE_FULL:
      kind = ErrorKind::kIo;
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
  if (sqlite3_prepare_v3(host.db, sql.data(), sql.size(), SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
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

}  // namespace jet::sql
