// The open databases of the process: one engine per file, shared by all connections on it.
#pragma once

#include <memory>
#include <string>

#include "access/sql/session.h"
#include "access/store/database.h"

namespace vnt::db {

struct AccessEngine {
  std::shared_ptr<jet::Database> database;
  std::unique_ptr<jet::sql::Session> session;
  std::string read_only_reason;  // a sentence, when it was to be written and cannot be
};

// The engine for the file, opened when no connection has it open. jet::Error as from jet::Database::Open,
// except that a file that cannot be written is opened for reading. kLocked when this process has the file
// open for reading only and `mode` is kReadWrite.
std::shared_ptr<AccessEngine> OpenEngine(const std::string& path, jet::OpenMode mode);

}  // namespace vnt::db
