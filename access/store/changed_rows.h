// How many rows a piece of work has really changed.
#pragma once

#include <cstdint>
#include <unordered_map>

namespace jet {

class Database;

// What several pieces of work have changed, taken together: what one of them changes and another puts back
// counts as nothing, and what several change counts once.
class ChangedRows {
 public:
  // A row of a table with a primary key, and what its content has become less what it was.
  void AddKeyed(std::uint64_t key, std::uint64_t difference);
  // A content of rows that have no key, and how many of them came less how many went.
  void AddUnkeyed(std::uint64_t content, std::uint64_t difference);
  std::int64_t Count() const;

 private:
  // By hashes of the table and the key or content. What is 0 stays out.
  std::unordered_map<std::uint64_t, std::uint64_t> keyed_, unkeyed_;
};

// Rows of the tables that users see which came, went or hold another value since the last Mark(), Persist()
// or Checkpoint(). Rows are told apart by the primary key; in a table without one, rows that are gone and
// rows that are new count each. A row that was deleted and stored again as it was counts as nothing, nor does
// one whose values were written anew. Not within a statement. Errors are those of reading. With `together`
// they are added there.
std::int64_t CountChangedRows(Database& database, ChangedRows* together = nullptr);

}  // namespace jet
