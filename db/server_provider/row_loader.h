// Puts many rows into a table, many of them in one statement.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "access/base/value.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

class RowLoader {
 public:
  // `columns`: positions in `table`, in the order in which values come.
  RowLoader(ServerSession& session, const ServerTable& table, const std::vector<int>& columns);
  // jet::Error, with the column's name, for a value that the server cannot hold.
  void Add(const std::vector<jet::Value>& values);
  // Sends what is left; gives the number of rows.
  std::int64_t Finish();

 private:
  void Send();

  ServerSession& session_;
  const ServerTable& table_;
  std::vector<int> columns_;
  std::string head_, batch_;
  int rows_in_batch_ = 0;
  std::int64_t rows_ = 0;
};

}  // namespace vnt::db
