// cadodb: one database connection with the properties it is opened by, and its two ways to open.
#pragma once

#include <memory>
#include <string>

#include "db/connection.h"

namespace vnt::db {

// Members that no fix calls (SetCn, AddTempODBCDsn) are here by design.
//
// A property that may be Null, as the callers distinguish a name never given from an empty one.
class cadodb {
 public:
  cadodb();

  // The held connection; made by the two open operations. DbError 3704 before.
  Connection& Cn() const;
  bool has_connection() const { return cn_ != nullptr; }
  // Copies the connection string of `other` into the held connection.
  void SetCn(const Connection& other);

  Value DBName;    // Access file, or "dsn:NAME" for a data source on a server; Null until set
  Value username;  // user id for OpenIngresAdoConnection
  Value DsName;    // ODBC data source name

  // kRead for databases that are only looked into (the reference database); takes no exclusive lock.
  AccessMode Mode = AccessMode::kReadWrite;

  void OpenADOConnection();
  void OpenIngresAdoConnection();
  // Registers a data source for the file in DBName with the platform's ODBC installer; reports by message
  // only.
  void AddTempODBCDsn();

 private:
  std::unique_ptr<Connection> cn_;
};

}  // namespace vnt::db
