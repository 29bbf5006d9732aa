// Which rows belong to one notice.
#pragma once

#include <cstdint>
#include <functional>
#include <set>

#include "access/store/database.h"

namespace vnt::compare {

// A row belongs to a notice by its own notice number (ntc_id) or, where the table has none, by its group
// (grp_id). The groups of a notice are those that table grp gives it in either of two databases, so that the
// rows of a group that one of them lacks are found in the other.
class NoticeRows {
 public:
  NoticeRows(jet::Database& a, jet::Database& b, std::int32_t notice);

  // Whether rows of the table can belong to a notice at all.
  static bool AreIn(const jet::TableDef& table);
  // Calls `row` for each, by an index where one begins with the column that tells.
  void ForEach(jet::Table& table, const std::function<void(const jet::Row&, jet::RowId)>& row) const;

 private:
  void Walk(jet::Table& table, int column, const std::set<std::int64_t>& numbers,
            const std::function<void(const jet::Row&, jet::RowId)>& row) const;
  void AddGroups(jet::Database& database);

  std::set<std::int64_t> notice_;
  std::set<std::int64_t> groups_;
};

}  // namespace vnt::compare
