// The rows of a query on an Access file, for a table of a server: what IN 'file' reads.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "access/sql/session.h"
#include "access/store/database.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

// The column of a server that holds what the file's column does.
ServerColumn ServerColumnOf(const jet::ColumnDef& column);

class FileRows {
 public:
  // jet::Error when the file or the query cannot be opened.
  FileRows(const std::string& file, const std::string& query);

  std::vector<std::string> names() const;
  // What a table that is made of the query has.
  std::vector<ServerColumn> columns() const;
  // Puts all rows into a table; `columns` are the table's, in the query's order. Gives the number of rows.
  std::int64_t Load(ServerSession& session, const ServerTable& table, const std::vector<int>& columns);

 private:
  std::shared_ptr<jet::Database> database_;
  std::unique_ptr<jet::sql::Session> session_;
  std::unique_ptr<jet::sql::Query> query_;
};

}  // namespace vnt::db
