// What can be told of a WHERE clause by looking at one row of one table: a condition that holds wherever the
// clause holds, and perhaps elsewhere. It is made of comparisons of text columns with literals, through trim
// and ucase too; whatever depends on parameters, other tables or other functions counts as true.
//
// Statements that are sent for one notice after another differ in their numbers only, so the rows that pass
// are the same each time: CandidateRows keeps them until the table's content changes, and a statement that no
// index serves looks at those rows instead of the whole table.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/sql/ast.h"
#include "access/store/database.h"

namespace jet::sql {

class RowFilter {
 public:
  // Null when nothing can be told, or nothing that the search of the table does not test anyway (comparisons
  // of plain columns that all must hold).
  static std::unique_ptr<RowFilter> Make(const Expr& where, const Table& table);

  // Whether the condition is a comparison of one text column with literals and nothing else, so that the
  // filter's answer is the condition's.
  static bool Decides(const Expr& condition, const Table& table);

  // False when the clause cannot hold for the row.
  bool MayHold(const Row& row) const;

 private:
  enum class Kind : std::uint8_t { kTrue, kAnd, kOr, kIsIn, kIsNull };
  enum class Change : std::uint8_t { kNone, kTrim, kUpper, kLower };

  struct Node {
    Kind kind = Kind::kTrue;
    std::vector<Node> parts;         // kAnd, kOr
    int column = 0;                  // kIsIn, kIsNull
    Change change = Change::kNone;   // made to the column's text before it is compared
    std::vector<std::string> texts;  // kIsIn
  };

  static Node Compile(const Expr& e, const Table& table);
  static Node CompileIsIn(const Expr& subject, const Expr* const* texts, std::size_t count,
                          const Table& table);
  static void Merge(Node part, Node* node);
  static bool IsServedBySearch(const Node& node);
  bool MayHold(const Node& node, const Row& row) const;

  Node root_;
  mutable std::string text_;
};

class CandidateRows {
 public:
  explicit CandidateRows(std::unique_ptr<RowFilter> filter) : filter_(std::move(filter)) {}

  using List = std::shared_ptr<const std::vector<RowId>>;
  // The rows that pass, in the order of the table. Some may have been deleted since.
  List Of(Table& table);
  // Lets go of rows that have been deleted.
  void DropDeleted(Table& table);

 private:
  std::unique_ptr<RowFilter> filter_;
  List rows_;
  std::uint64_t version_ = 0;
};

}  // namespace jet::sql
