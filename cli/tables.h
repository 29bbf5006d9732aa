// The tables of a database as the commands name and walk them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/store/database.h"
#include "access/store/user_tables.h"

namespace vnt::cli {

using jet::IsUserTable;
using jet::kLocalTable;
using jet::PrimaryIndex;

// All objects by name.
std::vector<jet::CatalogEntry> SortedCatalog(jet::Database& database);
// The tables that are neither system tables nor hidden, by name.
std::vector<std::shared_ptr<jet::Table>> UserTables(jet::Database& database);
// jet::Error(kNoTable) when there is none of that name.
std::shared_ptr<jet::Table> RequireTable(jet::Database& database, const std::string& name);

// Calls `body` for each row: as the table holds them, or by primary key where that is asked for and there is
// one. Can be interrupted.
template <typename Body>
void ForEachRow(jet::Table& table, bool order_by_key, Body&& body) {
  jet::Row row;
  jet::RowId id;
  const int index = order_by_key ? PrimaryIndex(table.def()) : -1;
  if (index < 0) {
    for (jet::TableCursor cursor(table); cursor.Next(&row, &id);) {
      jet::ThrowIfInterrupted();
      body(row);
    }
    return;
  }
  for (jet::IndexCursor cursor(table, index, {}); cursor.Next(&id);) {
    jet::ThrowIfInterrupted();
    if (!table.Fetch(id, &row)) jet::ThrowCorrupt("the primary key names a row that is not there", id.page());
    body(row);
  }
}

}  // namespace vnt::cli
