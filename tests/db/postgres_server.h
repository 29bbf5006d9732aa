// The PostgreSQL server of postgres_fixture.sh for a whole test program: started before the first test that
// asks for it, stopped at the end. Its data sources are "TLKP-ING" and "TLKD-ING".
//
// A test program that uses it links tests_db_postgres. Where PostgreSQL is missing, tests that need it fail.
#pragma once

#include <string>

namespace vnt::db {

class PostgresServer {
 public:
  // Throws std::runtime_error when the server cannot be started.
  static PostgresServer& Get();

  const std::string& folder() const { return folder_; }
  // Drops everything in the database behind a data source and runs the statements of `setup` in it.
  void Reset(const std::string& data_source, const std::string& setup = {});

  // Stops the server as a crash would; and starts it again on the same port, with what it had committed.
  void Crash();
  void Resume();

  ~PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

 private:
  PostgresServer();
  std::string folder_;
};

}  // namespace vnt::db
