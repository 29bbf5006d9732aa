// What a statement of Access SQL changes and reads, told from its text.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vnt::guide {

enum class ChangeKind { kUpdate, kInsert, kDelete, kMakeTable, kDropTable };

struct TableChange {
  ChangeKind kind = ChangeKind::kUpdate;
  std::string table;                 // in lower case
  std::vector<std::string> columns;  // of an UPDATE or INSERT; empty: whole rows

  bool operator==(const TableChange&) const = default;
};

struct StatementTouch {
  std::optional<TableChange> change;  // none: the statement only reads
  std::set<std::string> read;         // tables of its FROM lists, in lower case
};

// The statement as fix_statements.h gives it: values of rows as <grp_id> and the like. jet::Error for what is
// no statement of Access SQL.
StatementTouch TouchOf(std::string_view statement);

std::string LowerCase(std::string_view text);

}  // namespace vnt::guide
