// What is known of a table of a data source, in Access's terms.
//
// Behind the columns that a user sees, a table that vntfix has made holds one more, kOrderColumn: a number
// that grows from row to row. Rows without ORDER BY come by it, as the rows of a file come in the order in
// which the table holds them. Statements of Access SQL never see it. A table that lacks it is taken in the
// order of its key.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "access/base/types.h"
#include "access/sql/names.h"

namespace vnt::db {

inline constexpr char kOrderColumn[] = "vnt_row";

struct ServerColumn {
  std::string name;
  jet::ColumnType type = jet::ColumnType::kText;
  int characters = 0;  // of Text and Binary; 0: no limit
  int precision = 0, scale = 0;
  bool required = false;
  bool auto_number = false;
  std::string default_value;  // a constant as an expression of Access; empty: none
};

struct ServerIndex {
  std::string name;
  std::vector<std::pair<int, bool>> columns;  // position, descending
  bool unique = false;
  bool primary = false;
};

struct ServerTable final : jet::sql::NamedTable {
  std::string name;  // as the server spells it
  std::vector<ServerColumn> columns;
  std::vector<ServerIndex> indexes;
  std::vector<int> key;  // the columns that tell rows apart; empty: kOrderColumn does, where there is one
  bool has_order = false;
  bool spread = false;  // partitions, or another server's table: places of rows mean nothing

  const std::string& TableName() const override { return name; }
  int CountColumns() const override { return static_cast<int>(columns.size()); }
  const std::string& ColumnName(int column) const override { return columns[column].name; }
  jet::ColumnType TypeOfColumn(int column) const override { return columns[column].type; }
  int FindColumn(std::string_view wanted) const override;
  // Whether rows with different values in the column can have no unique key in common.
  bool Divides(std::string_view column) const;
};

using ServerTablePtr = std::shared_ptr<const ServerTable>;

}  // namespace vnt::db
