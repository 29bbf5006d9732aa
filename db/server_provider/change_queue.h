// Changes that wait to be sent, put together: many of one kind become one statement.
//
//   change                                          statement
//   INSERT INTO t (a, b) VALUES (1, 2)              INSERT INTO t (a, b) VALUES (1, 2), (3, 4), ...
//   UPDATE t SET b = b - 1 WHERE a = 1              UPDATE t SET b = b - 1 FROM (VALUES (1), (3), ...) AS
//   v(k0)
//                                                   WHERE t.a = v.k0
//
// A change joins an earlier one of its kind only where it could as well have come before everything that was
// put off in between: what lies between them changes other tables, or rows that have another number in a
// column which is part of every unique key of the table.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vnt::db {

// Rows of a table that have a certain whole number in a column.
struct WrittenPart {
  std::string column;  // as the table spells it
  std::int64_t number = 0;
};

struct QueuedChange {
  std::string table;
  // The statement is head, rows with commas between them, tail.
  std::string head, row, tail;
  // Rows it touches: those with all of these numbers, in columns that divide the table (see above).
  std::vector<WrittenPart> parts;
  bool alone = true;               // may read or change anything; `head` is the statement
  std::string count;               // a query for its rows, where the statement itself does not tell them
  bool counted = true;             // its rows are to be told
  bool repeats = false;            // the same row must not stand in a statement twice
  bool joins = true;               // whether rows of several changes may stand in one statement
  std::vector<std::string> reads;  // other tables
};

class ChangeQueue {
 public:
  void Add(QueuedChange change);
  bool empty() const { return groups_.empty(); }
  std::size_t size() const { return changes_; }
  std::size_t bytes() const { return bytes_; }
  void Clear();

  // Statements in the order in which they are to be sent, and which of them are counted.
  std::string Text() const;
  std::vector<bool> Counted() const;

 private:
  struct Group {
    QueuedChange first;
    std::string rows;
    std::unordered_set<std::string> known;  // rows, where they must not repeat
    std::vector<std::vector<WrittenPart>> parts;
  };
  static bool IsApart(const Group& group, const QueuedChange& change);

  std::vector<Group> groups_;
  std::size_t changes_ = 0, bytes_ = 0;
};

}  // namespace vnt::db
