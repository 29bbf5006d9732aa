// What mdb-export, an independent reader, finds in a table.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "access/store/database.h"

namespace jet {

struct ExportedTable {
  std::vector<std::string> columns;
  std::vector<std::vector<std::optional<std::string>>> rows;  // empty: Null
};

bool HaveMdbExport();
// Runs mdb-export. False when it fails.
bool RunMdbExport(const std::string& file, const std::string& table, ExportedTable* out);

// Whether mdb-export's text of a value says what we read: numbers and dates are compared as such.
bool SaysTheSame(const ColumnDef& column, const Value& value, const std::optional<std::string>& exported);

}  // namespace jet
