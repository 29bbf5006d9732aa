#include "tests/db/postgres_server.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "db/connection.h"

namespace vnt::db {
namespace {

int RunFixture(const std::string& action, const std::string& folder, const std::string& more = {}) {
  return std::system(("'" VNT_POSTGRES_FIXTURE "' " + action + " '" + folder + "' " + more).c_str());
}

}  // namespace

PostgresServer& PostgresServer::Get() {
  static PostgresServer server;
  return server;
}

PostgresServer::PostgresServer() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vnt-postgres-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("No folder for the PostgreSQL server.");
  folder_ = pattern;
  if (RunFixture("start", folder_, std::to_string(getpid())) != 0)
    throw std::runtime_error("PostgreSQL for the tests does not start.");
  setenv("ODBCSYSINI", folder_.c_str(), 1);
  setenv("ODBCINI", (folder_ + "/odbc.ini").c_str(), 1);
}

void PostgresServer::Crash() { RunFixture("kill", folder_); }

void PostgresServer::Resume() {
  if (RunFixture("resume", folder_) != 0) throw std::runtime_error("PostgreSQL does not start again.");
}

PostgresServer::~PostgresServer() { RunFixture("stop", folder_); }

void PostgresServer::Reset(const std::string& data_source, const std::string& setup) {
  Connection cn;
  cn.Open("PROVIDER=MSDASQL; DSN=" + data_source + "; UID=postgres;PWD=;");
  // The functions that stand for Ingres ones live there too, and stay.
  cn.Execute(
      "DO $$ DECLARE r record; BEGIN FOR r IN SELECT tablename FROM pg_tables WHERE schemaname = 'public' "
      "LOOP "
      "EXECUTE 'DROP TABLE ' || quote_ident(r.tablename) || ' CASCADE'; END LOOP; END $$");
  if (!setup.empty()) cn.Execute(setup);
}

}  // namespace vnt::db
