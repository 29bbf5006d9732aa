// Databases as "vntfix copy" sees them, be they files or data sources: tables with their columns and indexes,
// rows in the order of the table.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "access/base/value.h"
#include "db/server_provider/server_session.h"
#include "db/server_provider/server_table.h"

namespace jet {
class Database;
}

namespace vnt::db {

class TableReader {
 public:
  virtual ~TableReader() = default;
  // One value for each column, with the kinds of jet::Value for the columns' types; false at the end.
  virtual bool Next(std::vector<jet::Value>* row) = 0;
};

class CopiedDatabase {
 public:
  virtual ~CopiedDatabase() = default;
  // User tables, by name.
  virtual std::vector<ServerTablePtr> Tables() = 0;
  virtual std::uint64_t CountRows(const ServerTable& table) = 0;
  // Above 0, `notice` takes the rows that belong to it alone: by a column ntc_id, else by grp_id. Tables with
  // neither column give all their rows.
  virtual std::unique_ptr<TableReader> Read(const ServerTable& table, std::int32_t notice) = 0;

  // Puts all rows of a reader into a table, which is made when there is none of its name: whole or, when an
  // error is raised, not at all. On a server that is durable then, in a file with the next checkpoint. `told`
  // hears of the number of rows now and then.
  virtual std::uint64_t Write(const ServerTable& table, TableReader& rows,
                              const std::function<void(std::uint64_t)>& told) = 0;
};

std::unique_ptr<CopiedDatabase> CopyOfFile(std::shared_ptr<jet::Database> file);
// The reader sees the data source as it is at the first table, whatever is changed meanwhile.
std::unique_ptr<CopiedDatabase> CopyOfServer(std::shared_ptr<ServerSession> session, bool to_read);

// What the columns and indexes of a file's table are elsewhere.
ServerTable TableOf(jet::Database& file, const std::string& name);

}  // namespace vnt::db
