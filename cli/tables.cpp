#include "cli/tables.h"

#include <algorithm>

#include <fmt/format.h>

namespace vnt::cli {

std::vector<jet::CatalogEntry> SortedCatalog(jet::Database& database) {
  std::vector<jet::CatalogEntry> entries = database.Catalog();
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return entries;
}

std::vector<std::shared_ptr<jet::Table>> UserTables(jet::Database& database) {
  std::vector<std::shared_ptr<jet::Table>> tables;
  for (const jet::CatalogEntry& entry : SortedCatalog(database)) {
    if (!IsUserTable(entry)) continue;
    if (auto table = database.FindTable(entry.name)) tables.push_back(std::move(table));
  }
  return tables;
}

std::shared_ptr<jet::Table> RequireTable(jet::Database& database, const std::string& name) {
  auto table = database.FindTable(name);
  if (table == nullptr) {
    throw jet::Error(jet::ErrorKind::kNoTable, fmt::format("The database has no table '{}'.", name));
  }
  return table;
}

}  // namespace vnt::cli
