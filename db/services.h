// What the database objects need to be told for the whole process; see platform/in_force.h.
#pragma once

#include <functional>
#include <string>

#include "db/connection.h"
#include "db/provider.h"
#include "db/sql_log.h"

namespace jet {
class FileSystem;
struct PageStoreOptions;
}  // namespace jet

namespace vnt::db {

struct Services {
  // Told of all statements of all connections; may be empty.
  std::function<void(const StatementEvent&)> observer;
  SqlLog log;
  // Serves the connections that are opened, in place of the provider that their strings name; may be empty.
  ProviderFactory provider;
  // Where Access files that are opened lie, and with what sizes they are opened; null: the platform's, the
  // engine's own.
  jet::FileSystem* files = nullptr;
  const jet::PageStoreOptions* page_options = nullptr;
  // For data sources on servers; empty: as the data source says.
  std::string server_user, server_password;
};

// The file system in force.
jet::FileSystem& Files();

}  // namespace vnt::db
