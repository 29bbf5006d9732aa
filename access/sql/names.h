// What the names in a statement mean: the tables of a FROM list, wherever they lie, and their columns.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "access/sql/ast.h"

namespace jet::sql {

enum class Type : std::uint8_t { kUnknown, kNull, kBoolean, kInteger, kReal, kDecimal, kDate, kText, kBlob };

Type TypeOf(ColumnType type);
// What holds values of the type where no column says more. Texts are short ones, of 255 characters.
ColumnType ColumnTypeFor(Type type);
// Whether values of the type compare as numbers.
bool IsNumeric(Type t);
// The type that holds values of both.
Type Common(Type a, Type b);

// Count, Sum and the like: one value from many rows.
bool IsAggregate(const Expr& e);
// Whether one stands somewhere in it.
bool HasAggregate(const Expr& e);

class NamedTable {
 public:
  virtual ~NamedTable() = default;
  virtual const std::string& TableName() const = 0;
  virtual int CountColumns() const = 0;
  virtual const std::string& ColumnName(int column) const = 0;
  virtual ColumnType TypeOfColumn(int column) const = 0;
  // Position of the column of that name (any letter case), or -1.
  virtual int FindColumn(std::string_view name) const = 0;
};
using NamedTablePtr = std::shared_ptr<const NamedTable>;

struct OutputColumn {
  std::string name;
  Type type = Type::kUnknown;
  NamedTablePtr table;  // base table and position of the column it shows unchanged
  int column = -1;
};

// A table or query in a FROM list.
struct Source {
  std::string alias;       // as the statement names it
  std::string table_name;  // of a table or saved query
  std::string sql_alias;   // aN
  std::string from_sql;
  NamedTablePtr table;                // null: a query
  std::vector<OutputColumn> columns;  // of a query
  bool nested = false;                // stands in parentheses in the printed FROM list

  const std::string& name() const { return alias.empty() ? table_name : alias; }
  int CountColumns() const { return table ? table->CountColumns() : static_cast<int>(columns.size()); }
  OutputColumn Column(int column) const;
  int FindColumn(const std::string& column) const;
};

struct Scope {
  std::vector<Source> sources;
  // By these the rows come in the order in which their tables, as joined, hold them.
  std::vector<std::string> row_order;
  const Scope* outer = nullptr;
  bool aggregates = false;
};

// kInvalid when the FROM list has the name already.
void AddSource(Source source, Scope* scope);

struct Found {
  const Source* source = nullptr;
  int column = -1;
};
// Whether the FROM list has that column; `table` may be empty. kInvalid when more than one table has it.
bool FindColumn(const std::string& table, const std::string& name, const Scope& scope, Found* found);
[[noreturn]] void ThrowUnknownColumn(const std::string& table, const std::string& name, const Scope& scope);

// The column of a table that an UPDATE sets.
Found AssignedColumn(const Assignment& assignment, const Scope& scope);
// The table whose rows a DELETE takes.
const Source& DeleteTarget(const Statement& s, const Scope& scope);
// The columns of those names in a table; each may stand once.
std::vector<int> ColumnsNamed(const NamedTable& target, const std::vector<std::string>& names);
// Where an INSERT puts its values, one after the other. `query`: the columns of its query.
std::vector<int> InsertColumns(const NamedTable& target, const Statement& s,
                               const std::vector<OutputColumn>& query);

// kInvalid for a column that has several values in a group.
void RequireGrouped(const Select& select, const Scope& scope);
// The sources of which columns are shown.
std::vector<bool> ShownSources(const Select& select, const Scope& scope);
// Equal names of columns of several tables get their tables' before them.
void TellNamesApart(std::vector<OutputColumn>* columns);

}  // namespace jet::sql
