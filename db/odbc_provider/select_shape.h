// What a SELECT must look like for its rows to be changed: columns of one table, taken as they are.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vnt::db {

struct SelectShape {
  std::string table;         // as the statement names it, quotes and qualifier included
  std::string list;          // the text between SELECT and FROM
  std::size_t list_end = 0;  // offset just behind the list
  bool all_columns = false;  // the list holds "*"
  std::vector<std::string>
      columns;  // the list's columns in order, quoted as they are, without qualifier; "*" for "t.*" too
};

// Whether `sql` reads plain columns of a single table, without DISTINCT, grouping, joins or set operations.
bool ParseSingleTableSelect(std::string_view sql, SelectShape* shape);

// Whether `sql` is nothing but a name, which stands for all of that table.
bool IsTableName(std::string_view sql);

}  // namespace vnt::db
