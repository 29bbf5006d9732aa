// Databases that are data sources on servers ("dsn:NAME"), for the commands that take them beside files.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "access/store/database.h"
#include "cli/cli.h"
#include "cli/commands.h"
#include "db/connection_string.h"
#include "db/server_provider/copied_database.h"
#include "db/server_provider/server_session.h"

namespace vnt::cli {

using db::IsServerName;

// What the options say, for all connections of the process. db::DbError when the password cannot be read.
void UseLogin(const ServerLogin& login);

std::shared_ptr<db::ServerSession> OpenServerSession(const std::string& name);

// A file as it is; of a data source a copy in a temporary file, which goes with it.
class ReadableDatabase {
 public:
  // `tables`: only these, of a data source; empty: all. jet::Error, db::DbError.
  explicit ReadableDatabase(const std::string& name, const std::vector<std::string>& tables = {});
  ~ReadableDatabase();
  ReadableDatabase(const ReadableDatabase&) = delete;
  ReadableDatabase& operator=(const ReadableDatabase&) = delete;

  jet::Database& operator*() const { return *database_; }
  jet::Database* operator->() const { return database_.get(); }

 private:
  std::filesystem::path temporary_;
  std::unique_ptr<jet::Database> database_;
};

int ServerTables(const std::string& name, Streams& streams);
int ServerInfo(const std::string& name, Streams& streams);

}  // namespace vnt::cli
