#include "db/server_provider/server_table.h"

#include <algorithm>

#include "access/base/text.h"

namespace vnt::db {

int ServerTable::FindColumn(std::string_view wanted) const {
  const auto found = std::ranges::find_if(
      columns, [&](const ServerColumn& column) { return jet::EqualNames(column.name, wanted); });
  return found == columns.end() ? -1 : static_cast<int>(found - columns.begin());
}

bool ServerTable::Divides(std::string_view column) const {
  return std::ranges::all_of(indexes, [&](const ServerIndex& index) {
    return !index.unique || std::ranges::any_of(index.columns, [&](const auto& of) {
      return columns[of.first].name == column;
    });
  });
}

}  // namespace vnt::db
