// What a statement of Access SQL becomes when it is parsed: plain trees, names not yet looked up.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "access/base/value.h"
#include "access/sql/operators.h"
#include "access/store/database.h"

namespace jet::sql {

struct Select;
struct Expr;
using ExprPtr = std::unique_ptr<Expr>;
using SelectPtr = std::unique_ptr<Select>;

enum class ExprKind : std::uint8_t {
  kNull,
  kBoolean,     // number
  kConstant,    // value, is_date; lifted >= 0 when it is a parameter of the plan
  kParameter,   // number: position among the "?"
  kColumn,      // table (may be empty), name
  kNegate,      // args[0]
  kNot,         // args[0]
  kArithmetic,  // op; args
  kCompare,     // op; args
  kLogic,       // op; args
  kBetween,     // args[0] between args[1] and args[2]
  kInList,      // args[0] in the rest
  kInSelect,    // args[0] in select
  kIsNull,      // args[0]
  kLike,        // args[0] like args[1]
  kFunction,    // name, args; star for COUNT(*)
  kExists,      // select
  kScalar,      // select
};

struct Expr {
  ExprKind kind = ExprKind::kNull;
  Op op = Op::kNone;
  bool negated = false;  // NOT BETWEEN, NOT IN, IS NOT NULL, NOT LIKE
  bool star = false;
  bool is_date = false;
  int lifted = -1;
  int number = 0;
  std::size_t offset = 0;
  std::string table;
  std::string name;
  Value value;
  std::vector<ExprPtr> args;
  SelectPtr select;
};

struct SelectItem {
  bool star = false;
  std::string star_table;  // of "t.*"
  ExprPtr expr;
  std::string alias;
  std::size_t offset = 0;
};

struct TableRef;
using TableRefPtr = std::unique_ptr<TableRef>;

struct TableRef {
  enum Kind : std::uint8_t { kTable, kSelect, kJoin } kind = kTable;
  std::string name;
  std::string alias;
  SelectPtr select;
  enum Join : std::uint8_t { kInner, kLeft, kRight } join = kInner;
  TableRefPtr left, right;
  ExprPtr on;
  std::size_t offset = 0;
};

struct OrderTerm {
  ExprPtr expr;
  bool descending = false;
};

struct Select {
  bool distinct = false;
  bool distinct_row = false;
  bool top_percent = false;
  std::optional<double> top;
  std::vector<SelectItem> items;
  std::string into;
  std::size_t into_offset = 0;
  std::vector<TableRefPtr> from;
  std::string in_file;  // IN 'file': where the tables of this FROM list are
  ExprPtr where;
  std::vector<ExprPtr> group_by;
  ExprPtr having;
  std::vector<OrderTerm> order_by;
  // Further members of a UNION; `all` joins it to what stands before.
  struct Member {
    bool all = false;
    SelectPtr select;
  };
  std::vector<Member> unions;
  SelectPtr nested;  // "(SELECT ...)" as the first member of a UNION; then the lists above are empty
  std::size_t offset = 0;
};

struct Assignment {
  std::string table;
  std::string column;
  ExprPtr expr;
  std::size_t offset = 0;
};

enum class StatementKind : std::uint8_t {
  kSelect,
  kSelectInto,
  kUpdate,
  kDelete,
  kInsertValues,
  kInsertSelect,
  kCreateTable,
  kCreateIndex,
  kDropTable,
  kDropIndex,
  kAddColumn,
  kAddIndex,
};

struct Statement {
  StatementKind kind = StatementKind::kSelect;
  int parameters = 0;
  SelectPtr select;    // the query; row source of UPDATE and DELETE (FROM and WHERE only), INSERT ... SELECT
  std::string table;   // target of INSERT and definitions; of DELETE t.*
  std::string object;  // index name
  std::size_t table_offset = 0;
  std::vector<Assignment> assignments;
  std::vector<std::pair<std::string, std::size_t>> columns;  // of INSERT, with offsets
  std::vector<ExprPtr> values;
  std::vector<NewColumn> new_columns;
  std::vector<NewIndex> new_indexes;
};

}  // namespace jet::sql
