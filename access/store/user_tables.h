// What those who go through a whole database ask of its catalog and of each table.
#pragma once

#include <algorithm>
#include <cstdint>

#include "access/store/database.h"

namespace jet {

inline constexpr std::int16_t kLocalTable = 1;  // CatalogEntry::type

// Whether it is a table of rows in this file that users see: no link, no system table, not hidden.
inline bool IsUserTable(const CatalogEntry& entry) {
  return entry.type == kLocalTable && !entry.system() && !entry.hidden();
}

// The position of the primary key in TableDef::indexes, or -1.
inline int PrimaryIndex(const TableDef& table) {
  const auto primary = std::ranges::find_if(table.indexes, &IndexDef::primary);
  return primary == table.indexes.end() ? -1 : static_cast<int>(primary - table.indexes.begin());
}

}  // namespace jet
